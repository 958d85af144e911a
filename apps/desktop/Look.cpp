#include "apps/desktop/Look.h"

#include <QObject>
#include <QStringList>
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace nvimport {

namespace {

constexpr double kOffsetPart = 0.1;

// The derivatives at each point of curves with common x values: of the parabola that fits best the
// points around it, whatever their distances. At the ends it is that of the last whole window.
class SavitzkyGolay {
 public:
  SavitzkyGolay(std::span<const double> x, std::size_t window, int order)
      : window_(std::min(window, x.size())) {
    if (window_ < kFewest) return;
    weights_.reserve(x.size() * window_);
    for (std::size_t i = 0; i < x.size(); ++i) {
      const std::size_t begin = BeginAt(i, x.size());
      AddWeights(x.subspan(begin, window_), x[i], order);
    }
  }

  void Take(std::span<const float> y, std::span<float> derivatives) const {
    for (std::size_t i = 0; i < y.size(); ++i) {
      double sum = std::numeric_limits<double>::quiet_NaN();
      if (window_ >= kFewest) {
        sum = 0;
        const std::size_t begin = BeginAt(i, y.size());
        for (std::size_t k = 0; k < window_; ++k)
          sum += weights_[i * window_ + k] * static_cast<double>(y[begin + k]);
      }
      derivatives[i] = static_cast<float>(sum);
    }
  }

 private:
  static constexpr std::size_t kFewest = 3;

  std::size_t BeginAt(std::size_t point, std::size_t points) const {
    const std::size_t half = window_ / 2;
    return std::min(point > half ? point - half : 0, points - window_);
  }

  // What each value in the window counts: a row of the solved normal equations.
  void AddWeights(std::span<const double> x, double at, int order) {
    const double width = std::max(x.back() - x.front(), std::numeric_limits<double>::min());
    std::array<double, 5> moments{};
    for (const double value : x) {
      double power = 1;
      for (double& moment : moments) {
        moment += power;
        power *= (value - at) / width;
      }
    }
    const auto [s0, s1, s2, s3, s4] = moments;
    // The row of the inverse that gives the coefficient of that order; symmetric.
    const double determinant =
        s0 * (s2 * s4 - s3 * s3) - s1 * (s1 * s4 - s2 * s3) + s2 * (s1 * s3 - s2 * s2);
    const std::array<double, 3> row =
        order == 1 ? std::array{s2 * s3 - s1 * s4, s0 * s4 - s2 * s2, s1 * s2 - s0 * s3}
                   : std::array{s1 * s3 - s2 * s2, s1 * s2 - s0 * s3, s0 * s2 - s1 * s1};
    const double scale = order == 1 ? 1 / width : 2 / (width * width);
    for (const double value : x) {
      const double t = (value - at) / width;
      weights_.push_back((row[0] + row[1] * t + row[2] * t * t) / determinant * scale);
    }
  }

  std::size_t window_;
  std::vector<double> weights_;  // window by window
};

struct Extent {
  float lowest = std::numeric_limits<float>::infinity();
  float highest = -std::numeric_limits<float>::infinity();

  explicit Extent(std::span<const float> y) {
    for (const float value : y) {
      if (!std::isfinite(value)) continue;
      lowest = std::min(lowest, value);
      highest = std::max(highest, value);
    }
  }
  float height() const { return highest > lowest ? highest - lowest : 0; }
};

void Scale(std::span<float> y, Look::Scaling scaling) {
  float middle = 0;
  float unit = 1;
  if (scaling == Look::Scaling::kToOne) {
    const Extent extent(y);
    middle = extent.lowest;
    unit = extent.height();
  } else {
    double sum = 0;
    double squares = 0;
    double count = 0;
    for (const float value : y) {
      if (!std::isfinite(value)) continue;
      count += 1;
      const double before = static_cast<double>(value) - (count > 1 ? sum / (count - 1) : 0);
      sum += static_cast<double>(value);
      squares += before * (static_cast<double>(value) - sum / count);
    }
    middle = static_cast<float>(sum / std::max(count, 1.0));
    unit = static_cast<float>(std::sqrt(squares / std::max(count - 1, 1.0)));
  }
  // What is constant stays where it is moved to.
  if (!(unit > 0)) unit = 1;
  for (float& value : y) value = (value - middle) / unit;
}

}  // namespace

QString Look::Words() const {
  QStringList words;
  if (derivative != Derivative::kNone)
    words.push_back((derivative == Derivative::kFirst
                         ? QObject::tr("first derivative (Savitzky-Golay, %1 points)")
                         : QObject::tr("second derivative (Savitzky-Golay, %1 points)"))
                        .arg(window));
  if (scaling == Scaling::kToOne) words.push_back(QObject::tr("each from 0 to 1"));
  if (scaling == Scaling::kCentered)
    words.push_back(QObject::tr("each with mean 0 and deviation 1"));
  if (stacking == Stacking::kOffset) words.push_back(QObject::tr("offset"));
  if (stacking == Stacking::kStacked) words.push_back(QObject::tr("stacked"));
  return words.join(", ");
}

Curves LookAt(const Curves& curves, const Look& look, const Report& report) {
  Curves seen = curves;
  if (look.IsPlain() || curves.size() == 0) return seen;
  const std::size_t points = curves.x.size();
  const auto each = [&](const auto& change) {
    for (std::size_t i = 0; i < seen.size(); ++i) {
      if (!report(i, seen.size())) return false;
      change(i, std::span(seen.y).subspan(i * points, points));
    }
    return true;
  };
  using Derivative = Look::Derivative;
  bool goes_on = true;
  if (look.derivative != Derivative::kNone) {
    const SavitzkyGolay derivative(curves.x, static_cast<std::size_t>(look.window),
                                   look.derivative == Derivative::kFirst ? 1 : 2);
    goes_on = each([&](std::size_t i, std::span<float> y) { derivative.Take(curves.Of(i), y); });
  }
  if (goes_on && look.scaling != Look::Scaling::kNone)
    goes_on = each([&](std::size_t, std::span<float> y) { Scale(y, look.scaling); });
  if (goes_on && look.stacking != Look::Stacking::kNone) {
    double step = 0;
    goes_on = each([&](std::size_t, std::span<float> y) {
      step = std::max(step, static_cast<double>(Extent(y).height()));
    });
    if (look.stacking == Look::Stacking::kOffset) step *= kOffsetPart;
    goes_on = goes_on && each([&](std::size_t i, std::span<float> y) {
                const auto up = static_cast<float>(step * static_cast<double>(i));
                for (float& value : y) value += up;
              });
  }
  seen.complete = goes_on;
  if (!look.Words().isEmpty())
    seen.y_title = curves.y_title.isEmpty()
                       ? look.Words()
                       : QObject::tr("%1: %2").arg(curves.y_title, look.Words());
  return seen;
}

}  // namespace nvimport
