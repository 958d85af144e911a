#include "apps/desktop/SpectraPlot.h"

#include <QAccessible>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "apps/desktop/CurvesPlottable.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

constexpr std::size_t kMostNames = 10;
constexpr double kNear = 12;      // pixels
constexpr double kSmooth = 0.03;  // seconds that a picture may take while something moves
constexpr double kMargin = 0.04;  // above and below the curves
constexpr int kNameWidth = 150;   // pixels
constexpr int kNameParts = 5;     // of the width that the longest name may take one
constexpr double kLeastStretch = 0.001;
constexpr auto kRest = std::chrono::milliseconds(180);
constexpr auto kSettled = std::chrono::milliseconds(400);
constexpr std::size_t kMostViews = 100;

// What the names share at their beginning, as far as whole words go.
QString CommonBeginning(const std::vector<QString>& names) {
  QString common = names.front();
  for (const QString& name : names)
    while (!name.startsWith(common)) common.chop(1);
  while (!common.isEmpty() && common.back().isLetterOrNumber()) common.chop(1);
  return common;
}

// The names as they fit: those that share a long beginning by what tells them apart.
std::vector<QString> ShortNames(const std::vector<QString>& names, const QFontMetrics& metrics,
                                int width) {
  const bool all_fit = std::ranges::all_of(
      names, [&](const QString& name) { return metrics.horizontalAdvance(name) <= width; });
  if (all_fit) return names;
  const qsizetype common = CommonBeginning(names).size();
  std::vector<QString> shown;
  shown.reserve(names.size());
  for (const QString& name : names) {
    const QString rest = common > 1 ? QChar(0x2026) + name.mid(common) : name;
    shown.push_back(metrics.elidedText(rest, Qt::ElideMiddle, width));
  }
  return shown;
}

// A curve's colour and name.
class NameItem : public QCPAbstractLegendItem {
 public:
  NameItem(QCPLegend* legend, QColor color, QString name)
      : QCPAbstractLegendItem(legend), color_(color), name_(std::move(name)) {}

 protected:
  void draw(QCPPainter* painter) override {
    const QRect area = rect();
    painter->setPen(QPen(color_, 3));
    painter->drawLine(
        QLineF(area.left(), area.center().y(), area.left() + kLine, area.center().y()));
    painter->setFont(mParentLegend->font());
    painter->setPen(mParentLegend->textColor());
    painter->drawText(area.adjusted(kLine + kGap, 0, 0, 0), Qt::AlignVCenter | Qt::AlignLeft,
                      name_);
  }
  QSize minimumOuterSizeHint() const override {
    const QFontMetrics metrics(mParentLegend->font());
    return {kLine + kGap + metrics.horizontalAdvance(name_) + 2, metrics.height() + 4};
  }

 private:
  static constexpr int kLine = 16;
  static constexpr int kGap = 6;

  QColor color_;
  QString name_;
};

QColor Between(const QColor& a, const QColor& b, float part) {
  const auto mix = [part](float from, float to) { return from + (to - from) * part; };
  return QColor::fromRgbF(mix(a.redF(), b.redF()), mix(a.greenF(), b.greenF()),
                          mix(a.blueF(), b.blueF()));
}

QCPRange Widened(const QCPRange& range, double by) { return {range.lower - by, range.upper + by}; }

CurvesPlottable* AddCurves(QCustomPlot& plot, const QString& layer, bool emphasized) {
  auto* const curves = new CurvesPlottable(plot.xAxis, plot.yAxis);
  curves->setLayer(layer);
  if (emphasized) curves->SetEmphasized({});
  return curves;
}

}  // namespace

