#include "tests/support/Support.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace nvimport {

TempFolder::TempFolder() {
  // Never a folder that another run left behind under the same process number.
  path_ = (std::filesystem::temp_directory_path() / "nvimport-XXXXXX").string();
  if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no folder: " + path_);
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempFolder::Put(const std::string& name, std::string_view bytes) const {
  std::string file = path_ + "/" + name;
  std::ofstream(file, std::ios::binary) << bytes;
  return file;
}

std::string ErrorText(SpreadsheetFile& file) {
  char text[256] = "nothing was written";
  file.GetErrorMessage(text, sizeof text);
  return text;
}

std::string SheetText(MemorySheet& sheet) {
  std::string text;
  for (int r = 1; r <= sheet.GetNumberOfRows(); ++r)
    for (int c = 1; c <= sheet.GetNumberOfColumns(); ++c) {
      if (c > 1) text += " | ";
      if (sheet.IsMissing(c, r))
        text += '.';
      else if (sheet.IsText(c, r))
        text += '"' + std::string(sheet.GetText(c, r)) + '"';
      else
        text += sheet.GetText(c, r);
      if (c == sheet.GetNumberOfColumns()) text += '\n';
    }
  return text;
}

Outcome ImportFile(SpreadsheetFile& file, const char* path, NvImportOpenOptions* options) {
  MemorySheet sheet;
  Outcome outcome;
  outcome.status = file.Open(true, path, options);
  if (outcome.status == 0) outcome.status = file.Read(&sheet);
  outcome.text = ErrorText(file);
  outcome.sheet = SheetText(sheet);
  return outcome;
}

}  // namespace nvimport
