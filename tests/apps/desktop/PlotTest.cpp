#include <QFile>
#include <QImage>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>
#include <variant>
#include <vector>

#include "apps/desktop/Contrast.h"
#include "apps/desktop/CurvesPlottable.h"
#include "apps/desktop/Overlay.h"
#include "apps/desktop/SpectraPlot.h"
#include "nvimport/framework/MemorySheet.h"

namespace nvimport {

namespace {

constexpr QSize kSize(500, 400);

using Cell = std::variant<std::monostate, const char*, double>;

using Choice = PlotChoice;

std::shared_ptr<Curves> CurvesOf(const std::vector<std::vector<Cell>>& rows,
                                 const Choice& choice = {}) {
  MemorySheet sheet;
  for (std::size_t row = 0; row < rows.size(); ++row)
    for (std::size_t column = 0; column < rows[row].size(); ++column) {
      const auto [c, r] = std::pair(static_cast<int>(column) + 1, static_cast<int>(row) + 1);
      if (const auto* text = std::get_if<const char*>(&rows[row][column])) sheet.Set(c, r, *text);
      if (const auto* number = std::get_if<double>(&rows[row][column]))
        sheet.SetExact(c, r, *number);
    }
  return std::make_shared<Curves>(TakeCurves(
      sheet, {}, [](std::size_t, std::size_t) { return true; }, nullptr, choice));
}

bool IsNear(const QColor& one, const QColor& other) {
  constexpr int kMost = 130;  // a smoothed line is half as dark
  return std::abs(one.red() - other.red()) < kMost &&
         std::abs(one.green() - other.green()) < kMost &&
         std::abs(one.blue() - other.blue()) < kMost;
}

bool HasColorAt(const QImage& image, QPointF place, const QColor& color) {
  for (int right = -2; right <= 2; ++right)
    for (int down = -2; down <= 2; ++down) {
      const QPoint at = place.toPoint() + QPoint(right, down);
      if (image.rect().contains(at) && IsNear(image.pixelColor(at), color)) return true;
    }
  return false;
}

// The middles of rectangles, and the corners of lines.
std::vector<QPointF> PlacesIn(const QByteArray& svg) {
  std::vector<QPointF> places;
  static const QRegularExpression kRect(
      R"re(<rect x="([^"]*)" y="([^"]*)" width="([^"]*)" height="([^"]*)")re");
  static const QRegularExpression kEnd(R"re(x2="([^"]*)" y2="([^"]*)")re");
  static const QRegularExpression kCorner(R"re(([-0-9.e]+),([-0-9.e]+) )re");
  const QString text = QString::fromUtf8(svg);
  for (auto found = kRect.globalMatch(text); found.hasNext();) {
    const auto match = found.next();
    const auto number = [&](int i) { return match.captured(i).toDouble(); };
    places.emplace_back(number(1) + number(3) / 2, number(2) + number(4) / 2);
  }
  for (const QRegularExpression& corner : {kEnd, kCorner})
    for (auto found = corner.globalMatch(text); found.hasNext();) {
      const auto match = found.next();
      places.emplace_back(match.captured(1).toDouble(), match.captured(2).toDouble());
    }
  return places;
}

}  // namespace

class PlotTest : public QObject {
  Q_OBJECT

  QTemporaryDir folder_;

