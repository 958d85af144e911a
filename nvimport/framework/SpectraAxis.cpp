#include "nvimport/framework/SpectraAxis.h"

#include <cstddef>
#include <string_view>
#include <utility>

#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

constexpr std::size_t kFewest = 3;

struct ColumnName {
  char letter = '\0';  // before the number, if any
  double x = 0;
};

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

std::optional<ColumnName> ReadName(const MemoryCell& cell, char decimal_mark) {
  if (cell.kind == CellKind::kNumber) return ColumnName{'\0', cell.exact()};
  if (cell.kind != CellKind::kText || cell.text.empty()) return std::nullopt;
  ColumnName name;
  std::string_view number = cell.text;
  if (IsLetter(number.front())) {
    name.letter = number.front();
    number.remove_prefix(1);
  }
  const auto x = ParseNumber(number, decimal_mark);
  if (!x) return std::nullopt;
  name.x = *x;
  return name;
}

}  // namespace

std::optional<SpectraAxis> FindSpectraAxis(std::span<const MemoryCell> first_row,
                                           char decimal_mark) {
  // Texts of a few digits may give neighbours the same value.
  const auto goes_on = [](const std::vector<double>& x, double next) {
    return x.front() == x.back() || (x.back() > x.front() ? next >= x.back() : next <= x.back());
  };
  SpectraAxis longest;
  SpectraAxis run;
  char letter = '\0';
  const auto end_run = [&] {
    if (run.x.size() >= kFewest && run.x.size() > longest.x.size() && run.x.front() != run.x.back())
      longest = std::move(run);
    run = {};
  };
  for (std::size_t i = 0; i < first_row.size(); ++i) {
    const auto name = ReadName(first_row[i], decimal_mark);
    if (!name) {
      end_run();
      continue;
    }
    if (!run.x.empty() && (name->letter != letter || !goes_on(run.x, name->x))) end_run();
    if (run.x.empty()) {
      run.first_column = static_cast<int>(i) + 1;
      letter = name->letter;
    }
    run.x.push_back(name->x);
  }
  end_run();
  if (longest.x.empty()) return std::nullopt;
  return longest;
}

}  // namespace nvimport
