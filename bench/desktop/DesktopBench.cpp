// The window's own speed, by one figure a run; bench/run --desktop makes a table of them.

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QMainWindow>
#include <QPainter>
#include <QScrollBar>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "apps/desktop/CurvesPlottable.h"
#include "apps/desktop/MainWindow.h"
#include "apps/desktop/SheetView.h"
#include "apps/desktop/SpectraPlot.h"
#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/ImportHelper.h"

namespace nvimport {

namespace {

constexpr int kRuns = 15;
constexpr QSize kPicture(1280, 760);

double Median(std::vector<double> values) {
  std::ranges::nth_element(values, values.begin() + std::ssize(values) / 2);
  return values[values.size() / 2];
}

double Seconds(const std::function<void()>& work) {
  QElapsedTimer timer;
  timer.start();
  work();
  return static_cast<double>(timer.nsecsElapsed()) * 1e-9;
}

// Tells when a widget is painted.
class PaintWatch : public QObject {
 public:
  explicit PaintWatch(std::function<void()> painted) : painted_(std::move(painted)) {}
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() != QEvent::Paint) return false;
    // The filter comes first.
    watched->removeEventFilter(this);
    QMetaObject::invokeMethod(this, painted_, Qt::QueuedConnection);
    return false;
  }

 private:
  std::function<void()> painted_;
};

struct PaintCount : QObject {
  bool eventFilter(QObject*, QEvent* event) override {
    count += event->type() == QEvent::Paint ? 1 : 0;
    return false;
  }
  int count = 0;
};

std::shared_ptr<Curves> MakeCurves(std::size_t count, std::size_t points) {
  auto curves = std::make_shared<Curves>();
  curves->spectra = true;
  curves->marks = PlotChoice::Marks::kLines;
  for (std::size_t i = 0; i < points; ++i) curves->x.push_back(1000 + static_cast<double>(i));
  for (std::size_t curve = 0; curve < count; ++curve) {
    curves->lines.push_back(static_cast<int>(curve) + 2);
    curves->names.push_back(QString::number(curve));
    for (std::size_t i = 0; i < points; ++i) {
      const double at = static_cast<double>(i) / static_cast<double>(points);
      const double ripple = std::sin(static_cast<double>(i * 7 + curve * 13)) * 0.004;
      curves->y.push_back(static_cast<float>(std::sin(at * 9 + static_cast<double>(curve) * 0.003) +
                                             static_cast<double>(curve) * 0.0005 + ripple));
    }
  }
  return curves;
}

// The plot's painting of all curves, and of polylines that were reduced before.
int Paint() {
  const auto curves = MakeCurves(2000, 2000);
  SpectraPlot plot;
  plot.resize(kPicture);
  plot.SetCurves(curves);
  plot.replot();
  const QRect area = plot.axisRect()->rect();
  const CurveColors colors(curves->size(), false);
  std::vector<std::vector<QPointF>> lines(curves->size());
  for (std::size_t curve = 0; curve < curves->size(); ++curve) {
    const auto y = curves->Of(curve);
    for (std::size_t i = 0; i < y.size();) {
      const double x = plot.xAxis->coordToPixel(curves->x[i]);
      float low = y[i];
      float high = y[i];
      for (; i < y.size() && std::floor(plot.xAxis->coordToPixel(curves->x[i])) == std::floor(x);
           ++i) {
        low = std::min(low, y[i]);
        high = std::max(high, y[i]);
      }
      lines[curve].push_back({x, plot.yAxis->coordToPixel(static_cast<double>(low))});
      lines[curve].push_back({x, plot.yAxis->coordToPixel(static_cast<double>(high))});
    }
  }
  std::vector<double> own;
  std::vector<double> plain;
  QImage image(kPicture, QImage::Format_ARGB32_Premultiplied);
  for (int run = 0; run < kRuns; ++run) {
    own.push_back(Seconds([&] { plot.replot(); }));
    plain.push_back(Seconds([&] {
      image.fill(Qt::white);
      QPainter painter(&image);
      painter.setClipRect(area);
      for (std::size_t curve = 0; curve < lines.size(); ++curve) {
        painter.setPen(QPen(colors.Of(curve), 1));
        painter.drawPolyline(lines[curve].data(), static_cast<int>(lines[curve].size()));
      }
    }));
  }
  std::printf("%.4f %.4f\n", Median(own), Median(plain));
  return 0;
}