 private slots:
  // Of small sheets, in both kinds of picture.
  void EveryValueHasItsMark() {
    constexpr std::monostate kNone;
    const std::vector<std::vector<Cell>> bands = {
        {"Name", "band740", "band720", "other"}, {"x", 0.1, 0.2, kNone}, {"y", 0.3, 0.5, 7.0}};
    const struct {
      std::vector<std::vector<Cell>> sheet;
      Choice choice;
      std::vector<double> x;
      std::vector<QString> names;
    } kCases[] = {
        {{{"a", "b"}, {1.0, 5.0}, {2.0, 6.5}, {3.0, 7.25}, {4.0, -1.0}},
         {},
         {1, 2, 3, 4, 5},
         {"a", "b"}},
        {{{"a", "b"}, {1.0, 5.0}}, {}, {1, 2}, {"a", "b"}},
        {{{1.0}}, {}, {1}, {"Column 1"}},
        {{{"a"}, {2.0}, {kNone}, {2.0}}, {}, {1, 2, 3, 4}, {"a"}},
        {{{"Name", "1100", "1102", "1104"}, {"x", 0.1, 0.2, 0.3}, {"y", 0.3, kNone, 0.4}},
         {},
         {1100, 1102, 1104},
         {"x", "y"}},
        {{{"Name", "4000", "3000", "2000"}, {"x", 0.1, 0.2, 0.3}}, {}, {2000, 3000, 4000}, {"x"}},
        {bands, {.curves = Choice::Curves::kRows}, {720, 740}, {"x", "y"}},
        {bands,
         {.curves = Choice::Curves::kRows, .x = Choice::kNumbers, .lines = {3}},
         {1, 2, 3, 4},
         {"y"}},
        {{{"t", "a", "b"}, {9.5, 1.0, 3.0}, {2.5, 2.0, kNone}},
         {.curves = Choice::Curves::kColumns, .x = 1, .marks = Choice::Marks::kLines},
         {2.5, 9.5},
         {"a", "b"}},
        {{{"Name", "43", "45", "91"}, {"x", 10.0, 20.0, 100.0}},
         {.marks = Choice::Marks::kSticks},
         {43, 45, 91},
         {"x"}},
    };
    for (const auto& c : kCases) {
      const auto curves = CurvesOf(c.sheet, c.choice);
      QCOMPARE(curves->x, c.x);
      QCOMPARE(curves->names, c.names);
      SpectraPlot plot;
      plot.resize(kSize);
      plot.show();
      plot.SetCurves(curves);
      const QString png = folder_.filePath("plot.png");
      const QString svg = folder_.filePath("plot.svg");
      QCOMPARE(plot.Save(png, {}, kSize), QString());
      QCOMPARE(plot.Save(svg, {}, kSize), QString());
      plot.replot(QCustomPlot::rpImmediateRefresh);
      const QImage image(png);
      QFile file(svg);
      QVERIFY(file.open(QIODevice::ReadOnly));
      const auto places = PlacesIn(file.readAll());
      const CurveColors colors(curves->size(), false);
      for (std::size_t curve = 0; curve < curves->size(); ++curve)
        for (std::size_t i = 0; i < curves->x.size(); ++i) {
          const auto y = static_cast<double>(curves->Of(curve)[i]);
          if (std::isnan(y)) continue;
          const QPointF place(plot.xAxis->coordToPixel(curves->x[i]), plot.yAxis->coordToPixel(y));
          const auto where = QStringLiteral("%1 at %2").arg(y).arg(curves->x[i]);
          QVERIFY2(HasColorAt(image, place, colors.Of(curve)), qPrintable(where));
          QVERIFY2(std::ranges::any_of(places,
                                       [&](QPointF other) {
                                         return std::hypot(other.x() - place.x(),
                                                           other.y() - place.y()) < 1;
                                       }),
                   qPrintable(where));
        }
    }
  }

  // A parabola has the derivatives that it has, at any distances; what is stacked is apart.
  void LooksAreWhatTheySay() {
    Curves curves;
    for (const double x : {1.0, 2.0, 4.0, 5.0, 7.0, 8.0, 9.0}) curves.x.push_back(x);
    for (const int factor : {1, 2}) {
      for (const double x : curves.x) curves.y.push_back(static_cast<float>(factor * x * x));
      curves.lines.push_back(factor);
      curves.names.emplace_back();
    }
    const Report go_on = [](std::size_t, std::size_t) { return true; };
    for (const auto& [derivative, at_7] :
         {std::pair(Look::Derivative::kFirst, 14.0F), std::pair(Look::Derivative::kSecond, 2.0F)}) {
      const Curves seen = LookAt(curves, {.derivative = derivative, .window = 5}, go_on);
      for (const std::size_t curve : {0U, 1U})
        QVERIFY(std::abs(seen.Of(curve)[4] / static_cast<float>(curve + 1) - at_7) < 1e-4F);
    }
    const Curves scaled = LookAt(
        curves, {.scaling = Look::Scaling::kToOne, .stacking = Look::Stacking::kStacked}, go_on);
    QCOMPARE(scaled.Of(0).back(), 1.0F);
    QCOMPARE(scaled.Of(1).front(), 1.0F);
    const Curves centred = LookAt(curves, {.scaling = Look::Scaling::kCentered}, go_on);
    QVERIFY(std::abs(std::reduce(centred.y.begin(), centred.y.begin() + 7)) < 1e-4F);
    QVERIFY(LookAt(curves, {.derivative = Look::Derivative::kFirst}, [](auto, auto) {
              return false;
            }).complete == false);
  }