SpectraPlot::SpectraPlot(QWidget* parent) : QCustomPlot(parent) {
  setFocusPolicy(Qt::StrongFocus);
  setAccessibleName(tr("Plot"));
  setInteractions(QCP::iRangeDrag | QCP::iRangeZoom);
  setNoAntialiasingOnDrag(true);
  selectionRect()->setPen(QPen(Qt::gray, 1, Qt::DashLine));
  xAxis->setNumberFormat("gb");
  yAxis->setNumberFormat("gb");
  // What changes with the pointer lies above, in pictures of its own.
  for (const char* name : {"emphasized", "hovered"}) {
    addLayer(name);
    layer(name)->setMode(QCPLayer::lmBuffered);
  }
  all_ = AddCurves(*this, "main", false);
  emphasized_ = AddCurves(*this, "emphasized", true);
  hovered_ = AddCurves(*this, "hovered", true);
  marker_ = new QCPItemEllipse(this);
  label_ = new QCPItemText(this);
  for (QCPAbstractItem* item :
       {static_cast<QCPAbstractItem*>(marker_), static_cast<QCPAbstractItem*>(label_)}) {
    item->setLayer("hovered");
    item->setVisible(false);
    item->setClipToAxisRect(false);
    for (QCPItemPosition* position : item->positions())
      position->setType(QCPItemPosition::ptAbsolute);
  }
  label_->setPadding(QMargins(6, 3, 6, 3));
  nothing_ = new QCPItemText(this);
  nothing_->position->setType(QCPItemPosition::ptAxisRectRatio);
  nothing_->position->setCoords(0.5, 0.5);
  nothing_->setVisible(false);
  at_rest_.setSingleShot(true);
  at_rest_.setInterval(kRest);
  connect(&at_rest_, &QTimer::timeout, this, [this] {
    all_->SetStride(1);
    replot(rpQueuedReplot);
  });
  settled_.setSingleShot(true);
  settled_.setInterval(kSettled);
  connect(&settled_, &QTimer::timeout, this, &SpectraPlot::KeepView);
  for (QCPAxis* axis : {xAxis, yAxis})
    connect(axis, qOverload<const QCPRange&>(&QCPAxis::rangeChanged), this, [this, axis] {
      if (axis == xAxis && fits_) FitValues();
      settled_.start();
    });
  TakeColors(palette());
}

void SpectraPlot::SetCurves(std::shared_ptr<const Curves> curves) {
  curves_ = std::move(curves);
  cursor_.reset();
  views_.clear();
  place_ = 0;
  for (CurvesPlottable* plottable : {all_, emphasized_, hovered_}) plottable->SetCurves(curves_);
  emphasized_->SetEmphasized({});
  Hover(std::nullopt);
  const bool is_empty = curves_ == nullptr || curves_->size() == 0;
  nothing_->setVisible(curves_ != nullptr && is_empty);
  if (is_empty && curves_ != nullptr)
    nothing_->setText(curves_->too_large ? tr("Too many values to plot")
                                         : tr("No numbers to plot"));
  for (QCPAxis* axis : {xAxis, yAxis}) axis->setVisible(!is_empty);
  x_title_ = is_empty ? QString() : curves_->x_title;
  y_title_ = is_empty ? QString() : curves_->y_title;
  // A curve alone needs no list of names.
  if (!is_empty && curves_->size() == 1 && y_title_.isEmpty()) y_title_ = curves_->names.front();
  SpaceTicks(size());
  xAxis->setRangeReversed(!is_empty && curves_->x_falls);
  MakeLegend();
  ShowAll();
}

void SpectraPlot::MakeLegend() {
  if (side_ != nullptr) plotLayout()->remove(side_);
  side_ = nullptr;
  plotLayout()->simplify();
  if (curves_ == nullptr || curves_->size() < 2 || curves_->size() > kMostNames) return;
  auto* const names = new QCPLegend;
  // As high as its names; what is below stays empty.
  side_ = new QCPLayoutGrid;
  plotLayout()->addElement(0, 1, side_);
  side_->addElement(0, 0, names);
  side_->addElement(1, 0, new QCPLayoutElement);
  side_->setRowStretchFactor(0, kLeastStretch);
  plotLayout()->setColumnStretchFactor(1, kLeastStretch);
  names->setLayer("axes");
  names->setBorderPen(Qt::NoPen);
  names->setBrush(Qt::NoBrush);
  names->setFont(Lettering());
  names->setTextColor(xAxis->tickLabelColor());
  const CurveColors colors(curves_->size(), dark_);
  const auto shown = ShortNames(curves_->names, QFontMetrics(font()),
                                std::min(kNameWidth, viewport().width() / kNameParts));
  for (std::size_t i = 0; i < curves_->size(); ++i)
    names->addItem(new NameItem(names, colors.Of(i), shown[i]));
}

void SpectraPlot::SetReversed(bool reversed) {
  Hover(std::nullopt);
  xAxis->setRangeReversed(reversed);
  replot(rpQueuedReplot);
}

