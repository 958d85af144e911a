#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Export.h"

class Progress;

// A window of the host's GUI library, handed through to its dialogs.
class CWnd;

// A message box: its buttons and, added to them, its icon.
struct MessageBoxQuestion {
  static constexpr unsigned kOk = 0;
  static constexpr unsigned kOkCancel = 1;
  static constexpr unsigned kStop = 0x10;
  static constexpr unsigned kExclamation = 0x30;
  static constexpr unsigned kInformation = 0x40;
  enum Answer : int { kOkAnswer = 1, kCancelAnswer = 2 };

  CWnd* parent = nullptr;
  std::string text;
  std::string title;
  unsigned type = kOk;
};

// A message with a detail that the user can unfold.
struct DetailMessage {
  CWnd* parent = nullptr;
  std::string text;
  std::string detail;
  std::string title;
};

// A choice among formats that are equally likely.
struct FileTypeQuestion {
  std::string title;
  std::string label;  // above the list
  std::string prompt;
  std::vector<std::string> names;
};

// How a delimited text is split. An empty delimiter makes each line one field.
struct TextImportChoice {
  std::string delimiter = "\t";
  bool ignore_consecutive = false;
};

// The text import page: a delimiter, with a preview of what it gives.
struct TextImportQuestion {
  std::string title;
  std::string path;
  TextImportChoice current;
  // The first rows and columns of the sheet under a choice, missing cells as empty texts.
  std::function<std::vector<std::vector<std::string>>(const TextImportChoice& choice, int rows,
                                                      int columns)>
      preview;
};

// A choice of entries from a list.
struct ItemsQuestion {
  enum class Kind { kWorksheets, kBlocks, kFiles, kReference };

  Kind kind = Kind::kWorksheets;
  std::string title;
  std::string prompt;
  std::string heading;  // of the list's column
  std::vector<std::string> items;
  std::vector<std::string> details;  // of each entry, such as its size; may be empty
  bool only_one = false;             // else as many as the user likes
  // How several entries become one sheet, and the choice to begin with; empty when that is no
  // question.
  std::vector<std::string> merge_choices;
  std::size_t merge = 0;
};

struct ItemsChoice {
  std::vector<std::size_t> items;  // positions in the question's list, in the user's order
  std::size_t merge = 0;           // position in merge_choices
};

// A range of points of a common x axis.
struct RangeQuestion {
  std::string title;
  std::string path;
  double first_x = 0;
  double last_x = 0;
  double spacing = 0;
  int points = 0;
};

// Points from 1; a last one of 0 means to the end.
struct RangeChoice {
  int first = 1;
  int last = 0;

  bool Holds(int point) const { return point >= first && (last == 0 || point <= last); }
  // The last of `count` points.
  int LastOf(int count) const { return last == 0 ? count : std::min(last, count); }
};

// The one door to the user. A host installs its own; without one every question is answered
// "cancelled". An operation that a host does not override is cancelled too.
class NVIMPORT_API Dialogs {
 public:
  virtual ~Dialogs();

  // The position chosen in `names`, or none when cancelled; likewise below.
  virtual std::optional<std::size_t> SelectFileType(const FileTypeQuestion& question);
  virtual std::optional<TextImportChoice> ImportText(const TextImportQuestion& question);

  virtual std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question);
  virtual std::optional<RangeChoice> SelectRange(const RangeQuestion& question);

  // The files in the order that the user gives them.
  virtual std::optional<std::vector<std::string>> SortFiles(const std::vector<std::string>& files);

  // Shows a message and returns the MessageBoxQuestion::Answer; without a host it is OK.
  virtual int ShowMessage(const MessageBoxQuestion& message);
  virtual void ShowDetails(const DetailMessage& message);

  // A progress window that is shown while the object lives, or null for none.
  virtual std::unique_ptr<Progress> ShowProgress(const std::string& title);

  // The wait cursor, on or off.
  virtual void ShowWaitCursor(bool on);

  static Dialogs& Current();

  // Makes `dialogs` the current ones (null for none) and returns those before, null for none.
  static Dialogs* Install(Dialogs* dialogs);
};
