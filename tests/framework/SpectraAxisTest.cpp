

#include "nvimport/framework/SpectraAxis.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

MemoryCell Text(std::string_view text) { return {CellKind::kText, 0, text}; }
MemoryCell Number(float number) { return {CellKind::kNumber, number, {}}; }

// "3: 1100 1102", the first column and the x values.
std::string Found(const std::vector<MemoryCell>& first_row) {
  const auto axis = FindSpectraAxis(first_row);
  if (!axis) return "none";
  std::string text = std::to_string(axis->first_column) + ":";
  for (const double x : axis->x) text += " " + std::to_string(static_cast<int>(x));
  return text + (axis->falls() ? " falling" : "");
}

TEST(SpectraAxis, IsTheLongestRunOfLikeNames) {
  const struct {
    std::vector<MemoryCell> row;
    const char* found;
  } kCases[] = {
      {{}, "none"},
      {{Text("Sample"), Text("Moisture"), Text("Protein")}, "none"},
      {{Text("No"), Text("w1100"), Text("w1110"), Text("w1120"), Text("Fat")}, "2: 1100 1110 1120"},
      {{{}, {}, Text("t 400"), Text("t 399"), Text("t 399"), Text("t 398")},
       "3: 400 399 399 398 falling"},
      {{Text("Primary ID"), Number(1100), Number(1102), Number(1104)}, "2: 1100 1102 1104"},
      {{Text("1100"), Text("1102.5"), Text("1.1e3x"), Text("3"), Text("2"), Text("1")},
       "4: 3 2 1 falling"},
      // Another letter, another direction or a gap begins another run.
      {{Text("a1"), Text("a2"), Text("w1"), Text("w2"), Text("w3")}, "3: 1 2 3"},
      {{Number(1), Number(2), Number(3), Number(2), Number(1), Number(0)}, "1: 1 2 3"},
      {{Number(1), Number(2), {}, Number(3), Number(4)}, "none"},
      {{Text("w"), Text("w "), Text("wx1"), Text("")}, "none"},
      {{Number(5), Number(5), Number(5), Number(5)}, "none"},
  };
  for (const auto& c : kCases) EXPECT_EQ(Found(c.row), c.found);
}

}  // namespace

}  // namespace nvimport