void SpectraPlot::ShowAll() {
  Hover(std::nullopt);
  bool found = false;
  const QCPRange x = all_->getKeyRange(found, QCP::sdBoth);
  // A point at an edge is seen whole, and one alone stands in the middle.
  const double beside = curves_ != nullptr && !AreLines() ? std::max(x.size() * kMargin, 0.5)
                        : x.size() > 0                    ? 0
                                                          : 1;
  if (found) xAxis->setRange(Widened(x, beside));
  const QCPRange y = all_->getValueRange(found, QCP::sdBoth, {});
  // What is constant gets room too.
  const double room = y.size() > 0 ? y.size() * kMargin : std::max(std::abs(y.lower) * 0.1, 1e-6);
  if (found) yAxis->setRange(Widened(y, room));
  SpaceTicks(size());
  KeepView();
  replot(rpQueuedReplot);
}

void SpectraPlot::SetFitting(bool fits) {
  fits_ = fits;
  if (!fits) return;
  FitValues();
  replot(rpQueuedReplot);
}

void SpectraPlot::FitValues() {
  bool found = false;
  const QCPRange y = all_->getValueRange(found, QCP::sdBoth, xAxis->range());
  const double room = y.size() > 0 ? y.size() * kMargin : std::max(std::abs(y.lower) * 0.1, 1e-6);
  if (found) yAxis->setRange(Widened(y, room));
}

void SpectraPlot::KeepView() {
  settled_.stop();
  const View view{xAxis->range(), yAxis->range()};
  const auto here = static_cast<std::size_t>(place_);
  if (here < views_.size() && views_[here] == view) return;
  // What was left by going back is forgotten.
  views_.resize(std::min(views_.size(), here + 1));
  views_.push_back(view);
  if (views_.size() > kMostViews) views_.erase(views_.begin());
  place_ = std::ssize(views_) - 1;
}

void SpectraPlot::GoTo(std::ptrdiff_t place) {
  if (settled_.isActive() && place < place_) {
    KeepView();
    place = place_ - 1;
  }
  if (place < 0 || place >= std::ssize(views_)) return;
  place_ = place;
  const View view = views_[static_cast<std::size_t>(place)];
  xAxis->setRange(view.x);
  yAxis->setRange(view.y);
  settled_.stop();
  Hover(std::nullopt);
  Move();
  replot(rpQueuedReplot);
}

void SpectraPlot::Emphasize(const std::vector<int>& lines) {
  if (curves_ == nullptr) return;
  std::vector<std::size_t> chosen;
  for (std::size_t i = 0; i < curves_->size(); ++i)
    if (std::ranges::binary_search(lines, curves_->lines[i])) chosen.push_back(i);
  // All of them are none in particular.
  if (chosen.size() == curves_->size() && chosen.size() > 1) chosen.clear();
  emphasized_->SetEmphasized(std::move(chosen));
  layer("emphasized")->replot();
}

std::optional<SpectraPlot::Spot> SpectraPlot::SpotAt(const QPointF& place) const {
  if (curves_ == nullptr || curves_->size() == 0 || !axisRect()->rect().contains(place.toPoint()))
    return std::nullopt;
  const std::vector<double>& x = curves_->x;
  const double one = xAxis->pixelToCoord(place.x() - kNear);
  const double other = xAxis->pixelToCoord(place.x() + kNear);
  const auto begin = std::ranges::lower_bound(x, std::min(one, other)) - x.begin();
  const auto end = std::ranges::upper_bound(x, std::max(one, other)) - x.begin();
  const double at = xAxis->pixelToCoord(place.x());
  if (std::max(one, other) < x.front() || std::min(one, other) > x.back()) return std::nullopt;
  std::optional<Spot> nearest;
  double least = kNear;
  for (std::size_t curve = 0; curve < curves_->size(); ++curve) {
    const auto y = curves_->Of(curve);
    if (AreLines()) {
      // How far the line is above or below, or its only end.
      const auto next = std::ranges::lower_bound(x, at) - x.begin();
      const auto right = static_cast<std::size_t>(std::min(next, std::ssize(x) - 1));
      const std::size_t left = right > 0 ? right - 1 : 0;
      const double width = x[right] - x[left];
      double part = width > 0 ? std::clamp((at - x[left]) / width, 0.0, 1.0) : 1;
      if (std::isnan(y[left])) part = 1;
      if (std::isnan(y[right])) part = 0;
      const double value =
          std::lerp(static_cast<double>(std::isnan(y[left]) ? y[right] : y[left]),
                    static_cast<double>(std::isnan(y[right]) ? y[left] : y[right]), part);
      const double distance = std::abs(yAxis->coordToPixel(value) - place.y());
      if (distance < least) {
        least = distance;
        nearest = Spot{curve, part < 0.5 ? left : right};
      }
      continue;
    }
    for (auto i = static_cast<std::size_t>(begin); i < static_cast<std::size_t>(end); ++i) {
      if (std::isnan(y[i])) continue;
      const double distance =
          std::hypot(xAxis->coordToPixel(x[i]) - place.x(),
                     yAxis->coordToPixel(static_cast<double>(y[i])) - place.y());
      if (distance < least) {
        least = distance;
        nearest = Spot{curve, i};
      }
    }
  }
  return nearest;
}

