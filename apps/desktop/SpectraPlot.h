#pragma once

#include <qcustomplot.h>

#include <QTimer>
#include <memory>
#include <optional>
#include <vector>

#include "apps/desktop/Curves.h"
#include "apps/desktop/PlotPicture.h"

namespace nvimport {

class CurvesPlottable;

// The picture of a sheet's curves: zoomed by the wheel and by a frame drawn with Shift held, moved
// by dragging, or by + - 0 and the arrow keys. The point under the pointer is named, or that of the
// cursor, which keys move from point to point and from curve to curve.
class SpectraPlot : public QCustomPlot {
  Q_OBJECT
 public:
  explicit SpectraPlot(QWidget* parent = nullptr);

  // Null for none.
  void SetCurves(std::shared_ptr<const Curves> curves);
  const Curves* curves() const { return curves_.get(); }

  // Whether x falls from left to right, as wavenumbers are shown.
  void SetReversed(bool reversed);
  void ShowAll();
  // Has y fit what is seen whenever x changes.
  void SetFitting(bool fits);
  // What was seen before, or what was left so.
  void GoBack() { GoTo(place_ - 1); }
  void GoForward() { GoTo(place_ + 1); }
  // The curves of these rows of the sheet, or columns of points.
  void Emphasize(const std::vector<int>& lines);

  // A curve, and a place on it.
  struct Spot {
    std::size_t curve;
    std::size_t point;
  };
  // The one next to a place in the picture, if any is near.
  std::optional<Spot> SpotAt(const QPointF& place) const;
  // "1120, 0.319  Wheat 03".
  QString Words(const Spot& spot) const;
  // The highest or lowest point of a line next to a place on it, if it has any.
  std::optional<Spot> NearestPeak(const Spot& spot) const;
  // Where the cursor is, which keys move.
  const std::optional<Spot>& cursor() const { return cursor_; }

  // What is seen, on white.
  PlotPicture Picture(QSize size);
  // Writes that; see PlotPicture.
  QString Save(const QString& path, const QString& kind, QSize size);

 signals:
  // What is under the pointer, whole; empty for nothing.
  void Pointed(const QString& words);
  void CurveClicked(int line);

 protected:
  void mouseMoveEvent(QMouseEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void leaveEvent(QEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void changeEvent(QEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  // The ranges that are seen.
  struct View {
    QCPRange x;
    QCPRange y;
    bool operator==(const View&) const = default;
  };
  void GoTo(std::ptrdiff_t place);
  void KeepView();
  void FitValues();
  // False for a key that does not move it.
  bool MoveCursor(const QKeyEvent& event);

  bool AreLines() const { return curves_->marks == PlotChoice::Marks::kLines; }
  QString NumbersAt(const Spot& spot) const;
  // Of one size in pixels on whatever device.
  QFont Lettering() const;
  // As many ticks as their labels have room for, and as much of the titles.
  void SpaceTicks(QSize size);
  void TakeColors(const QPalette& palette);
  void MakeLegend();
  void Hover(const std::optional<Spot>& spot);
  // What moves is drawn coarsely when all of it takes long.
  void Move();

  std::shared_ptr<const Curves> curves_;
  CurvesPlottable* all_;
  CurvesPlottable* emphasized_;
  CurvesPlottable* hovered_;
  QCPItemText* label_;
  QCPItemEllipse* marker_;
  QCPItemText* nothing_;           // what is said in the place of a picture
  QCPLayoutGrid* side_ = nullptr;  // with the names, if there are few
  QString x_title_;
  QString y_title_;
  QTimer at_rest_;
  QTimer settled_;           // when the view has stayed a while
  std::vector<View> views_;  // that were seen
  std::ptrdiff_t place_ = 0;
  std::optional<Spot> cursor_;
  bool fits_ = false;
  QPoint pressed_;
  bool dark_ = false;
};

}  // namespace nvimport
