#pragma once

#include <cmath>

#include "nvimport/formats/spectra/SpectrumAxis.h"

namespace nvimport {

// Brings the ordinates of a block onto the x values of another, point by point as they come, and
// gives them to `row`: n from 1, y scaled.
template <typename Row>
struct Interpolator {
  Row row;
  SpectrumGrid own;
  SpectrumGrid wanted;
  // The wanted points are walked in this block's direction.
  int direction = own.spacing >= 0 ? 1 : -1;
  int step = wanted.spacing >= 0 ? direction : -direction;
  int next = step > 0 ? 1 : wanted.points;
  double last_x = 0;
  double last_y = 0;
  bool last_missing = false;

  void operator()(int n, double y, bool missing) {
    // Ends that should meet may miss each other by what rounding does.
    constexpr double kPart = 1e-6;
    const double slack = kPart * std::fabs(own.spacing);
    const double x = own.X(n - 1);
    for (; next >= 1 && next <= wanted.points; next += step) {
      const double wanted_x = wanted.X(next - 1);
      const double beyond = direction * (wanted_x - x);
      if (beyond > slack) break;
      if (n == 1 && beyond < -slack) continue;
      const bool on_point = beyond >= -slack;
      const double value =
          on_point ? y : last_y + (y - last_y) * (wanted_x - last_x) / (x - last_x);
      row(next, value, missing || (!on_point && last_missing));
    }
    last_x = x;
    last_y = y;
    last_missing = missing;
  }
};

}  // namespace nvimport