QString SpectraPlot::NumbersAt(const Spot& spot) const {
  FloatText buffer;
  const std::string_view value = FormatFloat(curves_->Of(spot.curve)[spot.point], buffer);
  const bool is_between =
      !curves_->between.empty() && curves_->between[spot.curve * curves_->x.size() + spot.point];
  return (is_between ? tr("%1, about %2") : QStringLiteral("%1, %2"))
      .arg(QString::number(curves_->x[spot.point], 'g', QLocale::FloatingPointShortest),
           QString::fromLatin1(value.data(), static_cast<qsizetype>(value.size())));
}

QString SpectraPlot::Words(const Spot& spot) const {
  return NumbersAt(spot) + "  " + curves_->names[spot.curve];
}

QFont SpectraPlot::Lettering() const {
  QFont lettering = font();
  lettering.setPixelSize(QFontInfo(lettering).pixelSize());
  return lettering;
}

std::optional<SpectraPlot::Spot> SpectraPlot::NearestPeak(const Spot& spot) const {
  if (!AreLines()) return std::nullopt;
  const std::span<const float> y = curves_->Of(spot.curve);
  const auto is_peak = [&](std::size_t i) {
    if (i == 0 || i + 1 >= y.size()) return false;
    // Of a flat top the first point.
    return (y[i] > y[i - 1] && y[i] >= y[i + 1]) || (y[i] < y[i - 1] && y[i] <= y[i + 1]);
  };
  for (std::size_t away = 0; away < y.size(); ++away) {
    if (spot.point >= away && is_peak(spot.point - away))
      return Spot{spot.curve, spot.point - away};
    if (is_peak(spot.point + away)) return Spot{spot.curve, spot.point + away};
  }
  return std::nullopt;
}

bool SpectraPlot::MoveCursor(const QKeyEvent& event) {
  if (curves_ == nullptr || curves_->size() == 0) return false;
  const int key = event.key();
  const bool to_peak = key == Qt::Key_P;
  const bool along = key == Qt::Key_Left || key == Qt::Key_Right;
  const bool across = key == Qt::Key_Up || key == Qt::Key_Down;
  if (!to_peak && !((along || across) && event.modifiers() & Qt::ControlModifier)) return false;
  if (!cursor_) {
    // It begins in the middle of what is seen.
    const auto middle =
        std::ranges::lower_bound(curves_->x, xAxis->range().center()) - curves_->x.begin();
    const auto last = std::ssize(curves_->x) - 1;
    cursor_ = Spot{0, static_cast<std::size_t>(std::min(middle, last))};
  } else if (along) {
    const bool rises = (key == Qt::Key_Right) != xAxis->rangeReversed();
    if (rises && cursor_->point + 1 < curves_->x.size()) ++cursor_->point;
    if (!rises && cursor_->point > 0) --cursor_->point;
  } else if (across) {
    if (key == Qt::Key_Down && cursor_->curve + 1 < curves_->size()) ++cursor_->curve;
    if (key == Qt::Key_Up && cursor_->curve > 0) --cursor_->curve;
  }
  if (to_peak) cursor_ = NearestPeak(*cursor_).value_or(*cursor_);
  // It stays in sight.
  const double x = curves_->x[cursor_->point];
  const QCPRange seen = xAxis->range();
  if (!seen.contains(x)) xAxis->moveRange(x - seen.center());
  Hover(cursor_);
  replot(rpQueuedReplot);
  return true;
}

