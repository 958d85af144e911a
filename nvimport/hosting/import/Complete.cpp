#include "nvimport/hosting/import/Complete.h"

#include <algorithm>
#include <string_view>

#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/PluginFunctions.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/platform/NvApp.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

std::optional<Failure> UseComplete() {
  NvApp::AddPluginDirectory(NvApp::GetCompleteDirectory());
  const FormatList& list = FormatList::Get();
  for (int format = 1; format <= list.size(); ++format)
    if (list.GetLibraryPath(format) == NvApp::GetCompleteLibrary()) return std::nullopt;
  return Failure{Failure::kFailed, "NvImport Complete is not there.",
                 "it is looked for as " + ShownName(NvApp::GetCompleteLibrary()) +
                     "; put it there, or do without it"};
}

bool CompleteWouldServe(int format) {
  if (!FormatList::Get().GetLibraryPath(format).empty()) return false;
  static const DynamicLibrary library(NvApp::GetCompleteLibrary());
  static const PluginFunctions functions = PluginFunctions::Of(library);
  if (!functions.can_list()) return false;
  for (int index = 1; index <= functions.count_formats(); ++index)
    if (EqualIgnoringCase(functions.get_info(index)->name, FormatAt(format).name)) return true;
  return false;
}

bool CompleteHasMoreCells(int format) {
  constexpr const char* kSameCells[] = {"CSV File", "Excel2007 File", "Text File"};
  return std::ranges::find(kSameCells, std::string_view(FormatAt(format).name)) ==
             std::end(kSameCells) &&
         CompleteWouldServe(format);
}

}  // namespace nvimport
