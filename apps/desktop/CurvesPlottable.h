#pragma once

#include <qcustomplot.h>

#include <memory>
#include <optional>
#include <vector>

#include "apps/desktop/Curves.h"

namespace nvimport {

// The colours of the curves, before a light or a dark background.
class CurveColors {
 public:
  CurveColors(std::size_t curves, bool dark) : curves_(curves), dark_(dark) {}
  QColor Of(std::size_t curve) const;

 private:
  std::size_t curves_;
  bool dark_;
};

// A straight way from coordinates to pixels.
struct Scale {
  Scale() = default;
  explicit Scale(const QCPAxis& axis);
  double Pixel(double value) const { return offset + value * factor; }

  double factor = 0;
  double offset = 0;
};

// All that drawing curves takes, in any thread.
struct CurvesDrawing {
  std::shared_ptr<const Curves> curves;
  std::optional<std::vector<std::size_t>> emphasized;  // only these, wider than the others
  QCPRange range;                                      // of x
  Scale keys;
  Scale values;
  QRect area;
  bool dark = false;
  std::size_t stride = 1;  // one curve of so many

  // False when `report` stops it.
  bool Draw(QPainter& painter, const Report& report) const;
};

// Draws curves by what their pixels can show: of the values that share a column of pixels, the
// lowest and the highest.
class CurvesPlottable : public QCPAbstractPlottable {
  Q_OBJECT
 public:
  CurvesPlottable(QCPAxis* key, QCPAxis* value) : QCPAbstractPlottable(key, value) {}

  void SetCurves(std::shared_ptr<const Curves> curves) { curves_ = std::move(curves); }
  void SetDark(bool dark) { dark_ = dark; }
  // Draws only these, wider than the others.
  void SetEmphasized(std::vector<std::size_t> curves) { emphasized_ = std::move(curves); }
  // Draws one curve of so many, for as long as something moves.
  void SetStride(std::size_t stride) { stride_ = stride; }
  // Of that many curves one is drawn, since more would cover each other in any picture.
  static std::size_t OneOf(std::size_t curves);
  // While it keeps drawings, nothing is drawn but kept until it ends.
  void KeepDrawing(bool keeps) {
    keeps_ = keeps;
    kept_ = {};
  }
  const CurvesDrawing& kept() const { return kept_; }
  // What the last drawing of all curves took.
  double seconds() const { return seconds_; }

  double selectTest(const QPointF&, bool, QVariant*) const override { return -1; }
  QCPRange getKeyRange(bool& found, QCP::SignDomain domain) const override;
  // Of the values over `keys`, or of all where that is nothing.
  QCPRange getValueRange(bool& found, QCP::SignDomain domain, const QCPRange& keys) const override;

 protected:
  void draw(QCPPainter* painter) override;
  void drawLegendIcon(QCPPainter*, const QRectF&) const override {}

 private:
  std::shared_ptr<const Curves> curves_;
  std::optional<std::vector<std::size_t>> emphasized_;
  bool dark_ = false;
  std::size_t stride_ = 1;
  double seconds_ = 0;
  bool keeps_ = false;
  CurvesDrawing kept_;
};

}  // namespace nvimport
