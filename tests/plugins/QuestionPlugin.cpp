// A plug-in in C++ whose format asks what its file says, one question a line, and delivers each
// answer as a row. It reaches the host's dialogs through the library that both are linked to.
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/NvImport.h"
#include "nvimport/platform/Dialogs.h"

using namespace nvimport;

namespace {

struct Import {
  std::vector<std::string> rows;
  bool warns = false;
  const char* error = "AbortedByUser";
};

ItemsQuestion Question(ItemsQuestion::Kind kind) {
  ItemsQuestion question;
  question.kind = kind;
  question.title = "Select Things";
  question.prompt = "Please select\nthe things.";
  question.heading = "Thing";
  question.items = {"Alpha", "Beta,Gamma", "2"};
  if (kind == ItemsQuestion::Kind::kWorksheets) {
    question.details = {"1 x 2", "3 x 4", "5 x 6"};
    question.merge_choices = {"Merge side by side", "Merge above and below"};
    question.merge = 1;
  }
  question.only_one = kind == ItemsQuestion::Kind::kReference;
  if (kind == ItemsQuestion::Kind::kBlocks)
    question.usual = {0, 1, 2};
  else if (kind != ItemsQuestion::Kind::kFiles)
    question.usual = {0};
  return question;
}

// Does what a line says; false when the user cancelled.
bool Follow(const std::string& line, Import& import) {
  using Kind = ItemsQuestion::Kind;
  Dialogs& dialogs = Dialogs::Current();
  if (line == "range") {
    const auto range = dialogs.SelectRange({"Select Range", "", 4000, 400, -0.5, 7201});
    if (range)
      import.rows.push_back(std::to_string(range->first) + " to " + std::to_string(range->last));
    return range.has_value();
  }
  const std::pair<const char*, Kind> kinds[] = {{"worksheets", Kind::kWorksheets},
                                                {"blocks", Kind::kBlocks},
                                                {"files", Kind::kFiles},
                                                {"reference", Kind::kReference}};
  for (const auto& [word, kind] : kinds) {
    if (line != word) continue;
    const auto choice = dialogs.SelectItems(Question(kind));
    if (!choice) return false;
    std::string row;
    for (const std::size_t item : choice->items) row += std::to_string(item) + " ";
    import.rows.push_back(row + "merge " + std::to_string(choice->merge));
    return true;
  }
  if (line == "throw") throw std::runtime_error("thrown through a C function");
  import.warns = import.warns || line == "warning";
  import.rows.push_back(line);
  return true;
}

std::map<long, Import> open_imports;

Import* FromHandle(long handle) { return &open_imports.at(handle); }

}  // namespace

int NvImportSizeFileFormatsSupported() { return 1; }

NvImportFormatInfo* NvImportGetFileFormatInfo(int) {
  static NvImportFormatInfo info = {
      "Question File", "Question Files (*.ask)", nullptr, 1, ".ask", false, true, true, true, true};
  return &info;
}

char NvImportIsCorrectFileType(int, const char* path) {
  return std::string(path).find(".ask") != std::string::npos ? '\2' : '\0';
}

char NvImportOpen(int, const char* path, char, long* handle, NvImportOpenOptions*) {
  *handle = open_imports.empty() ? 1 : open_imports.rbegin()->first + 1;
  Import* const import = &open_imports[*handle];
  for (const std::string& name : FileSelection::Split(path)) {
    std::ifstream file(name);
    for (std::string line; std::getline(file, line);)
      if (!Follow(line, *import)) return 0;
  }
  return 1;
}

char NvImportEstablishSize(int, long handle, int* rows, int* columns) {
  *rows = static_cast<int>(FromHandle(handle)->rows.size());
  *columns = 1;
  return 1;
}

char NvImportRead(int, long handle, NvImportReadData* data) {
  const auto& rows = FromHandle(handle)->rows;
  data->set_size(data, static_cast<int>(rows.size()), 1);
  for (std::size_t i = 0; i < rows.size(); ++i)
    data->set_text(data, static_cast<int>(i) + 1, 1, rows[i].c_str());
  return 1;
}

void NvImportClose(int, long handle) { open_imports.erase(handle); }

const char* NvImportGetLastError(int, long handle) { return FromHandle(handle)->error; }

const char* NvImportGetWarning(int, long handle) {
  return FromHandle(handle)->warns ? "The file\nis old." : nullptr;
}
