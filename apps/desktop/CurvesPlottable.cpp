#include "apps/desktop/CurvesPlottable.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <span>

#include "apps/desktop/Contrast.h"

namespace nvimport {

namespace {

constexpr int kFewCurves = 10;
// Up to here lines are smoothed, which costs.
constexpr std::size_t kSmoothed = 50;
constexpr std::size_t kMostDrawn = 20000;
constexpr double kDot = 4;  // pixels of a point that stands alone
// Points of this size where there are few of them, else smaller.
constexpr std::size_t kFewPoints = 2000;
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Points whose pixels lie in one column.
struct Column {
  std::size_t begin;
  std::size_t end;
};

// Draws lines for a part of the points, which all curves share.
class LinePainter {
 public:
  LinePainter(const Curves& curves, std::size_t begin, std::size_t end, const Scale& keys,
              const Scale& values)
      : curves_(curves), begin_(begin), end_(end), values_(values) {
    pixels_.reserve(end - begin);
    for (std::size_t i = begin; i < end; ++i) {
      pixels_.push_back(keys.Pixel(curves.x[i]));
      const bool same = i > begin && std::floor(pixels_.back()) ==
                                         std::floor(pixels_[columns_.back().begin - begin]);
      if (same)
        columns_.back().end = i + 1;
      else
        columns_.push_back({i, i + 1});
    }
  }

  void Draw(std::size_t curve, QPainter& painter) {
    const std::span<const float> y = curves_.Of(curve);
    // Two points a column are what a reduced curve has.
    if (columns_.size() * 2 >= end_ - begin_) {
      for (std::size_t i = begin_; i < end_; ++i) Add(pixels_[i - begin_], y[i], painter);
    } else {
      for (const Column& column : columns_) AddReduced(column, y, painter);
    }
    Flush(painter);
  }

 private:
  void Add(double pixel, float y, QPainter& painter) {
    if (std::isnan(y))
      Flush(painter);
    else
      line_.emplace_back(pixel, values_.Pixel(static_cast<double>(y)));
  }

  void AddReduced(const Column& column, std::span<const float> y, QPainter& painter) {
    const double pixel = pixels_[column.begin - begin_];
    float lowest = kInfinity;
    float highest = -kInfinity;
    // A NaN, which is neither less nor more, never comes behind the first.
    for (std::size_t i = column.begin; i < column.end; ++i) {
      lowest = std::min(lowest, y[i]);
      highest = std::max(highest, y[i]);
    }
    if (lowest > highest) return Flush(painter);
    const double low = values_.Pixel(static_cast<double>(lowest));
    const double high = values_.Pixel(static_cast<double>(highest));
    // The nearer end first, so that the line between two columns crosses nothing.
    const bool low_first =
        line_.empty() || std::abs(line_.back().y() - low) <= std::abs(line_.back().y() - high);
    line_.emplace_back(pixel, low_first ? low : high);
    if (std::abs(low - high) >= 0.5) line_.emplace_back(pixel, low_first ? high : low);
  }

  void Flush(QPainter& painter) {
    if (line_.size() == 1)
      painter.fillRect(QRectF(line_.front() - QPointF(kDot / 2, kDot / 2), QSizeF(kDot, kDot)),
                       painter.pen().color());
    else if (!line_.empty())
      painter.drawPolyline(line_.data(), static_cast<int>(line_.size()));
    line_.clear();
  }

  const Curves& curves_;
  std::size_t begin_;
  std::size_t end_;
  const Scale& values_;
  std::vector<double> pixels_;
  std::vector<Column> columns_;
  std::vector<QPointF> line_;
};

// Draws a line from 0 to each value.
class StickPainter {
 public:
  StickPainter(const Curves& curves, std::size_t begin, std::size_t end, const Scale& keys,
               const Scale& values)
      : curves_(curves), begin_(begin), end_(end), keys_(keys), values_(values) {}

  void Draw(std::size_t curve, QPainter& painter) const {
    const std::span<const float> y = curves_.Of(curve);
    std::vector<QLineF> sticks;
    for (std::size_t i = begin_; i < end_; ++i) {
      if (std::isnan(y[i])) continue;
      const double right = keys_.Pixel(curves_.x[i]);
      sticks.emplace_back(right, values_.Pixel(0), right, values_.Pixel(static_cast<double>(y[i])));
    }
    painter.drawLines(sticks.data(), static_cast<int>(sticks.size()));
  }

