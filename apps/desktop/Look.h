#pragma once

#include <QString>

#include "apps/desktop/Curves.h"

namespace nvimport {

// What is done to curves for looking at them only: the sheet knows nothing of it, nor does what is
// exported.
struct Look {
  enum class Derivative : char { kNone, kFirst, kSecond };
  enum class Scaling : char { kNone, kToOne, kCentered };
  enum class Stacking : char { kNone, kOffset, kStacked };

  Derivative derivative = Derivative::kNone;
  int window = 9;                       // points that a derivative is taken from
  Scaling scaling = Scaling::kNone;     // from 0 to 1, or to mean 0 and deviation 1
  Stacking stacking = Stacking::kNone;  // by a tenth of their height each, or by all of it

  bool operator==(const Look&) const = default;
  // Nothing is done.
  bool IsPlain() const {
    return derivative == Derivative::kNone && scaling == Scaling::kNone &&
           stacking == Stacking::kNone;
  }
  // "first derivative (Savitzky-Golay, 9 points), each from 0 to 1, stacked"; empty for nothing.
  QString Words() const;
};

// The curves as they are looked at. A point whose window holds no number for each of its points
// has no derivative.
Curves LookAt(const Curves& curves, const Look& look, const Report& report);

}  // namespace nvimport
