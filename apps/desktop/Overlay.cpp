#include "apps/desktop/Overlay.h"

#include <QObject>
#include <algorithm>
#include <iterator>
#include <limits>

namespace nvimport {

namespace {

// Adds the curves of `from` over the x values of `to`, which has all of theirs.
void Add(const Curves& from, const QString& file, bool is_own, Curves& to) {
  for (std::size_t curve = 0; curve < from.size(); ++curve) {
    const std::span<const float> y = from.Of(curve);
    std::size_t next = 0;
    for (const double x : to.x) {
      while (next < y.size() && from.x[next] < x) ++next;
      const bool is_point = next < y.size() && from.x[next] == x;
      float value = std::numeric_limits<float>::quiet_NaN();
      if (is_point) {
        value = y[next++];
      } else if (next > 0 && next < y.size()) {
        const double before = from.x[next - 1];
        const double part = (x - before) / (from.x[next] - before);
        // Beside a point without a number there is no line.
        const auto from_y = static_cast<double>(y[next - 1]);
        value = static_cast<float>(from_y + part * (static_cast<double>(y[next]) - from_y));
      }
      to.y.push_back(value);
      to.between.push_back(!is_point);
    }
    to.lines.push_back(is_own ? from.lines[curve] : 0);
    to.names.push_back(is_own ? from.names[curve]
                              : QObject::tr("%1: %2").arg(file, from.names[curve]));
  }
}

}  // namespace

Curves Overlaid(const Curves& own, std::span<const OtherCurves> others, const Look& look,
                const Report& report) {
  constexpr std::size_t kMostPoints = 250'000'000;
  Look each = look;
  each.stacking = Look::Stacking::kNone;
  std::vector<Curves> parts = {LookAt(own, each, report)};
  for (const OtherCurves& other : others) parts.push_back(LookAt(*other.curves, each, report));
  Curves all;
  all.spectra = own.spectra;
  all.marks = own.marks;
  all.x_falls = own.x_falls;
  all.x_title = own.x_title;
  all.y_title = parts.front().y_title;
  std::size_t count = 0;
  for (const Curves& part : parts) {
    std::vector<double> joined;
    std::ranges::set_union(all.x, part.x, std::back_inserter(joined));
    all.x = std::move(joined);
    count += part.size();
    all.complete = all.complete && part.complete;
  }
  all.too_large = count * all.x.size() > kMostPoints;
  for (std::size_t i = 0; i < parts.size() && all.complete && !all.too_large; ++i) {
    Add(parts[i], i == 0 ? QString() : others[i - 1].file, i == 0, all);
    all.complete = report(i, parts.size());
  }
  Look rest;
  rest.stacking = look.stacking;
  const QString title = all.y_title;
  all = LookAt(all, rest, report);
  all.y_title = title;
  return all;
}

}  // namespace nvimport
