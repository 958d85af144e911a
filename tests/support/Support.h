#pragma once

#include <string>
#include <string_view>

#include "nvimport/framework/MemorySheet.h"
#include "nvimport/framework/SpreadsheetFile.h"

namespace nvimport {

// A folder for one test, removed with all that is in it.
class TempFolder {
 public:
  TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder();

  const std::string& path() const { return path_; }

  // Writes the file and returns its path.
  std::string Put(const std::string& name, std::string_view bytes) const;

 private:
  std::string path_;
};

class TempFile {
 public:
  explicit TempFile(std::string_view bytes, const std::string& name = "file.txt")
      : path_(folder_.Put(name, bytes)) {}
  const char* path() const { return path_.c_str(); }

 private:
  TempFolder folder_;
  std::string path_;
};

std::string ErrorText(SpreadsheetFile& file);

// One line a row, `a | b`: texts in double quotes, numbers in their shortest form, `.` for a cell
// never set. Empty for a sheet without columns.
std::string SheetText(MemorySheet& sheet);

// What an import came to.
struct Outcome {
  int status = 0;
  std::string text;
  std::string sheet;
};

Outcome ImportFile(SpreadsheetFile& file, const char* path, NvImportOpenOptions* options);

template <typename Reader>
Outcome Import(std::string_view bytes, NvImportOpenOptions* options = nullptr) {
  const TempFile file(bytes);
  Reader reader;
  return ImportFile(reader, file.path(), options);
}

}  // namespace nvimport
