#pragma once

#include "apps/desktop/SpectraPlot.h"

namespace nvimport {

// A spectrum with a range of x that is dragged by its edges, or anew.
class RangePlot : public SpectraPlot {
  Q_OBJECT
 public:
  explicit RangePlot(QWidget* parent = nullptr);

  void ShowRange(double from, double to);

 signals:
  void Dragged(double from, double to);

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
