#include "apps/nvimport/Explanations.h"

#include <algorithm>

#include "apps/nvimport/CellText.h"
#include "apps/nvimport/ImportSession.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

std::string DetectionReason(const Detection& detection, const std::string& path) {
  const auto count = [&](int answer) { return std::ranges::count(detection.answers, answer); };
  constexpr int kCertain = 2;
  constexpr int kPossible = 1;
  if (const auto certain = count(kCertain); certain > 0)
    return certain == 1 ? "it alone is certain of the file"
                        : std::to_string(certain) + " formats are certain of the file";
  const auto possible = count(kPossible);
  if (possible == 0) return "each format found that it can't be its own";
  if (possible == 1) return "it alone could be right, and no other";
  const std::string extension = "." + NvGetFileExtension(path);
  const std::string all = std::to_string(possible) + " formats could be right, none is certain, ";
  const std::string whose = "the extension \"" + ShownName(extension) + "\"";
  const int some = detection.format > 0 ? detection.format : detection.candidates.front();
  if (extension == ".") return all + "and the name has no extension";
  if (!HasExtension(FormatAt(some), extension)) return all + "and none of them has " + whose;
  if (detection.format > 0) return all + "and it alone has " + whose;
  return all + "and " + std::to_string(detection.candidates.size()) + " of them have " + whose;
}

std::vector<std::string> OptionsOf(std::string_view format) {
  struct Options {
    std::string_view format;
    std::vector<std::string> options;
  };
  static const Options kOptions[] = {
      {"Brimrose File", {"rows=FIRST,LAST", "columns=FIRST,LAST"}},
      {"CSV File", {"delimiter=TEXT", "quote=double|single|none|BYTE", "header=0|1"}},
      {"GalacticSPC File", {"names=number|text", "xrow=0|1"}},
      {"JCAMP-DX File", {"reference=N", "xrow=0|1", "columns=FIRST,LAST"}},
      {"NSAS File", {"columns=FIRST,LAST"}},
  };
  const auto* const known = std::ranges::find(kOptions, format, &Options::format);
  return known != std::end(kOptions) ? known->options : std::vector<std::string>();
}

bool HasOption(std::string_view format, std::string_view key) {
  return std::ranges::any_of(OptionsOf(format), [&](std::string_view option) {
    return option.substr(0, option.find('=')) == key;
  });
}

}  // namespace nvimport
