#include "nvimport/hosting/import/Formats.h"

#include <algorithm>
#include <charconv>

#include "nvimport/framework/FormatList.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

// What this library knows of the format at that position, if it is the one that serves it or if the
// one that does took its place.
const FormatDescription* Known(int format) {
  return SprFileFactory::Describe(FormatAt(format).name);
}

}  // namespace

int FormatCount() { return FormatList::Get().size(); }

const NvImportFormatInfo& FormatAt(int format) { return FormatList::Get().GetInfo(format); }

int FindFormat(const std::string& name, bool for_writing) {
  const int count = FormatCount();
  int number = 0;
  const char* end = name.data() + name.size();
  if (std::from_chars(name.data(), end, number).ptr == end && number >= 1 && number <= count)
    return number;
  for (int format = 1; format <= count; ++format)
    if (EqualIgnoringCase(FormatAt(format).name, name)) return format;
  for (int format = 1; format <= count; ++format) {
    const NvImportFormatInfo& info = FormatAt(format);
    if (!(for_writing ? HasWriter(format) : HasReader(format))) continue;
    if (HasExtension(info, name) || HasExtension(info, "." + name)) return format;
  }
  // A beginning that one name alone has.
  int found = 0;
  for (int format = 1; format <= count && !name.empty(); ++format) {
    const std::string_view whole = FormatAt(format).name;
    if (!EqualIgnoringCase(whole.substr(0, name.size()), name)) continue;
    if (found != 0) return 0;
    found = format;
  }
  return found;
}

int FormatOfFilter(int filter) {
  int position = 1;  // of the filter of the last format that can be read
  for (int format = 1; format <= FormatCount(); ++format)
    if (FormatAt(format).can_read && ++position == filter) return format;
  return 0;
}

std::span<const FormatOption> OptionsOf(std::string_view format) {
  const FormatDescription* known = SprFileFactory::Describe(format);
  return known != nullptr ? std::span<const FormatOption>(known->options)
                          : std::span<const FormatOption>();
}

bool HasOption(std::string_view format, std::string_view key) {
  return std::ranges::any_of(OptionsOf(format),
                             [&](const FormatOption& option) { return option.key == key; });
}

std::vector<std::string> UnaskedOptionsOf(std::string_view format) {
  std::vector<std::string> options;
  for (const FormatOption& option : OptionsOf(format))
    if (!option.is_asked && option.is_pair)
      options.push_back(std::string(option.key) + "=" + option.values);
  return options;
}

bool HasReader(int format) {
  const FormatDescription* known = Known(format);
  const bool is_built_in = FormatList::Get().GetLibraryPath(format).empty();
  return FormatAt(format).can_read && (!is_built_in || known == nullptr || known->has_reader);
}

bool HasWriter(int format) {
  const FormatDescription* known = Known(format);
  const bool is_built_in = FormatList::Get().GetLibraryPath(format).empty();
  return FormatAt(format).can_write && (!is_built_in || known == nullptr || known->has_writer);
}

bool HasKeptReader(int format) { return FormatList::Get().HasKeptReader(format); }

}  // namespace nvimport