void SpectraPlot::SpaceTicks(QSize size) {
  static constexpr int kMost = 6;
  const QFontMetrics metrics(font());
  const auto widest = [&](const QCPAxis& axis) {
    int width = metrics.horizontalAdvance("000000");
    for (const double end : {axis.range().lower, axis.range().upper})
      width = std::max(width, metrics.horizontalAdvance(QString::number(end, 'g', 6)));
    return width;
  };
  const auto fitting = [](int room, int label) { return std::clamp(room / label, 2, kMost); };
  xAxis->ticker()->setTickCount(fitting(size.width(), widest(*xAxis) * 2));
  yAxis->ticker()->setTickCount(fitting(size.height(), metrics.height() * 3));
  // Beside an axis stand the numbers of the other one, and the names.
  const QFontMetrics letters(Lettering());
  const int width = side_ == nullptr ? size.width() * 4 / 5 : size.width() * 3 / 5;
  const int height = size.height() - 4 * letters.height();
  xAxis->setLabel(letters.elidedText(x_title_, Qt::ElideMiddle, width));
  yAxis->setLabel(letters.elidedText(y_title_, Qt::ElideMiddle, height));
}

void SpectraPlot::Hover(const std::optional<Spot>& spot) {
  hovered_->SetEmphasized(spot && AreLines() ? std::vector{spot->curve}
                                             : std::vector<std::size_t>());
  const bool has_place = spot && std::isfinite(curves_->Of(spot->curve)[spot->point]);
  marker_->setVisible(has_place);
  label_->setVisible(has_place);
  if (has_place) {
    const QPointF place(
        xAxis->coordToPixel(curves_->x[spot->point]),
        yAxis->coordToPixel(static_cast<double>(curves_->Of(spot->curve)[spot->point])));
    marker_->topLeft->setPixelPosition(place - QPointF(4, 4));
    marker_->bottomRight->setPixelPosition(place + QPointF(4, 4));
    label_->setText(
        NumbersAt(*spot) + "  " +
        QFontMetrics(font()).elidedText(curves_->names[spot->curve], Qt::ElideMiddle, width() / 4));
    // On the side where there is room.
    const QRect area = axisRect()->rect();
    const bool left = place.x() > area.center().x();
    const bool below = place.y() < area.top() + area.height() / 4.0;
    label_->setPositionAlignment((left ? Qt::AlignRight : Qt::AlignLeft) |
                                 (below ? Qt::AlignTop : Qt::AlignBottom));
    label_->position->setPixelPosition(place + QPointF(left ? -10 : 10, below ? 10 : -10));
  }
  layer("hovered")->replot();
  QString words;
  if (spot) {
    words = Words(*spot);
    if (const auto peak = NearestPeak(*spot))
      words += tr(" - next peak at %1").arg(NumbersAt(*peak));
  }
  setAccessibleDescription(words);
  QAccessibleEvent changed(this, QAccessible::DescriptionChanged);
  QAccessible::updateAccessibility(&changed);
  emit Pointed(words);
}

PlotPicture SpectraPlot::Picture(QSize size) {
  Hover(std::nullopt);
  const QPalette before = palette();
  QPalette paper;
  paper.setColor(QPalette::Base, Qt::white);
  paper.setColor(QPalette::Text, Qt::black);
  TakeColors(paper);
  SpaceTicks(size);
  PlotPicture picture;
  picture.size = size;
  all_->KeepDrawing(true);
  emphasized_->KeepDrawing(true);
  {
    QCPPainter painter(&picture.frame);
    painter.setMode(QCPPainter::pmVectorized);
    painter.setMode(QCPPainter::pmNonCosmetic);
    toPainter(&painter, size.width(), size.height());
  }
  picture.all = all_->kept();
  picture.emphasized = emphasized_->kept();
  all_->KeepDrawing(false);
  emphasized_->KeepDrawing(false);
  TakeColors(before);
  SpaceTicks(this->size());
  replot(rpQueuedReplot);
  return picture;
}

QString SpectraPlot::Save(const QString& path, const QString& kind, QSize size) {
  return Picture(size).Write(path, kind, [](std::size_t, std::size_t) { return true; });
}

void SpectraPlot::mousePressEvent(QMouseEvent* event) {
  pressed_ = event->pos();
  setSelectionRectMode(event->modifiers() & Qt::ShiftModifier ? QCP::srmZoom : QCP::srmNone);
  QCustomPlot::mousePressEvent(event);
}