  // Over the points of both, each line is what it was.
  void OverlaidLinesAreTheSame() {
    const auto own = CurvesOf({{"Name", "10", "20", "40"}, {"a", 1.0, 2.0, 0.0}});
    const auto other =
        CurvesOf({{"Name", "50", "30", "20", "15"}, {"b", 4.0, std::monostate(), 2.0, 1.0}});
    const std::vector<OtherCurves> others = {{"f", other}};
    const Report go_on = [](std::size_t, std::size_t) { return true; };
    const Curves all = Overlaid(*own, others, {}, go_on);
    QCOMPARE(all.x, (std::vector<double>{10, 15, 20, 30, 40, 50}));
    QCOMPARE(all.names, (std::vector<QString>{"a", "f: b"}));
    QCOMPARE(all.lines, (std::vector<int>{2, 0}));
    const float none = std::nanf("");
    const float want[] = {1, 1.5F, 2, 1, 0, none, none, 1, 2, none, none, 4};
    for (std::size_t i = 0; i < std::size(want); ++i)
      QVERIFY2(all.y[i] == want[i] || (std::isnan(all.y[i]) && std::isnan(want[i])),
               qPrintable(QString::number(i) + ": " + QString::number(all.y[i])));
    QVERIFY(all.between[1] && !all.between[2]);
    const Curves stacked = Overlaid(*own, others, {.stacking = Look::Stacking::kStacked}, go_on);
    QCOMPARE(stacked.Of(1)[5], 7.0F);
  }

  // As pale as any line may be, on paper and in the dark.
  void EveryCurveIsSeen() {
    for (const bool dark : {false, true})
      for (const std::size_t curves : {2, 10, 11, 200}) {
        const CurveColors colors(curves, dark);
        for (std::size_t curve = 0; curve < curves; ++curve) {
          const double contrast =
              Contrast(colors.Of(curve), dark ? QColor("#202428") : QColor(Qt::white));
          QVERIFY2(contrast >= kLineContrast,
                   qPrintable(QStringLiteral("%1 of %2: %3").arg(curve).arg(curves).arg(contrast)));
        }
      }
  }

  // The cursor goes from point to point, to peaks and to other curves; views come back.
  void KeysReadThePlot() {
    SpectraPlot plot;
    plot.resize(kSize);
    plot.show();
    plot.SetCurves(CurvesOf({{"Name", "1100", "1102", "1104", "1106", "1108"},
                             {"a", 0.1, 0.5, 0.2, 0.3, 0.4},
                             {"b", 0.3, 0.2, 0.1, 0.2, 0.0}}));
    const auto press = [&](int key, Qt::KeyboardModifiers with = Qt::ControlModifier) {
      QTest::keyClick(&plot, static_cast<Qt::Key>(key), with);
      return plot.accessibleDescription();
    };
    QCOMPARE(press(Qt::Key_Right), "1104, 0.2  a - next peak at 1104, 0.2");
    QCOMPARE(press(Qt::Key_Left), "1102, 0.5  a - next peak at 1102, 0.5");
    QCOMPARE(press(Qt::Key_Down), "1102, 0.2  b - next peak at 1104, 0.1");
    QCOMPARE(press(Qt::Key_P, {}), "1104, 0.1  b - next peak at 1104, 0.1");
    const QCPRange all = plot.xAxis->range();
    plot.xAxis->setRange(1105, 1107);
    plot.SetFitting(true);
    QVERIFY(plot.yAxis->range().upper < 0.35);
    plot.GoBack();
    QCOMPARE(plot.xAxis->range(), all);
    plot.GoForward();
    QCOMPARE(plot.xAxis->range().lower, 1105.0);
  }
};

}  // namespace nvimport

QTEST_MAIN(nvimport::PlotTest)
#include "PlotTest.moc"
