#pragma once

#include <functional>
#include <vector>

#include "nvimport/qt-dialogs/Export.h"

class QWidget;

namespace nvimport {

// A plot in which a range of x is chosen by dragging. A host whose own plot is to be seen in the
// question for a range derives from this, and gives one to QtDialogs for each question.
class NVIMPORT_QT_API RangeView {
 public:
  virtual ~RangeView();

  // The plot as a widget, which the dialog takes for as long as it is open.
  virtual QWidget* Widget() = 0;
  // The axis, before a spectrum is known; `from` may be greater than `to`.
  virtual void ShowAxis(double from, double to) = 0;
  // The first spectrum of the file. x rises or falls; a missing value is NaN.
  virtual void ShowSpectrum(const std::vector<double>& x, const std::vector<float>& y) = 0;
  // What is chosen.
  virtual void ShowRange(double from, double to) = 0;

  // To be called when the user drags, with both ends in x. Set by the dialog.
  std::function<void(double from, double to)> dragged;
};

}  // namespace nvimport
