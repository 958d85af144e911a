#include "nvimport/hosting/import/Detecting.h"

#include <algorithm>
#include <filesystem>

#include "nvimport/formats/spectra/ChemStationFile.h"
#include "nvimport/framework/FormatList.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/import/FileKinds.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

constexpr int kUnsure = 1;
constexpr int kSure = 2;

// The format that the content leaves no doubt of, 0 for none.
int FormatByContent(const std::string& path) {
  const auto kind = RecogniseKind(path);
  const int format = kind && kind->is_sure ? FindFormat(kind->format, /*for_writing=*/false) : 0;
  return format > 0 && HasReader(format) ? format : 0;
}

}  // namespace

Detection DetectFormat(const std::string& path, bool kept_rules) {
  Detection detection = DetectFormat(FormatList::Get().GetKnownFormats(kept_rules), path.c_str());
  if (kept_rules || std::ranges::count(detection.answers, kSure) > 0) return detection;
  if (const int format = FormatByContent(path); format > 0) {
    detection.format = format;
    detection.candidates.clear();
  }
  return detection;
}

bool HasReaderBy(bool kept_rules, int format) {
  return HasReader(format) && (!kept_rules || HasKeptReader(format));
}

SettledFormat SettleFormat(const std::string& path, bool kept_rules) {
  const Detection detection = DetectFormat(path, kept_rules);
  const auto can_be = [&](int format) { return HasReaderBy(kept_rules, format); };
  if (detection.format > 0 && can_be(detection.format)) return {detection.format};
  SettledFormat settled;
  settled.open = detection.candidates;
  std::erase_if(settled.open, [&](int format) { return !can_be(format); });
  const std::vector<int>& open = settled.open;
  if (open.size() == 1) return {open.front()};
  const auto kind = RecogniseKind(path);
  const int by_content =
      kind && *kind->format != '\0' ? FindFormat(kind->format, /*for_writing=*/false) : 0;
  if (by_content == 0 || !can_be(by_content)) {
    settled.format = std::max(detection.format, 0);
    return settled;
  }
  // Formats that are certain know more of the content.
  const bool is_one_of_them = std::ranges::find(open, by_content) != open.end();
  if (std::ranges::count(detection.answers, kSure) > 1 && !is_one_of_them) return settled;
  settled.format = by_content;
  settled.pairs = kind->pairs;
  settled.is_by_content = true;
  return settled;
}

bool IsReadable(const std::string& path, bool kept_rules, int format) {
  // A name alone says nothing.
  std::error_code none;
  if (std::filesystem::file_size(FilePath(path), none) == 0) return false;
  if (format == 0) {
    const int settled = SettleFormat(path, kept_rules).format;
    return settled > 0 && HasReaderBy(kept_rules, settled);
  }
  const std::vector<KnownFormat> formats = FormatList::Get().GetKnownFormats(kept_rules);
  const auto& test = formats[static_cast<std::size_t>(format - 1)].test;
  return !test || test(path.c_str()) > 0;
}

bool IsOneInput(const std::string& folder) {
  const std::string_view name =
      std::string_view(folder).substr(0, folder.find_last_not_of('/') + 1);
  return EqualIgnoringCase(NvGetFileExtension(name), "d") &&
         ChemStationFile::IsChemStationFile(folder.c_str()) == kCertain;
}

std::string DetectionReason(const Detection& detection, const std::string& path) {
  const auto count = [&](int answer) { return std::ranges::count(detection.answers, answer); };
  if (const auto certain = count(kSure); certain > 0)
    return certain == 1 ? "it alone is certain of the file"
                        : std::to_string(certain) + " formats are certain of the file";
  const auto possible = count(kUnsure);
  if (possible == 0) return "each format found that it can't be its own";
  if (possible == 1) return "it alone could be right, and no other";
  const std::string extension = "." + NvGetFileExtension(path);
  const std::string all = std::to_string(possible) + " formats could be right, none is certain, ";
  const std::string whose = "the extension \"" + ShownName(extension) + "\"";
  const int some = detection.format > 0 ? detection.format : detection.candidates.front();
  const bool is_called_so = HasExtension(FormatAt(some), extension);
  if (detection.format > 0 && !is_called_so) return all + "but the content is of this one";
  if (extension == ".") return all + "and the name has no extension";
  if (!is_called_so) return all + "and none of them has " + whose;
  if (detection.format > 0) return all + "and it alone has " + whose;
  return all + "and " + std::to_string(detection.candidates.size()) + " of them have " + whose;
}

}  // namespace nvimport