 private:
  const Curves& curves_;
  std::size_t begin_;
  std::size_t end_;
  const Scale& keys_;
  const Scale& values_;
};

// Draws points, none twice at one place.
class PointPainter {
 public:
  PointPainter(const Curves& curves, std::size_t begin, std::size_t end, const QRect& area,
               const Scale& keys, const Scale& values)
      : curves_(curves), begin_(begin), end_(end), area_(area), keys_(keys), values_(values) {}

  void Draw(std::size_t curve, int width, QPainter& painter) {
    // The lines to the right and below belong to the area.
    const auto columns = static_cast<std::size_t>(area_.width()) + 1;
    taken_.assign(columns * (static_cast<std::size_t>(area_.height()) + 1), false);
    points_.clear();
    const std::span<const float> y = curves_.Of(curve);
    for (std::size_t i = begin_; i < end_; ++i) {
      if (std::isnan(y[i])) continue;
      const double right = keys_.Pixel(curves_.x[i]) - area_.left();
      const double down = values_.Pixel(static_cast<double>(y[i])) - area_.top();
      if (right < 0 || down < 0 || right > area_.width() || down > area_.height()) continue;
      const auto place = static_cast<std::size_t>(down) * columns + static_cast<std::size_t>(right);
      if (taken_[place]) continue;
      taken_[place] = true;
      points_.emplace_back(area_.left() + right - width / 2.0, area_.top() + down - width / 2.0,
                           static_cast<double>(width), static_cast<double>(width));
    }
    painter.drawRects(points_.data(), static_cast<int>(points_.size()));
  }

