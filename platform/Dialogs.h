#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/Export.h"

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

// The one door to the user. A host installs its own; without one every question is answered
// "cancelled". An operation that a host does not override is cancelled too.
class NVIMPORT_API Dialogs {
 public:
  virtual ~Dialogs();

  // The position chosen in `names`, or none when cancelled; likewise below.
  virtual std::optional<std::size_t> SelectFileType(const FileTypeQuestion& question);
  virtual std::optional<TextImportChoice> ImportText(const TextImportQuestion& question);

  static Dialogs& Current();

  // Makes `dialogs` the current ones (null for none) and returns those before, null for none.
  static Dialogs* Install(Dialogs* dialogs);
};
