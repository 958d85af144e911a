#pragma once

#include <QWidget>
#include <vector>

#include "nvimport/qt-dialogs/RangeView.h"

namespace nvimport {

// The spectrum as a line, the range as a band that is dragged by its edges, or anew.
class PlainRangeView : public QWidget, public RangeView {
 public:
  PlainRangeView();

  QWidget* Widget() override { return this; }
  void ShowAxis(double from, double to) override;
  void ShowSpectrum(const std::vector<double>& x, const std::vector<float>& y) override;
  void ShowRange(double from, double to) override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;

 private:
  // Where the curve is drawn, and where the ends of the axis are written.
  QRectF Area() const;
  double Pixel(double x) const;
  double XAt(double pixel) const;

  std::vector<double> x_;
  std::vector<float> y_;
  double first_ = 0;  // at the left
  double last_ = 1;
  float lowest_ = 0;
  float highest_ = 1;
  double from_ = 0;
  double to_ = 0;
  double fixed_ = 0;  // the end that stays while the other is dragged
};

}  // namespace nvimport