 private:
  const Curves& curves_;
  std::size_t begin_;
  std::size_t end_;
  QRect area_;
  const Scale& keys_;
  const Scale& values_;
  std::vector<bool> taken_;
  std::vector<QRectF> points_;
};

}  // namespace

QColor CurveColors::Of(std::size_t curve) const {
  if (curves_ <= kFewCurves) {
    static const QColor kLight[kFewCurves] = {"#1f6fb4", "#d1550e", "#2b8a3e", "#b3262b",
                                              "#7a4fb0", "#7d5130", "#c2479c", "#5c6670",
                                              "#8a8a12", "#0f8c99"};
    static const QColor kDark[kFewCurves] = {"#6cb2f0", "#ff9c57", "#69d07f", "#ff7b7b", "#c3a1f2",
                                             "#d3a17c", "#f296cf", "#b4bfc9", "#d6d65c", "#57d3e0"};
    return (dark_ ? kDark : kLight)[curve];
  }
  // From blue over green to orange, in the order of the sheet.
  const double part = static_cast<double>(curve) / static_cast<double>(curves_ - 1);
  const auto color =
      QColor::fromHsvF(static_cast<float>(0.62 - 0.54 * part), 0.75F, dark_ ? 0.95F : 0.72F);
  // Green and yellow are lighter than they measure.
  constexpr double kLightest = 1.05 / kLineContrast - 0.06;
  constexpr double kGamma = 2.2;
  const double luminance = Luminance(color);
  if (dark_ || luminance <= kLightest) return color;
  return QColor::fromHsvF(
      color.hsvHueF(), color.hsvSaturationF(),
      color.valueF() * static_cast<float>(std::pow(kLightest / luminance, 1 / kGamma)));
}

Scale::Scale(const QCPAxis& axis) {
  const QCPRange range = axis.range();
  const double at_lower = axis.coordToPixel(range.lower);
  factor = (axis.coordToPixel(range.upper) - at_lower) / range.size();
  offset = at_lower - range.lower * factor;
}

bool CurvesDrawing::Draw(QPainter& painter, const Report& report) const {
  if (curves == nullptr) return true;
  // One more on either side, for the lines that leave the picture.
  const std::vector<double>& x = curves->x;
  const auto lower = std::ranges::lower_bound(x, range.lower) - x.begin();
  const auto upper = std::ranges::upper_bound(x, range.upper) - x.begin();
  const auto begin = static_cast<std::size_t>(std::max<std::ptrdiff_t>(lower - 1, 0));
  const std::size_t end = std::min(static_cast<std::size_t>(upper) + 1, x.size());
  LinePainter lines(*curves, begin, end, keys, values);
  PointPainter points(*curves, begin, end, area, keys, values);
  const StickPainter sticks(*curves, begin, end, keys, values);
  const bool bold = emphasized.has_value();
  // Wide and smooth lines are for few.
  const bool few = (bold ? emphasized->size() : curves->size()) <= kSmoothed;
  const CurveColors colors(curves->size(), dark);
  const bool are_lines = curves->marks == PlotChoice::Marks::kLines;
  painter.setRenderHint(QPainter::Antialiasing, are_lines && few);
  const std::size_t count = bold ? emphasized->size() : curves->size();
  for (std::size_t i = 0; i < count; i += bold ? 1 : stride) {
    if (!report(i, count)) return false;
    const std::size_t curve = bold ? (*emphasized)[i] : i;
    QColor color = colors.Of(curve);
    if (bold && curves->size() > kFewCurves) color = dark ? Qt::white : Qt::black;
    if (curves->marks == PlotChoice::Marks::kSticks) {
      painter.setPen(QPen(color, bold && few ? 3 : 1));
      sticks.Draw(curve, painter);
    } else if (are_lines) {
      painter.setPen(QPen(color, bold && few ? 2.5 : 1));
      lines.Draw(curve, painter);
    } else {
      painter.setPen(Qt::NoPen);
      painter.setBrush(color);
      points.Draw(curve, (x.size() <= kFewPoints ? 5 : 3) + (bold ? 3 : 0), painter);
    }
  }
  return true;
}

QCPRange CurvesPlottable::getKeyRange(bool& found, QCP::SignDomain) const {
  found = curves_ != nullptr && curves_->size() > 0;
  return found ? QCPRange(curves_->x.front(), curves_->x.back()) : QCPRange();
}

QCPRange CurvesPlottable::getValueRange(bool& found, QCP::SignDomain, const QCPRange& keys) const {
  found = false;
  if (curves_ == nullptr || curves_->size() == 0) return {};
  const std::vector<double>& x = curves_->x;
  std::ptrdiff_t begin = 0;
  std::ptrdiff_t end = std::ssize(x);
  if (keys.size() > 0) {
    begin = std::ranges::lower_bound(x, keys.lower) - x.begin();
    end = std::ranges::upper_bound(x, keys.upper) - x.begin();
  }
  float lowest = kInfinity;
  float highest = -kInfinity;
  for (std::size_t curve = 0; curve < curves_->size() && begin < end; ++curve)
    for (const float y : curves_->Of(curve).subspan(static_cast<std::size_t>(begin),
                                                    static_cast<std::size_t>(end - begin))) {
      if (!std::isfinite(y)) continue;
      lowest = std::min(lowest, y);
      highest = std::max(highest, y);
    }
  if (curves_->marks == PlotChoice::Marks::kSticks) {
    lowest = std::min(lowest, 0.0F);
    highest = std::max(highest, 0.0F);
  }
  found = lowest <= highest;
  return found ? QCPRange(static_cast<double>(lowest), static_cast<double>(highest)) : QCPRange();
}

std::size_t CurvesPlottable::OneOf(std::size_t curves) { return curves / kMostDrawn + 1; }

void CurvesPlottable::draw(QCPPainter* painter) {
  if (curves_ == nullptr || curves_->size() == 0) return;
  const CurvesDrawing drawing{curves_,
                              emphasized_,
                              keyAxis()->range(),
                              Scale(*keyAxis()),
                              Scale(*valueAxis()),
                              clipRect(),
                              dark_,
                              std::max(stride_, OneOf(curves_->size()))};
  if (keeps_) {
    kept_ = drawing;
    return;
  }
  const auto start = std::chrono::steady_clock::now();
  drawing.Draw(*painter, [](std::size_t, std::size_t) { return true; });
  if (stride_ == 1)
    seconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace nvimport
