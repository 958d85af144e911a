// Drives the real window on a screen and keeps pictures of it in the folder $NVIMPORT_SCREENS.

#include <QDir>
#include <QScreen>
#include <QSignalSpy>
#include <QStyleFactory>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>
#include <set>

#include "apps/desktop/MainWindow.h"
#include "apps/desktop/ReadableColors.h"
#include "apps/desktop/SheetView.h"
#include "apps/desktop/SpectraPlot.h"
#include "tests/apps/desktop/NextDialog.h"

namespace nvimport {

namespace {

constexpr QSize kWindow(1200, 720);

}  // namespace

class ScreensTest : public QObject {
  Q_OBJECT

  // What the screen shows where the window is.
  void Keep(const QString& name) {
    QTest::qWait(80);
    const QImage picture = QGuiApplication::primaryScreen()
                               ->grabWindow(0, 0, 0, kWindow.width(), kWindow.height())
                               .toImage();
    QVERIFY(picture.save(folder_ + "/" + name + ".png"));
    // A window that was not painted has one colour.
    std::set<QRgb> colors;
    for (int y = 0; y < picture.height(); ++y)
      for (int x = 0; x < picture.width(); ++x) colors.insert(picture.pixel(x, y));
    QVERIFY(colors.size() > 10);
  }

  void Open(MainWindow& window, const QStringList& files) {
    QSignalSpy finished(&window, &MainWindow::Finished);
    window.OpenFiles(files);
    QVERIFY(finished.wait(20000));
  }

  QString folder_;
  QTemporaryDir settings_;

 private slots:
  void initTestCase() {
    folder_ = qEnvironmentVariable("NVIMPORT_SCREENS", settings_.path());
    QVERIFY(QDir().mkpath(folder_));
    qputenv("XDG_CONFIG_HOME", settings_.path().toLocal8Bit());
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    new ReadableColors(*qApp);
  }

  void EverythingIsSeen() {
    MainWindow window;
    window.setGeometry({{0, 0}, kWindow});
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    Keep("empty");

    NextDialog next;
    next.Expect([&](QDialog& dialog) {
      dialog.findChild<QTreeWidget*>()->topLevelItem(1)->setCheckState(0, Qt::Checked);
      Keep("worksheets");
      PressOk(dialog);
    });
    Open(window, {Sample("ovens.xls")});
    QCOMPARE(window.sheet().model()->rowCount(), 12);
    window.plot().repaint();
    Keep("workbook");

    next.Expect([&](QDialog& dialog) {
      QTRY_VERIFY(dialog.findChild<SpectraPlot*>()->curves() != nullptr);
      Keep("range");
      PressOk(dialog);
    });
    Open(window, {Sample("barley.spc")});

    Open(window, {Sample("clover.da")});
    window.sheet().SelectLine(4, Qt::Vertical);
    SpectraPlot& plot = window.plot();
    const auto y = plot.curves()->Of(3);
    const QPoint place(static_cast<int>(plot.xAxis->coordToPixel(1600)),
                       static_cast<int>(plot.yAxis->coordToPixel(static_cast<double>(y[25]))));
    QTest::mouseMove(&plot, place - QPoint(3, 3));
    QTest::mouseMove(&plot, place);
    Keep("spectra");

    next.Expect([&](QDialog& dialog) {
      auto* const table = dialog.findChild<QTableWidget*>();
      QTRY_VERIFY(table->item(1, 1) != nullptr);
      Keep("text");
      PressOk(dialog);
    });
    Open(window, {Sample("batches.txt")});
    Keep("table");

    QCOMPARE(next.unexpected(), 0);
  }
};

}  // namespace nvimport

QTEST_MAIN(nvimport::ScreensTest)
#include "ScreensTest.moc"
