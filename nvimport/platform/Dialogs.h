#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "nvimport/platform/Export.h"

namespace nvimport {

class Progress;

// A window of the host's GUI library, handed through to its dialogs.
class CWnd;

// While one lives, the questions that are asked belong to that window of the host.
class NVIMPORT_API ParentWindow {
 public:
  // `parent` may be null.
  explicit ParentWindow(CWnd* parent);
  ParentWindow(const ParentWindow&) = delete;
  ParentWindow& operator=(const ParentWindow&) = delete;
  ~ParentWindow();

  // The window, null for none.
  static CWnd* Current();

 private:
  CWnd* before_;
};

// A message box: its buttons and, added to them, its icon.
struct MessageBoxQuestion {
  static constexpr unsigned kOk = 0;              // one button
  static constexpr unsigned kOkCancel = 1;        // two buttons
  static constexpr unsigned kStop = 0x10;         // the icon of an error
  static constexpr unsigned kExclamation = 0x30;  // of a warning
  static constexpr unsigned kInformation = 0x40;  // of a message
  // The button that ended it.
  enum Answer : int { kOkAnswer = 1, kCancelAnswer = 2 };

  CWnd* parent = nullptr;  // the window that it belongs to, if any
  std::string text;        // what is asked or said
  std::string title;       // of the box
  unsigned type = kOk;     // buttons and icon
};

// A message with a detail that the user can unfold.
struct DetailMessage {
  CWnd* parent = nullptr;  // the window that it belongs to, if any
  std::string text;        // what is said
  std::string detail;      // what is unfolded
  std::string title;       // of the box
};

// The questions below say what is taken where nobody is there to answer, and belong to `parent`.

// A choice among formats that are equally likely, of which none is safe.
struct FileTypeQuestion {
  std::string title;                       // of the dialog
  std::string label;                       // above the list
  std::string prompt;                      // what to do
  std::vector<std::string> names;          // of the formats
  CWnd* parent = ParentWindow::Current();  // the window that it belongs to, if any
};

// How a delimited text is split. An empty delimiter makes each line one field.
struct TextImportChoice {
  std::string delimiter = "\t";     // what stands between fields
  bool ignore_consecutive = false;  // a run of delimiters is one
};

// The text import page: a delimiter, with a preview of what it gives.
struct TextImportQuestion {
  std::string title;         // of the dialog
  std::string path;          // of the file
  TextImportChoice current;  // to begin with
  // The first rows and columns of the sheet under a choice, missing cells as empty texts.
  std::function<std::vector<std::vector<std::string>>(const TextImportChoice& choice, int rows,
                                                      int columns)>
      preview;
  std::optional<TextImportChoice> usual{};  // none: what the preview suggests
  CWnd* parent = ParentWindow::Current();   // the window that it belongs to, if any
};

// A choice of entries from a list.
struct ItemsQuestion {
  // What the entries are.
  enum class Kind { kWorksheets, kBlocks, kFiles, kReference, kMatrices, kVariables, kTables };

  Kind kind = Kind::kWorksheets;     // what the entries are
  std::string title;                 // of the dialog
  std::string prompt;                // what to do
  std::string heading;               // of the list's column
  std::vector<std::string> items;    // the entries
  std::vector<std::string> details;  // of each entry, such as its size; may be empty
  bool only_one = false;             // else as many as the user likes
  // How several entries become one sheet, and the choice to begin with; empty when that is no
  // question.
  std::vector<std::string> merge_choices;
  std::size_t merge = 0;
  std::vector<std::size_t> usual{};        // none where no choice is safe
  CWnd* parent = ParentWindow::Current();  // the window that it belongs to, if any
};

// The answer to an ItemsQuestion.
struct ItemsChoice {
  std::vector<std::size_t> items;  // positions in the question's list, in the user's order
  std::size_t merge = 0;           // position in merge_choices
};

// Points from 1; a last one of 0 means to the end.
struct RangeChoice {
  int first = 1;  // of the points taken
  int last = 0;   // of the points taken

  // Whether the point is taken.
  bool Holds(int point) const { return point >= first && (last == 0 || point <= last); }
  // The last of `count` points.
  int LastOf(int count) const { return last == 0 ? count : std::min(last, count); }
};

// A range of points of a common x axis.
struct RangeQuestion {
  std::string title;                       // of the dialog
  std::string path;                        // of the first file
  double first_x = 0;                      // in the file's own unit, as the two below
  double last_x = 0;                       // of the last point
  double spacing = 0;                      // from point to point
  int points = 0;                          // in all
  RangeChoice usual{};                     // all of them
  CWnd* parent = ParentWindow::Current();  // the window that it belongs to, if any
};

// The order of several files that are read together, the one given where nobody answers.
struct FileOrderQuestion {
  std::vector<std::string> files;          // paths
  CWnd* parent = ParentWindow::Current();  // the window that it belongs to, if any
};

// The password of an encrypted file, which nothing keeps.
struct PasswordQuestion {
  std::string path;                        // of the file
  bool is_again = false;                   // the one before was not right
  CWnd* parent = ParentWindow::Current();  // the window that it belongs to, if any
};

// Whether a query that a file holds may be run: the file may come from anywhere.
struct QueryQuestion {
  std::string path;                        // of the file
  std::string source;                      // the database, without passwords
  std::string statement;                   // empty where a table is chosen next
  CWnd* parent = ParentWindow::Current();  // the window that it belongs to, if any
};

// A window that shows how far a read is.
struct ProgressWindow {
  std::string title;                       // of the window
  CWnd* parent = ParentWindow::Current();  // the window that it belongs to, if any
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
  virtual std::optional<std::vector<std::string>> OrderFiles(const FileOrderQuestion& question);
  // What that asks of a host that cares for no window.
  virtual std::optional<std::vector<std::string>> SortFiles(const std::vector<std::string>& files);

  // Shows a message and returns the MessageBoxQuestion::Answer; without a host it is OK.
  virtual int ShowMessage(const MessageBoxQuestion& message);
  virtual void ShowDetails(const DetailMessage& message);

  // A progress window that is shown while the object lives, or null for none.
  virtual std::unique_ptr<Progress> OpenProgress(const ProgressWindow& window);
  // What that asks of a host that cares for no parent.
  virtual std::unique_ptr<Progress> ShowProgress(const std::string& title);

  // The wait cursor, on or off.
  virtual void ShowWaitCursor(bool on);

  // The password; an empty one where nobody knows it, as without a host; none when cancelled.
  virtual std::optional<std::string> AskPassword(const PasswordQuestion& question);

  // Whether the query may be run; not without a host.
  virtual bool AllowQuery(const QueryQuestion& question);

  // The dialogs installed, or ones that answer every question with "cancelled".
  static Dialogs& Current();
  // Whether there is somebody to ask.
  static bool CanAsk();

  // Makes `dialogs` the current ones of this thread (null for none) and returns those before, null
  // for none. A thread that installed none uses those of the thread that was the first to.
  static Dialogs* Install(Dialogs* dialogs);

  // The same for the length of an operation of this thread, of which others see nothing.
  static Dialogs* InstallForThread(Dialogs* dialogs);
};

}  // namespace nvimport