void SpectraPlot::mouseMoveEvent(QMouseEvent* event) {
  QCustomPlot::mouseMoveEvent(event);
  if (event->buttons() == Qt::NoButton)
    Hover(SpotAt(event->position()));
  else
    Move();
}

void SpectraPlot::mouseReleaseEvent(QMouseEvent* event) {
  QCustomPlot::mouseReleaseEvent(event);
  if (event->button() != Qt::LeftButton ||
      (event->pos() - pressed_).manhattanLength() >= QApplication::startDragDistance())
    return;
  const auto spot = SpotAt(event->position());
  // One of another file has no line here.
  if (spot && curves_->lines[spot->curve] > 0) emit CurveClicked(curves_->lines[spot->curve]);
}

void SpectraPlot::leaveEvent(QEvent* event) {
  QCustomPlot::leaveEvent(event);
  Hover(std::nullopt);
}

void SpectraPlot::wheelEvent(QWheelEvent* event) {
  // With Control only along x.
  axisRect()->setRangeZoom(event->modifiers() & Qt::ControlModifier
                               ? Qt::Orientations(Qt::Horizontal)
                               : Qt::Horizontal | Qt::Vertical);
  Hover(std::nullopt);
  Move();
  QCustomPlot::wheelEvent(event);
}

void SpectraPlot::keyPressEvent(QKeyEvent* event) {
  constexpr double kStep = 0.1;
  constexpr double kZoom = 0.8;
  const auto zoom = [this](double factor) {
    xAxis->scaleRange(factor);
    yAxis->scaleRange(factor);
  };
  const auto move = [](QCPAxis* axis, double part) {
    axis->moveRange(axis->range().size() * (axis->rangeReversed() ? -part : part));
  };
  if (MoveCursor(*event)) return;
  switch (event->key()) {
    case Qt::Key_Plus:
      zoom(kZoom);
      break;
    case Qt::Key_Minus:
      zoom(1 / kZoom);
      break;
    case Qt::Key_Left:
      move(xAxis, -kStep);
      break;
    case Qt::Key_Right:
      move(xAxis, kStep);
      break;
    case Qt::Key_Up:
      move(yAxis, kStep);
      break;
    case Qt::Key_Down:
      move(yAxis, -kStep);
      break;
    case Qt::Key_0:
    case Qt::Key_Home:
      return ShowAll();
    default:
      return QCustomPlot::keyPressEvent(event);
  }
  Hover(std::nullopt);
  Move();
  replot(rpQueuedReplot);
}

void SpectraPlot::changeEvent(QEvent* event) {
  QCustomPlot::changeEvent(event);
  if (event->type() != QEvent::PaletteChange) return;
  TakeColors(palette());
  replot(rpQueuedReplot);
}

void SpectraPlot::resizeEvent(QResizeEvent* event) {
  MakeLegend();
  SpaceTicks(event->size());
  QCustomPlot::resizeEvent(event);
}

void SpectraPlot::Move() {
  all_->SetStride(std::max<std::size_t>(static_cast<std::size_t>(all_->seconds() / kSmooth), 1));
  at_rest_.start();
}

void SpectraPlot::TakeColors(const QPalette& colors) {
  const QColor background = colors.color(QPalette::Base);
  const QColor text = colors.color(QPalette::Text);
  dark_ = background.lightness() < text.lightness();
  setBackground(background);
  for (QCPAxis* axis : {xAxis, yAxis}) {
    axis->setBasePen(text);
    axis->setTickPen(text);
    axis->setSubTickPen(text);
    axis->setTickLabelColor(text);
    axis->setLabelColor(text);
    axis->setTickLabelFont(Lettering());
    axis->setLabelFont(Lettering());
    axis->grid()->setPen(QPen(Between(background, text, 0.15F), 1, Qt::DotLine));
    axis->grid()->setZeroLinePen(Between(background, text, 0.3F));
  }
  label_->setColor(text);
  nothing_->setColor(text);
  nothing_->setFont(Lettering());
  label_->setFont(Lettering());
  label_->setBrush(background);
  label_->setPen(Between(background, text, 0.4F));
  marker_->setPen(QPen(text, 1.5));
  for (CurvesPlottable* plottable : {all_, emphasized_, hovered_}) plottable->SetDark(dark_);
  MakeLegend();
}

}  // namespace nvimport
