#include "nvimport/formats/text/CsvGuess.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

constexpr std::string_view kCandidates = ",;\t|";  // in the order in which they are preferred
constexpr std::size_t kComma = 0;
constexpr std::size_t kLines = 20;

// A line without what stands in quotes, and how often each candidate stands there.
struct Line {
  std::string text;
  std::array<std::size_t, kCandidates.size()> counts{};

  void Add(char c) {
    text += c;
    if (const std::size_t which = kCandidates.find(c); which != std::string_view::npos)
      ++counts[which];
  }
  bool HasCandidate() const {
    return std::ranges::any_of(counts, [](std::size_t count) { return count > 0; });
  }
};

// The lines from the first with a candidate on, empty ones apart; at least one.
std::vector<Line> FirstLines(std::string_view head, char quote) {
  std::vector<Line> lines(1);
  bool may_open = true;
  bool quoted = false;
  for (const char c : head) {
    const bool is_end = c == '\n' || c == '\r';
    Line& line = lines.back();
    if (c == quote && (quoted || may_open)) {
      may_open = quoted;
      quoted = !quoted;
      line.Add('"');  // which no number holds
    } else if (quoted) {
      continue;
    } else if (!is_end) {
      line.Add(c);
      may_open = kCandidates.find(c) != std::string_view::npos;
    } else {
      may_open = true;
      if (line.HasCandidate() || (lines.size() > 1 && !line.text.empty())) lines.emplace_back();
      lines.back() = {};
      if (lines.size() > kLines) break;
    }
  }
  if (lines.size() > 1 && lines.back().text.empty()) lines.pop_back();
  return lines;
}

// A number with a decimal comma, thousands perhaps set apart by points.
bool IsDecimal(std::string_view field) {
  const std::size_t comma = field.find(',');
  std::string whole(field.substr(0, comma));
  std::erase(whole, '.');
  return ParseNumber(whole.append(field.substr(comma)), ',').has_value();
}

// Whether every comma is the decimal mark of a number when `delimiter` separates.
bool CommasAreDecimal(const std::vector<Line>& lines, char delimiter) {
  for (const Line& line : lines) {
    std::string_view rest = line.text;
    while (rest.find(',') != std::string_view::npos) {
      const std::string_view field = rest.substr(0, rest.find(delimiter));
      if (field.find(',') != std::string_view::npos && !IsDecimal(field)) return false;
      rest.remove_prefix(std::min(field.size() + 1, rest.size()));
    }
  }
  return true;
}

}  // namespace

char GuessCsvDelimiter(std::string_view head, char quote) {
  const std::vector<Line> lines = FirstLines(head, quote);
  const auto& first = lines.front().counts;
  const auto agreeing = [&](std::size_t which) {
    return std::ranges::count_if(
        lines, [&](const Line& line) { return line.counts[which] == first[which]; });
  };
  std::size_t best = kComma;
  for (std::size_t which = kComma + 1; which < kCandidates.size(); ++which) {
    if (first[which] == 0) continue;
    const bool replaces = best == kComma && CommasAreDecimal(lines, kCandidates[which]);
    const bool ties = first[which] == first[best] && agreeing(which) > agreeing(best);
    if (replaces || first[which] > first[best] || ties) best = which;
  }
  return kCandidates[best];
}

}  // namespace nvimport
