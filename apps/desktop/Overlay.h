#pragma once

#include <memory>
#include <span>

#include "apps/desktop/Look.h"

namespace nvimport {

// The curves of another file, to be seen over those of a sheet.
struct OtherCurves {
  QString file;  // its name
  std::shared_ptr<const Curves> curves;
};

// All as curves over the x values of each: they are the same lines, since what lies between the
// points of one is on its line. The others belong to no line of the sheet. `look` is what is done
// to those of each file for themselves, but for stacking, which is done to all.
Curves Overlaid(const Curves& own, std::span<const OtherCurves> others, const Look& look,
                const Report& report);

}  // namespace nvimport
