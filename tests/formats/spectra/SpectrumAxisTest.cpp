#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "nvimport/formats/spectra/SpectrumAxis.h"

namespace nvimport {

namespace {

__extension__ using Wide = __int128;

// The x of a point in whole numbers of a unit in which first and last have no fraction, so that
// nothing is rounded.
bool IsNextTo(double x, std::int64_t first, std::int64_t last, int steps, int point, double unit) {
  const Wide over = static_cast<Wide>(first) * (steps - point) +
                    static_cast<Wide>(last) * point;  // x * steps / unit
  const auto high = static_cast<double>(over);
  const auto low = static_cast<double>(over - static_cast<Wide>(high));
  const double scaled = x / unit;  // a power of two
  const double product = scaled * steps;
  const double off = (product - high) + (std::fma(scaled, steps, -product) - low);
  const double ulp = std::nextafter(std::fabs(scaled), INFINITY) - std::fabs(scaled);
  return std::fabs(off) <= ulp * steps;
}

TEST(SpectrumGrid, ExactPointsAreThoseThatFirstLastAndNumberSay) {
  std::mt19937_64 random(27);
  for (int i = 0; i < 20'000; ++i) {
    const int steps = static_cast<int>(random() % 100'000) + 1;
    // Of either sign, so that some lie about zero, where sums lose most.
    const auto first = static_cast<std::int64_t>(random() >> 14) - (std::int64_t{1} << 49);
    const auto last = static_cast<std::int64_t>(random() >> 14) - (std::int64_t{1} << 49);
    const double unit = std::ldexp(1, -static_cast<int>(random() % 60));
    SpectrumGrid grid{static_cast<double>(first) * unit, static_cast<double>(last) * unit, 0,
                      steps + 1};
    grid.State(grid.last, steps);
    for (const int point : {0, 1, steps / 3, steps / 2, steps - 1, steps})
      ASSERT_TRUE(IsNextTo(grid.ExactX(point), first, last, steps, point, unit))
          << grid.first << " to " << grid.last << " in " << steps << ", point " << point;
  }
}

TEST(SpectrumAxis, NamesHaveTheDigitsInWhichTheirPointsDiffer) {
  const struct {
    std::vector<double> x;
    int digits;
  } kCases[] = {
      {{}, 6},
      {{1, 2, 3}, 6},
      {{100000.5, 100000}, 7},
      {{1, 5, 1 + 1e-9}, 10},
      {{5, 5, 6}, 6},
      {{1.0000049999, 1.0000050001, 2.0000011, 2.0000012}, 11},
      {{0.1, std::nextafter(0.1, 1)}, 17},
  };
  for (const auto& c : kCases) {
    SpectrumAxis axis;
    axis.values = c.x;
    EXPECT_EQ(DigitsOfNames(axis, 0, static_cast<int>(c.x.size())), c.digits);
  }
}

}  // namespace

}  // namespace nvimport
