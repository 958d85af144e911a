#include "nvimport/hosting/import/Complete.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string_view>

#include "nvimport/framework/FormatList.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/platform/NvApp.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

std::optional<Failure> UseComplete(bool kept_rules, const HostWords& words) {
  if (FormatList::Get().AddComplete() || kept_rules) return std::nullopt;
  return Failure{Failure::kFailed, "NvImport Complete is not there.",
                 "it is looked for as " + ShownName(NvApp::GetCompleteLibrary()) +
                     "; put it there, or " + words.by_kept_rules};
}

std::optional<Failure> TakeRulesOfEnvironment(bool& kept_rules) {
  const char* const given = std::getenv("NVIMPORT_RULES");
  const std::string rules = given != nullptr ? given : "";
  if (rules.empty() || EqualIgnoringCase(rules, "complete")) return std::nullopt;
  if (!EqualIgnoringCase(rules, "kept"))
    return Failure{Failure::kArgument, "There are no rules \"" + ShownName(rules) + "\".",
                   "NVIMPORT_RULES is kept or complete"};
  kept_rules = true;
  return std::nullopt;
}

bool ReadsMoreThanKept(int format) { return FormatList::Get().HasTwoReaders(format); }

bool HasMoreCellsThanKept(int format) {
  constexpr std::string_view kSameCells[] = {"CSV File", "Excel2007 File", "Text File"};
  const std::string_view name = FormatList::Get().GetInfo(format).name;
  return ReadsMoreThanKept(format) && std::ranges::find(kSameCells, name) == std::end(kSameCells);
}

}  // namespace nvimport
