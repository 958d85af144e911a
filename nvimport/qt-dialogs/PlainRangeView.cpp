#include "nvimport/qt-dialogs/PlainRangeView.h"

#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <limits>

namespace nvimport {

namespace {

constexpr double kMargin = 8;  // pixels

}  // namespace

RangeView::~RangeView() = default;

PlainRangeView::PlainRangeView() {
  setAutoFillBackground(true);
  setBackgroundRole(QPalette::Base);
  setAccessibleName(tr("Spectrum"));
}

void PlainRangeView::ShowAxis(double from, double to) {
  first_ = std::min(from, to);
  last_ = std::max(from, to);
  if (first_ == last_) last_ = first_ + 1;
  update();
}

void PlainRangeView::ShowSpectrum(const std::vector<double>& x, const std::vector<float>& y) {
  if (x.empty() || x.size() != y.size()) return;
  x_ = x;
  y_ = y;
  lowest_ = std::numeric_limits<float>::max();
  highest_ = std::numeric_limits<float>::lowest();
  for (const float value : y) {
    if (!std::isfinite(value)) continue;
    lowest_ = std::min(lowest_, value);
    highest_ = std::max(highest_, value);
  }
  ShowAxis(x.front(), x.back());
}

void PlainRangeView::ShowRange(double from, double to) {
  from_ = from;
  to_ = to;
  update();
}

QRectF PlainRangeView::Area() const {
  return QRectF(rect()).adjusted(kMargin, kMargin, -kMargin, -kMargin - fontMetrics().height());
}

double PlainRangeView::Pixel(double x) const {
  return Area().left() + (x - first_) / (last_ - first_) * Area().width();
}

double PlainRangeView::XAt(double pixel) const {
  return first_ + (pixel - Area().left()) / Area().width() * (last_ - first_);
}

void PlainRangeView::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const QRectF area = Area();
  QColor band = palette().color(QPalette::Highlight);
  band.setAlphaF(0.25F);
  painter.fillRect(
      QRectF(QPointF(Pixel(from_), area.top()), QPointF(Pixel(to_), area.bottom())).normalized(),
      band);
  painter.setPen(palette().color(QPalette::Text));
  painter.drawLine(area.bottomLeft(), area.bottomRight());
  const QRectF below(area.left(), area.bottom(), area.width(), fontMetrics().height() + kMargin);
  painter.drawText(below, Qt::AlignLeft | Qt::AlignVCenter, QString::number(first_, 'g', 6));
  painter.drawText(below, Qt::AlignRight | Qt::AlignVCenter, QString::number(last_, 'g', 6));
  painter.setRenderHint(QPainter::Antialiasing);
  const double height = highest_ > lowest_ ? static_cast<double>(highest_ - lowest_) : 1;
  QPolygonF line;
  const auto flush = [&] {
    painter.drawPolyline(line);
    line.clear();
  };
  for (std::size_t i = 0; i < x_.size(); ++i) {
    if (!std::isfinite(y_[i])) {
      flush();
      continue;
    }
    const double part = static_cast<double>(y_[i] - lowest_) / height;
    line.push_back({Pixel(x_[i]), area.bottom() - part * area.height()});
  }
  flush();
}

void PlainRangeView::mousePressEvent(QMouseEvent* event) {
  const double at = event->position().x();
  // The edge under the pointer moves; elsewhere a new range begins.
  if (std::abs(Pixel(from_) - at) < kMargin)
    fixed_ = to_;
  else if (std::abs(Pixel(to_) - at) < kMargin)
    fixed_ = from_;
  else
    fixed_ = XAt(at);
}

void PlainRangeView::mouseMoveEvent(QMouseEvent* event) {
  if (dragged) dragged(fixed_, XAt(event->position().x()));
}

}  // namespace nvimport
