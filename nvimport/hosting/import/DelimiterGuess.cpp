#include "nvimport/hosting/import/DelimiterGuess.h"

#include <map>
#include <string_view>

#include "nvimport/hosting/import/Delimiters.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

// A delimiter is guessed from so many lines; from the first few where those alone are long.
constexpr int kGuessedLines = 100;
constexpr int kFewLines = 8;
constexpr std::size_t kLong = 256 * 1024;
// How well a delimiter explains the lines.
struct Merit {
  double consistency = 0;  // the share of the lines that have the most common number of fields
  double numbers = 0;      // the share of the fields that read as numbers
};

std::vector<std::string_view> Split(std::string_view line, const NamedDelimiter& by) {
  std::vector<std::string_view> fields;
  while (true) {
    const std::size_t end = line.find(by.delimiter);
    // Blanks at either end of a line separate nothing.
    if (!by.ignore_consecutive || end != 0) {
      const std::string_view field = line.substr(0, end);
      if (!by.ignore_consecutive || !field.empty()) fields.push_back(field);
    }
    if (end == std::string_view::npos) return fields;
    line.remove_prefix(end + by.delimiter.size());
  }
}

Merit Judge(const std::vector<std::string>& lines, const NamedDelimiter& delimiter) {
  std::map<std::size_t, int> lines_with;  // by their number of fields
  int counted = 0;
  std::size_t fields = 0;
  std::size_t numbers = 0;
  for (const std::string& line : lines) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    const auto split = Split(line, delimiter);
    ++counted;
    ++lines_with[split.size()];
    fields += split.size();
    for (const std::string_view field : split)
      if (ParseNumber(field) || ParseNumber(field, ',')) ++numbers;
  }
  std::size_t most_common = 0;
  int lines_of_it = 0;
  for (const auto& [count, of_it] : lines_with) {
    if (of_it < lines_of_it) continue;
    most_common = count;
    lines_of_it = of_it;
  }
  if (most_common < 2) return {};
  return {static_cast<double>(lines_of_it) / counted,
          static_cast<double>(numbers) / static_cast<double>(fields)};
}

std::vector<std::string> FirstLines(const TextImportQuestion& question, int count) {
  std::vector<std::string> lines;
  for (auto& row : question.preview({"", false}, count, 1))
    lines.push_back(row.empty() ? std::string() : std::move(row.front()));
  return lines;
}

}  // namespace

TextImportChoice GuessDelimiter(const std::vector<std::string>& lines) {
  const auto candidates = NamedDelimiters();
  const NamedDelimiter& tab = candidates.front();
  const NamedDelimiter* best = &tab;
  Merit best_merit = Judge(lines, tab);
  for (const NamedDelimiter& candidate : candidates.subspan(1)) {
    const Merit merit = Judge(lines, candidate);
    const bool ties = merit.consistency == best_merit.consistency;
    if (merit.consistency < best_merit.consistency) continue;
    if (ties && (best == &tab || merit.numbers <= best_merit.numbers)) continue;
    best = &candidate;
    best_merit = merit;
  }
  return {std::string(best->delimiter), best->ignore_consecutive};
}

TextImportChoice GuessDelimiter(const TextImportQuestion& question) {
  std::vector<std::string> lines = FirstLines(question, kFewLines);
  std::size_t size = 0;
  for (const std::string& line : lines) size += line.size();
  if (size < kLong) lines = FirstLines(question, kGuessedLines);
  return GuessDelimiter(lines);
}

}  // namespace nvimport
