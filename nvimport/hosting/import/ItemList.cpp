#include "nvimport/hosting/import/ItemList.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "nvimport/hosting/CellText.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

using Positions = std::vector<std::size_t>;

std::optional<int> ParseWhole(std::string_view text) {
  int number = 0;
  const char* end = text.data() + text.size();
  const auto [parsed, error] = std::from_chars(text.data(), end, number);
  if (parsed != end || error != std::errc{} || number < 0) return std::nullopt;
  return number;
}

// A number of the list, from 1.
std::optional<std::size_t> ParseNumber(std::string_view text, std::size_t count) {
  const auto number = ParseWhole(text);
  if (!number || *number < 1 || static_cast<std::size_t>(*number) > count) return std::nullopt;
  return static_cast<std::size_t>(*number);
}

std::optional<std::size_t> FindName(std::string_view text, const std::vector<std::string>& items) {
  const auto is_named = [&](const std::string& item) { return ToUtf8(item) == text; };
  auto found = std::ranges::find_if(items, is_named);
  if (found == items.end())
    found = std::ranges::find_if(
        items, [&](const std::string& item) { return EqualIgnoringCase(ToUtf8(item), text); });
  if (found == items.end()) return std::nullopt;
  return static_cast<std::size_t>(found - items.begin());
}

// The positions that one part between commas stands for.
std::optional<Positions> ParsePart(std::string_view text, const std::vector<std::string>& items) {
  if (const auto number = ParseNumber(text, items.size())) return Positions{*number - 1};
  if (const auto named = FindName(text, items)) return Positions{*named};
  const std::size_t dash = text.find('-');
  if (dash == std::string_view::npos) return std::nullopt;
  const auto first = ParseNumber(text.substr(0, dash), items.size());
  const auto last = ParseNumber(text.substr(dash + 1), items.size());
  if (!first || !last || *first > *last) return std::nullopt;
  Positions positions;
  for (std::size_t number = *first; number <= *last; ++number) positions.push_back(number - 1);
  return positions;
}

}  // namespace

std::optional<Positions> ParseItems(std::string_view text, const std::vector<std::string>& items) {
  // A name may hold commas.
  if (auto whole = ParsePart(text, items)) return whole;
  Positions positions;
  if (text == "all") {
    for (std::size_t i = 0; i < items.size(); ++i) positions.push_back(i);
    return positions;
  }
  while (true) {
    const std::size_t comma = text.find(',');
    std::string_view part = text.substr(0, comma);
    part.remove_prefix(std::min(part.find_first_not_of(' '), part.size()));
    const auto more = ParsePart(part, items);
    if (!more) return std::nullopt;
    for (const std::size_t position : *more)
      if (std::ranges::find(positions, position) == positions.end()) positions.push_back(position);
    if (comma == std::string_view::npos) return positions;
    text.remove_prefix(comma + 1);
  }
}

std::string ItemNumbers(const Positions& positions) {
  std::string text;
  for (const std::size_t position : positions)
    text += (text.empty() ? "" : ",") + std::to_string(position + 1);
  return text;
}

std::optional<RangeChoice> ParseRange(std::string_view text) {
  const std::size_t comma = text.find(',');
  if (comma == std::string_view::npos) return std::nullopt;
  const auto first = ParseWhole(text.substr(0, comma));
  const auto last = ParseWhole(text.substr(comma + 1));
  if (!first || !last || *first < 1 || (*last != 0 && *last < *first)) return std::nullopt;
  return RangeChoice{*first, *last};
}

std::string RangeText(const RangeChoice& range) {
  return std::to_string(range.first) + "," + std::to_string(range.last);
}

}  // namespace nvimport
