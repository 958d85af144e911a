#include "nvimport/hosting/export/ColumnChoice.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "nvimport/hosting/CellText.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

// Takes the name in quotes, doubled ones within, that `text` begins with; false where it has no
// end.
bool TakeQuoted(std::string_view& text, std::string& name) {
  text.remove_prefix(1);
  while (!text.empty()) {
    const char c = text.front();
    text.remove_prefix(1);
    if (c == '"' && !text.starts_with('"')) return true;
    if (c == '"') text.remove_prefix(1);
    name += c;
  }
  return false;
}

// The names that there are, as far as a message has room.
std::string Listed(const std::vector<std::string>& names) {
  constexpr std::size_t kMost = 10;
  std::string list;
  for (std::size_t i = 0; i < std::min(names.size(), kMost); ++i)
    list += (i > 0 ? ", " : "") + ShownName(names[i]);
  return names.size() > kMost ? list + " ... " + ShownName(names.back()) : list;
}

}  // namespace

std::optional<ColumnChoice> ColumnChoice::Parse(std::string_view text) {
  ColumnChoice choice;
  while (true) {
    std::string name;
    const bool is_quoted = text.starts_with('"');
    if (is_quoted && !TakeQuoted(text, name)) return std::nullopt;
    const std::size_t comma = std::min(text.find(','), text.size());
    if (is_quoted && comma > 0) return std::nullopt;
    if (!is_quoted) name = text.substr(0, comma);
    if (name.empty()) return std::nullopt;
    const bool is_name = is_quoted || name.find_first_not_of("0123456789-") != std::string::npos;
    if (is_name) {
      choice.items_.emplace_back(std::move(name));
    } else {
      auto ranges = NumberRanges::Parse(name);
      if (!ranges) return std::nullopt;
      choice.items_.emplace_back(std::move(*ranges));
    }
    if (comma == text.size()) return choice;
    text.remove_prefix(comma + 1);
  }
}

bool ColumnChoice::has_names() const {
  return std::ranges::any_of(
      items_, [](const auto& item) { return std::holds_alternative<std::string>(item); });
}

std::optional<Failure> ColumnChoice::Resolve(const NamedColumns& columns,
                                             NumberRanges& numbers) const {
  for (const auto& item : items_) {
    if (const auto* const ranges = std::get_if<NumberRanges>(&item)) {
      numbers.Add(*ranges);
      continue;
    }
    const auto& name = std::get<std::string>(item);
    bool is_there = false;
    const auto take = [&](std::size_t column) {
      is_there = true;
      numbers.Add(static_cast<int>(column));
    };
    for (std::size_t i = 0; i < columns.names.size(); ++i)
      if (columns.names[i] == name) take(i + 1);
    const auto x = is_there ? std::nullopt : ParseNumber(name);
    for (std::size_t i = 0; x && i < columns.x.size(); ++i)
      if (columns.x[i] == *x) take(i + static_cast<std::size_t>(columns.first_x_column));
    if (!is_there)
      return Failure{Failure::kArgument, "There is no column \"" + ShownName(name) + "\".",
                     "the columns are " + Listed(columns.names)};
  }
  return std::nullopt;
}

}  // namespace nvimport
