#include "apps/desktop/RangePlot.h"

#include <algorithm>
#include <cmath>

namespace nvimport {

RangePlot::RangePlot(QWidget* parent) : SpectraPlot(parent) {
  setInteractions(QCP::iNone);
  setFocusPolicy(Qt::NoFocus);
  range_ = new QCPItemRect(this);
  QColor color = palette().color(QPalette::Highlight);
  range_->setPen(color);
  color.setAlphaF(0.25F);
  range_->setBrush(color);
  for (QCPItemPosition* corner : range_->positions()) {
    corner->setTypeX(QCPItemPosition::ptPlotCoords);
    corner->setTypeY(QCPItemPosition::ptAxisRectRatio);
  }
}

void RangePlot::ShowAxis(double from, double to) { xAxis->setRange(QCPRange(from, to)); }

void RangePlot::ShowSpectrum(const std::vector<double>& x, const std::vector<float>& y) {
  auto curves = std::make_shared<Curves>();
  curves->spectra = true;
  curves->marks = PlotChoice::Marks::kLines;
  curves->x_falls = x.back() < x.front();
  curves->x = x;
  curves->y = y;
  if (curves->x_falls) {
    std::ranges::reverse(curves->x);
    std::ranges::reverse(curves->y);
  }
  curves->lines = {1};
  curves->names = {QString()};
  SetCurves(std::move(curves));
}

void RangePlot::ShowRange(double from, double to) {
  from_ = from;
  to_ = to;
  range_->topLeft->setCoords(from, 0);
  range_->bottomRight->setCoords(to, 1);
  replot(rpQueuedReplot);
}

void RangePlot::mousePressEvent(QMouseEvent* event) {
  constexpr double kGrip = 8;
  const double at = event->position().x();
  const double x = xAxis->pixelToCoord(at);
  // The edge under the pointer moves; elsewhere a new range begins.
  if (std::abs(xAxis->coordToPixel(from_) - at) < kGrip)
    fixed_ = to_;
  else if (std::abs(xAxis->coordToPixel(to_) - at) < kGrip)
    fixed_ = from_;
  else
    fixed_ = x;
  dragging_ = true;
}

void RangePlot::mouseMoveEvent(QMouseEvent* event) {
  if (dragging_)
    dragged(fixed_, xAxis->pixelToCoord(event->position().x()));
  else
    SpectraPlot::mouseMoveEvent(event);
}

void RangePlot::mouseReleaseEvent(QMouseEvent*) { dragging_ = false; }

}  // namespace nvimport
