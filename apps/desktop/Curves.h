#pragma once

#include <QString>
#include <cstddef>
#include <functional>
#include <span>
#include <vector>

#include "apps/desktop/PlotChoice.h"
#include "nvimport/hosting/import/NumberMarks.h"

namespace nvimport {

class Description;
class MemorySheet;

// What of a sheet can be drawn. In a sheet of spectra each row is a curve over the x values in the
// names of its columns; in any other each column is a series of points over the row numbers.
struct Curves {
  bool spectra = false;  // the curves are rows
  PlotChoice::Marks marks = PlotChoice::Marks::kPoints;
  bool x_falls = false;   // in the sheet; here x never falls
  std::vector<double> x;  // common to all curves
  QString x_title;        // of its axis, where the file says it
  QString y_title;
  std::vector<float> y;        // curve after curve; NaN where there is no number
  std::vector<bool> between;   // values that lie on a line between two points; none where empty
  std::vector<int> lines;      // each curve's row in the sheet, or column of points
  std::vector<QString> names;  // each curve's
  bool complete = true;        // not cancelled
  bool too_large = false;      // for a plot, so that there are none

  std::size_t size() const { return lines.size(); }
  std::span<const float> Of(std::size_t curve) const {
    return std::span(y).subspan(curve * x.size(), x.size());
  }
};

// Called now and then with what is done of how much; false stops.
using Report = std::function<bool(std::size_t done, std::size_t all)>;

// Texts that read as numbers with these marks count as numbers. What the file says of its axes
// goes before what the names of columns do, and what the user chooses before all.
Curves TakeCurves(MemorySheet& sheet, NumberMarks marks, const Report& report,
                  const Description* description = nullptr, const PlotChoice& choice = {});

}  // namespace nvimport