// Scrolling: what a page of the table takes, in the middle and at worst.
int Scroll(int rows, int columns) {
  auto sheet = std::make_shared<MemorySheet>();
  for (int row = 1; row <= rows; ++row)
    for (int column = 1; column <= columns; ++column)
      sheet->Set(column, row, static_cast<float>(row) + static_cast<float>(column) * 0.01F);
  SheetView view;
  view.resize(kPicture);
  const double shown = Seconds([&] {
    view.SetSheet(sheet);
    view.show();
    view.grab();
  });
  std::vector<double> frames;
  for (QScrollBar* bar : {view.verticalScrollBar(), view.horizontalScrollBar()}) {
    for (int i = 0; i < 200; ++i) {
      const bool pages = i < 100;
      PaintCount paints;
      view.viewport()->installEventFilter(&paints);
      frames.push_back(Seconds([&] {
        bar->setValue(pages ? bar->value() + bar->pageStep()
                            : static_cast<int>(std::int64_t{bar->maximum()} * (i * 37 % 100) / 99));
        QApplication::processEvents();
        // One page is painted once.
        if (paints.count == 0) view.viewport()->repaint();
      }));
      // Not twice: one page is what is wanted.
      if (paints.count != 1) std::exit(1);
    }
  }
  std::printf("%.4f %.4f %.4f\n", shown, Median(frames), std::ranges::max(frames));
  return 0;
}

// From the open action to the painted sheet, and the driver alone; in turn.
int Open(const QString& path, int runs) {
  std::vector<double> windows;
  std::vector<double> drivers;
  const int format =
      DetectFormat(FormatList::Get().GetKnownFormats(), path.toStdString().c_str()).format;
  for (int run = 0; run < runs; ++run) {
    drivers.push_back(Seconds([&] {
      MemorySheet sheet;
      ImportHelper driver;
      if (!driver.ReadSpreadsheetFile(path.toStdString().c_str(), format, &sheet, nullptr, nullptr,
                                      true))
        std::exit(1);
    }));
    MainWindow window;
    window.show();
    QApplication::processEvents();
    bool is_plotted = false;
    QEventLoop plot;
    QObject::connect(&window, &MainWindow::Finished, &plot, [&] {
      is_plotted = true;
      plot.quit();
    });
    windows.push_back(Seconds([&] {
      QEventLoop loop;
      PaintWatch watch([&] { loop.quit(); });
      QObject::connect(&window, &MainWindow::Imported, &loop,
                       [&] { window.sheet().viewport()->installEventFilter(&watch); });
      window.OpenFiles({path});
      loop.exec();
    }));
    // The plot is made beside the sheet.
    if (!is_plotted) plot.exec();
  }
  std::printf("%.4f %.4f\n", Median(windows), Median(drivers));
  return 0;
}

// A process that ends when its window is painted: with a sheet, or an empty one.
int Start(const QString& path) {
  std::unique_ptr<QMainWindow> window;
  PaintWatch watch([] { QApplication::quit(); });
  if (path.isEmpty()) {
    window = std::make_unique<QMainWindow>();
    window->resize(kPicture);
    window->installEventFilter(&watch);
  } else {
    auto main = std::make_unique<MainWindow>();
    QObject::connect(main.get(), &MainWindow::Imported, main.get(), [&, shown = main.get()] {
      shown->sheet().viewport()->installEventFilter(&watch);
    });
    QMetaObject::invokeMethod(
        main.get(), [path, shown = main.get()] { shown->OpenFiles({path}); }, Qt::QueuedConnection);
    window = std::move(main);
  }
  window->show();
  return QApplication::exec();
}

}  // namespace

}  // namespace nvimport

int main(int count, char** arguments) {
  using namespace nvimport;
  QApplication application(count, arguments);
  const QStringList words = QApplication::arguments();
  const QString mode = words.value(1);
  if (mode == "paint") return Paint();
  if (mode == "scroll") return Scroll(words.value(2).toInt(), words.value(3).toInt());
  if (mode == "open") return Open(words.value(2), words.value(3).toInt());
  if (mode == "start") return Start(words.value(2));
  std::fprintf(stderr, "desktop-bench paint|scroll ROWS COLUMNS|open FILE RUNS|start [FILE]\n");
  return 2;
}
