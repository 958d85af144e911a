#pragma once

#include "apps/desktop/SpectraPlot.h"
#include "nvimport/qt-dialogs/RangeView.h"

namespace nvimport {

// A spectrum with a range of x that is dragged by its edges, or anew.
class RangePlot : public SpectraPlot, public RangeView {
  Q_OBJECT
 public:
  explicit RangePlot(QWidget* parent = nullptr);

  QWidget* Widget() override { return this; }
  void ShowAxis(double from, double to) override;
  void ShowSpectrum(const std::vector<double>& x, const std::vector<float>& y) override;
  void ShowRange(double from, double to) override;

 protected:
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void wheelEvent(QWheelEvent* event) override { event->ignore(); }

 private:
  QCPItemRect* range_;
  double from_ = 0;
  double to_ = 0;
  double fixed_ = 0;  // the end that stays while the other is dragged
  bool dragging_ = false;
};

}  // namespace nvimport
