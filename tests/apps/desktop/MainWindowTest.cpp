#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QDropEvent>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTableView>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>
#include <algorithm>
#include <cmath>

#include "apps/desktop/DatabaseDialog.h"
#include "apps/desktop/DescriptionPanel.h"
#include "apps/desktop/MainWindow.h"
#include "apps/desktop/SheetText.h"
#include "apps/desktop/SheetView.h"
#include "apps/desktop/SpectraPlot.h"
#include "nvimport/hosting/import/DatabaseSource.h"
#include "tests/apps/desktop/NextDialog.h"

namespace nvimport {

namespace {

// What the table shows in a cell.
QString CellOf(MainWindow& window, int row, int column) {
  return window.sheet().model()->index(row - 1, column - 1).data().toString();
}

QByteArray Contents(const QString& path) {
  QFile file(path);
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void Write(const QString& path, const QByteArray& data) {
  QFile file(path);
  QVERIFY(file.open(QIODevice::WriteOnly) && file.write(data) == data.size());
}

QAction* ActionOf(MainWindow& window, const QString& text) {
  for (QAction* action : window.findChildren<QAction*>())
    if (action->text().remove('&') == text) return action;
  return nullptr;
}

}  // namespace

class MainWindowTest : public QObject {
  Q_OBJECT

  // Waits for an import and its plot; false when nothing was imported.
  bool Import(MainWindow& window, const std::function<void()>& begin) {
    QSignalSpy imported(&window, &MainWindow::Imported);
    QSignalSpy finished(&window, &MainWindow::Finished);
    begin();
    if (!imported.count() && !imported.wait(20000)) return false;
    if (!imported.front().front().toBool()) return false;
    return finished.count() > 0 || finished.wait(20000);
  }
  bool Open(MainWindow& window, const QStringList& paths, int filter = 0) {
    return Import(window, [&] { window.OpenFiles(paths, filter); });
  }
  void Finish(MainWindow& window, const std::function<void()>& begin) {
    QSignalSpy finished(&window, &MainWindow::Finished);
    begin();
    QVERIFY(finished.count() > 0 || finished.wait(20000));
  }

  QTemporaryDir folder_;

 private slots:
  void initTestCase() {
    QVERIFY(folder_.isValid());
    qputenv("XDG_CONFIG_HOME", folder_.path().toLocal8Bit());
  }

  void TextGoesThroughTheWizardOnce() {
    MainWindow window;
    NextDialog next;
    next.Expect([](QDialog& dialog) {
      QCOMPARE(dialog.windowTitle(), "Text Import Wizard");
      auto* const table = dialog.findChild<QTableWidget*>();
      // The reader makes the preview in its own thread.
      QTRY_VERIFY(table->item(1, 1) != nullptr);
      QCOMPARE(table->columnCount(), 5);
      QCOMPARE(dialog.findChild<QComboBox*>()->currentText(), "semicolon");
      dialog.findChild<QComboBox*>()->setCurrentText("comma");
      QTRY_VERIFY(table->item(0, 0) != nullptr && table->item(0, 0)->text() != "Batch");
      dialog.findChild<QComboBox*>()->setCurrentText("semicolon");
      PressOk(dialog);
    });
    QVERIFY(Open(window, {Sample("batches.txt")}));
    QCOMPARE(CellOf(window, 2, 3), "93,7");
    // Decimal commas count for the plot.
    const Curves& curves = *window.plot().curves();
    QVERIFY(!curves.spectra);
    QCOMPARE(curves.names, (std::vector<QString>{"\"Yield, %\"", "pH"}));
    QCOMPARE(curves.Of(0)[1], 93.7F);

    QVERIFY(Import(window, [&] { window.ImportAgain(); }));
    QCOMPARE(CellOf(window, 2, 3), "93,7");
    QVERIFY(next.all_came());
    QCOMPARE(next.unexpected(), 0);
  }

  // What the reader of the question does not know is taken all the same, and again.
  void TextsAreTakenAsSaid() {
    const QString path = folder_.filePath("prices.txt");
    Write(path, "Report\nTown;Price\n\"K\xf6ln; old\";1.234,5\nBonn;9\n\xc5s;80\n");
    MainWindow window;
    NextDialog next;
    next.Expect([](QDialog& dialog) {
      const auto boxes = dialog.findChildren<QComboBox*>();
      const auto set = [&](const QString& choice) {
        for (QComboBox* box : boxes)
          if (box->isVisible() && box->findText(choice) > 0)
            return box->setCurrentIndex(box->findText(choice));
      };
      for (const char* choice :
           {"semicolon", "\" around fields", "Cyrillic (1251)", "comma: 12,5", "point"})
        set(choice);
      dialog.findChild<QSpinBox*>()->setValue(1);
      PressOk(dialog);
    });
    QVERIFY(Open(window, {path}));
    for (int times = 0; times < 2; ++times) {
      QVERIFY(window.sheet().has_names());
      QCOMPARE(window.sheet().model()->rowCount(), 4);
      QCOMPARE(CellOf(window, 2, 1), QString::fromUtf8("K\xd1\x86ln; old"));
      QCOMPARE(window.plot().curves()->Of(0)[1], 1234.5F);
      QVERIFY(window.findChild<QListWidget*>()->item(0)->text().contains("Skipped of the text"));
      QVERIFY(Import(window, [&] { window.ImportAgain(); }));
    }
    Finish(window, [&] { window.ShowRows({.sorted_by = 2}); });
    QCOMPARE(CellOf(window, 2, 1), "Bonn");
    QCOMPARE(CellOf(window, 4, 1), QString::fromUtf8("K\xd1\x86ln; old"));
    // One that is read without a question can be asked for.
    const QString csv = folder_.filePath("prices.csv");
    Write(csv, "a;b\n'x;y';2\n");
    QVERIFY(Open(window, {csv}));
    QCOMPARE(window.sheet().model()->columnCount(), 3);
    next.Expect([](QDialog& dialog) {
      for (QComboBox* box : dialog.findChildren<QComboBox*>())
        if (const int quote = box->findText("' around fields"); quote > 0)
          box->setCurrentIndex(quote);
      PressOk(dialog);
    });
    QVERIFY(Import(window, [&] { ActionOf(window, "Choose again...")->trigger(); }));
    QCOMPARE(window.sheet().model()->columnCount(), 2);
    QCOMPARE(CellOf(window, 2, 1), "x;y");
    QCOMPARE(next.unexpected(), 0);
  }

  void AFileThatShrinksIsNotShownAsWhole() {
    const QString path = folder_.filePath("shrinks.txt");
    QVERIFY(QFile::copy(Sample("batches.txt"), path));
    MainWindow window;
    NextDialog next;
    next.Expect([&](QDialog& dialog) {
      QVERIFY(QFile::resize(path, 40));
      PressOk(dialog);
    });
    next.Expect([](QDialog& dialog) {
      QCOMPARE(dynamic_cast<QMessageBox&>(dialog).text(),
               "The file became shorter while it was read.");
      dialog.accept();
    });
    QVERIFY(!Open(window, {path}));
    QVERIFY(next.all_came());
  }

  void WorksheetsAreChosenAndRemembered() {
    MainWindow window;
    NextDialog next;
    next.Expect([](QDialog& dialog) {
      QCOMPARE(dialog.windowTitle(), "Select Excel Worksheet");
      Press(dialog, {Qt::Key_Space, Qt::Key_Down, Qt::Key_Space, Qt::Key_Return});
    });
    QVERIFY(Open(window, {Sample("ovens.xls")}));
    QCOMPARE(window.sheet().model()->columnCount(), 2);
    QCOMPARE(window.findChild<QListWidget*>()->item(0)->text(),
             "Not chosen of the worksheets: Runs (9 x 5)");
    const QString cell = CellOf(window, 1, 1);
    QVERIFY(Import(window, [&] { window.ImportAgain(); }));
    QCOMPARE(CellOf(window, 1, 1), cell);
    QCOMPARE(next.unexpected(), 0);

    next.Expect([](QDialog& dialog) { dialog.reject(); });
    QVERIFY(!Open(window, {Sample("ovens.xls")}));
    QCOMPARE(CellOf(window, 1, 1), cell);
  }

  void RangesBlocksAndFilesAreAsked() {
    MainWindow window;
    NextDialog next;
    next.Expect([](QDialog& dialog) {
      QCOMPARE(dialog.windowTitle(), "Galactic SPC File Import Wizard");
      auto* const plot = dialog.findChild<SpectraPlot*>();
      QTRY_VERIFY(plot->curves() != nullptr);
      QCOMPARE(plot->curves()->x.size(), std::size_t{100});
      PressOk(dialog);
    });
    QVERIFY(Open(window, {Sample("barley.spc")}));
    QVERIFY(window.plot().curves()->spectra);

    next.Expect([](QDialog& dialog) {
      QCOMPARE(dialog.windowTitle(), "Select JCAMP Data Blocks");
      Press(dialog, {Qt::Key_Space, Qt::Key_Return});
    });
    QVERIFY(Open(window, {Sample("oils.jdx")}));
    QCOMPARE(window.plot().curves()->names, (std::vector<QString>{"Sesame", "Sesame, bands"}));

    next.Expect(PressOk);  // the order
    next.Expect(PressOk);  // the blocks
    QVERIFY(Open(window, {Sample("oil-affn.dx"), Sample("oil-dif.dx")}));
    QCOMPARE(window.sheet().model()->rowCount(), 3);
    QCOMPARE(next.unexpected(), 0);
  }

  void TroubleNamesFileAndAdvice() {
    MainWindow window;
    const QString path = folder_.filePath("half.xls");
    Write(path, Contents(Sample("ovens.xls")).left(600));
    const struct {
      QStringList files;
      const char* text;
    } kCases[] = {{{path}, "could not be"},
                  {{folder_.filePath("none.txt")}, "The file is not there."},
                  {{Sample("ovens.xls"), Sample("ovens.xls")}, "one at a time"}};
    for (const auto& c : kCases) {
      NextDialog next;
      next.Expect([&](QDialog& dialog) {
        const auto& box = dynamic_cast<QMessageBox&>(dialog);
        QVERIFY2(box.text().contains(c.text), qPrintable(box.text()));
        QVERIFY(box.informativeText().contains(c.files.front()));
        dialog.accept();
      });
      QVERIFY(!Open(window, c.files));
      QTRY_VERIFY(next.all_came());
      QCOMPARE(next.unexpected(), 0);
    }
  }

  void CellsAreFoundCopiedAndWritten() {
    MainWindow window;
    QVERIFY(Open(window, {Sample("clover.da")}));
    SheetView& sheet = window.sheet();
    // Texts and numbers are told apart, and missing cells are seen.
    const QAbstractItemModel& model = *sheet.model();
    QCOMPARE(model.index(2, 0).data(Qt::TextAlignmentRole).toInt() & Qt::AlignRight,
             int{Qt::AlignRight});
    QVERIFY(model.index(2, 2).data(Qt::ForegroundRole).isValid());
    QVERIFY(model.index(1, 3).data(Qt::BackgroundRole).isValid());
    QCOMPARE(model.headerData(4, Qt::Horizontal).toString(), "5\nw1100");

    Finish(window, [&] { window.Find("clover", true); });
    QCOMPARE(sheet.Place().row, 3);
    Finish(window, [&] { window.Find("CLOVER", false); });
    QCOMPARE(sheet.Place().row, 6);
    Finish(window, [&] { window.Find("0.42233", true); });
    QCOMPARE(sheet.Place().row, 6);  // it is nowhere

    sheet.selectionModel()->select(QItemSelection(model.index(1, 0), model.index(2, 2)),
                                   QItemSelectionModel::ClearAndSelect);
    Finish(window, [&] { window.CopySelection(); });
    QCOMPARE(QApplication::clipboard()->text(), "/Instrument model 6500\t\t\n1\t1\tClover 1\n");
    // Rows apart, in the order of the sheet.
    for (const int row : {5, 2})
      sheet.selectionModel()->select(
          QItemSelection(model.index(row, 1), model.index(row, 2)),
          row == 5 ? QItemSelectionModel::ClearAndSelect : QItemSelectionModel::Select);
    Finish(window, [&] { window.CopySelection(); });
    QCOMPARE(QApplication::clipboard()->text(), "1\tClover 1\n4\tClover 4\n");
    Finish(window, [&] { window.CopySelection(/*with_names=*/true); });
    QCOMPARE(QApplication::clipboard()->text().count('\n'), 3);

    // Sorted and filtered for looking, the cells are those of the sheet.
    QVERIFY(sheet.isRowHidden(0) && !sheet.isRowHidden(1));
    Finish(window, [&] { window.ShowRows({.sorted_by = 3, .falls = true, .wanted = "CLOVER"}); });
    QVERIFY(window.findChild<QLabel*>("lacking")->text().contains("4 of 5 rows"));
    QCOMPARE(CellOf(window, 2, 3), "Clover 4");
    QCOMPARE(model.headerData(1, Qt::Vertical).toString(), "6");
    sheet.selectRow(1);
    QCOMPARE(sheet.SelectedLines(Qt::Vertical), std::vector<int>{6});
    QCOMPARE(sheet.Selected().front().first_row, 6);
    sheet.GoTo({2, 1});  // which is not shown
    QCOMPARE(model.rowCount(), 6);
    QCOMPARE(sheet.Place().row, 2);

    const auto kinds = ExportKinds();
    QVERIFY(kinds.size() >= 5);
    NextDialog next;
    for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
      const QString path =
          folder_.filePath("out") + QString::fromStdString(kinds[kind].format.extension);
      Finish(window, [&] { window.ExportTo(path, kind); });
      const QByteArray written = Contents(path);
      const bool is_packed = written.startsWith("PK") || written.startsWith("MATLAB");
      QVERIFY2(is_packed || (written.contains("Clover 1") && written.contains("w1100")),
               qPrintable(path));
    }
    QCOMPARE(next.unexpected(), 0);
    next.Expect([](QDialog& dialog) { dialog.accept(); });
    Finish(window, [&] { window.ExportTo(folder_.filePath("no/folder.csv"), 0); });
    QVERIFY(next.all_came());
  }

  void TableAndPlotSelectTogether() {
    MainWindow window;
    window.show();
    QVERIFY(Open(window, {Sample("clover.da")}));
    SpectraPlot& plot = window.plot();
    const Curves& curves = *plot.curves();
    QCOMPARE(curves.names.front(), "Clover 1");
    plot.replot();
    const QPointF place(plot.xAxis->coordToPixel(1100),
                        plot.yAxis->coordToPixel(static_cast<double>(curves.Of(2)[0])));
    const auto spot = plot.SpotAt(place);
    QVERIFY(spot.has_value());
    QCOMPARE(plot.Words(*spot), "1100, 0.43086404  Clover 3");
    QTest::mouseClick(&plot, Qt::LeftButton, {}, place.toPoint() + QPoint(2, 0));
    QCOMPARE(window.sheet().SelectedLines(Qt::Vertical), std::vector<int>{5});

    QAction* const reverse = ActionOf(window, "Reverse x axis");
    reverse->trigger();
    QVERIFY(plot.xAxis->rangeReversed());
    const double before = plot.xAxis->range().size();
    QTest::keyClick(&plot, Qt::Key_Plus);
    QVERIFY(plot.xAxis->range().size() < before);
    ActionOf(window, "Show all of the plot")->trigger();
    QCOMPARE(plot.xAxis->range().size(), before);

    // For looking only, and said so.
    Finish(window, [&] { window.LookAs({.derivative = Look::Derivative::kFirst}); });
    QVERIFY(window.findChild<QLabel*>("lacking")->text().contains("first derivative"));
    QVERIFY(std::abs(plot.curves()->Of(2)[0]) < 0.01F);
    QCOMPARE(CellOf(window, 5, 5), "0.43086404");
    Finish(window, [&] { window.LookAs({}); });
    QCOMPARE(plot.curves()->Of(2)[0], 0.43086404F);
    Finish(window, [&] { window.CopyPlot(); });
    const QMimeData& copied = *QApplication::clipboard()->mimeData();
    QVERIFY(copied.hasImage() && copied.data("image/svg+xml").contains("Clover 4"));

    const QList<std::pair<const char*, QByteArray>> kinds = {
        {"png", "\x89PNG"}, {"svg", "<?xml"}, {"pdf", "%PDF"}};
    for (const auto& [kind, begins] : kinds) {
      const QString path = folder_.filePath(QStringLiteral("plot.") + kind);
      QCOMPARE(plot.Save(path, {}, {400, 300}), QString());
      QVERIFY(Contents(path).startsWith(begins));
    }
    QVERIFY(!plot.Save(folder_.filePath("no/plot.png"), {}, {400, 300}).isEmpty());
    QVERIFY(!plot.Save(folder_.filePath("plot.gif"), {}, {400, 300}).isEmpty());
  }

  void WhatIsLackingStandsAboveTheSheet() {
    MainWindow window;
    window.show();
    NextDialog next;
    const auto choose = [&](Qt::CheckState second) {
      next.Expect([second](QDialog& dialog) {
        dialog.findChild<QTreeWidget*>()->topLevelItem(1)->setCheckState(0, second);
        PressOk(dialog);
      });
    };
    choose(Qt::Unchecked);
    QVERIFY(Open(window, {Sample("ovens.xls")}));
    const auto& lacking = *window.findChild<QLabel*>("lacking");
    QVERIFY(lacking.isVisible());
    QVERIFY2(lacking.text().startsWith("Not chosen of the worksheets: "),
             qPrintable(lacking.text()));
    // Chosen again it begins with what was chosen before.
    choose(Qt::Checked);
    const auto buttons = window.findChildren<QPushButton*>();
    const auto again = std::ranges::find(buttons, QString("&Choose again..."), &QPushButton::text);
    QVERIFY(Import(window, [&] { (*again)->click(); }));
    QVERIFY(!lacking.isVisible());
    QVERIFY(next.all_came());
    QCOMPARE(next.unexpected(), 0);
  }

  void APlotIsDrawnAsChosenAndKeptSo() {
    const QString path = folder_.filePath("chosen.txt");
    Write(path, "t\ta\tb\n9\t1\t3\n5\t2\t4\n");
    NextDialog next;
    const auto open = [&](MainWindow& window) {
      next.Expect(PressOk);
      return Open(window, {path});
    };
    {
      MainWindow window;
      QVERIFY(open(window));
      QCOMPARE(window.plot().curves()->size(), 3U);
      next.Expect([](QDialog& dialog) {
        const auto boxes = dialog.findChildren<QComboBox*>();
        boxes[1]->setCurrentIndex(2);  // x values of the first column
        boxes[2]->setCurrentText("lines");
        dialog.findChild<QListWidget*>()->item(2)->setCheckState(Qt::Unchecked);
        PressOk(dialog);
      });
      Finish(window, [&] { ActionOf(window, "Plot settings...")->trigger(); });
    }
    MainWindow window;
    QVERIFY(open(window));
    const Curves& curves = *window.plot().curves();
    QCOMPARE(curves.x, (std::vector<double>{5, 9}));
    QCOMPARE(curves.names, std::vector<QString>{"a"});
    QVERIFY(curves.marks == PlotChoice::Marks::kLines);
    QCOMPARE(window.plot().xAxis->label(), "t");
    QVERIFY(next.all_came());
    QCOMPARE(next.unexpected(), 0);
  }

  void NamesDecideWhatIsWritten() {
    MainWindow window;
    QVERIFY(Open(window, {Sample("clover.da")}));
    const auto kinds = ExportKinds();
    const auto csv = std::ranges::find(
        kinds, ".csv", [](const ExportKind& kind) { return kind.format.extension; });
    const QString path = folder_.filePath("decides.xlsx");
    Finish(window, [&] { window.ExportTo(path, static_cast<std::size_t>(csv - kinds.begin())); });
    QVERIFY(Contents(path).startsWith("PK"));
    // What is selected goes out under its names.
    window.sheet().selectionModel()->select(
        QItemSelection(window.sheet().model()->index(3, 2), window.sheet().model()->index(4, 3)),
        QItemSelectionModel::ClearAndSelect);
    const QString part = folder_.filePath("part.csv");
    Finish(window, [&] { window.ExportTo(part, 0, /*only_selected=*/true); });
    QVERIFY2(Contents(part).startsWith("SampleName,Time") && Contents(part).count('\n') == 3,
             Contents(part));
    NextDialog next;
    for (int i = 0; i < 2; ++i) next.Expect([](QDialog& dialog) { dialog.accept(); });
    window.ExportTo(folder_.filePath("decides.foo"), 0);
    Finish(window, [&] { window.SavePlotTo(folder_.filePath("decides.foo")); });
    QVERIFY(!QFile::exists(folder_.filePath("decides.foo")));
    QVERIFY(next.all_came());
    Finish(window, [&] { window.SavePlotTo(folder_.filePath("decides.svg")); });
    QVERIFY(Contents(folder_.filePath("decides.svg")).startsWith("<?xml"));
    const QString large = folder_.filePath("large.png");
    Finish(window, [&] { window.SavePlotTo(large, {400, 300}, 192); });
    const QImage image(large);
    QCOMPARE(image.size(), QSize(800, 600));
    // It is the same picture: axes, names and all.
    Finish(window, [&] { window.SavePlotTo(large, {400, 300}); });
    const auto dark = [](const QImage& of) {
      int count = 0;
      for (int y = 0; y < of.height(); ++y)
        for (int x = 0; x < of.width(); ++x) count += qGray(of.pixel(x, y)) < 160;
      return static_cast<double>(count) / (of.width() * of.height());
    };
    const double ratio = dark(image) / dark(QImage(large));
    QVERIFY2(ratio > 0.6 && ratio < 1.6, qPrintable(QString::number(ratio)));
  }

  void FilesAreDroppedAndRemembered() {
    MainWindow window;
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(Sample("tanks.wk1"))});
    QVERIFY(Import(window, [&] {
      QDragEnterEvent enter({10, 10}, Qt::CopyAction, &data, Qt::LeftButton, {});
      QApplication::sendEvent(&window, &enter);
      QDropEvent event({10, 10}, Qt::CopyAction, &data, Qt::LeftButton, {});
      QApplication::sendEvent(&window, &event);
    }));
    // What the reader left out is said.
    const auto note = [&] { return window.findChild<QListWidget*>()->item(0)->text(); };
    QCOMPARE(note(), "Nothing was left out.");
    const auto actions = window.menuBar()->actions().front()->menu()->actions();
    const auto kept =
        std::ranges::find(actions, QString("Read by the &kept rules"), &QAction::text);
    QVERIFY(Import(window, [&] { (*kept)->trigger(); }));
    QCOMPARE(note(), "1 formula cell arrives empty");
    QVERIFY(Import(window, [&] { (*kept)->trigger(); }));
    QCOMPARE(note(), "Nothing was left out.");
    auto* const recent = window.menuBar()->actions().front()->menu()->findChild<QMenu*>();
    emit recent->aboutToShow();
    QCOMPARE(recent->actions().front()->text(), "tanks.wk1 in " NVIMPORT_TEST_SAMPLES);
    QVERIFY(Import(window, [&] { recent->actions().front()->trigger(); }));
  }

  void FoldersAreDroppedAndDescriptionsSearched() {
    const QDir folder(folder_.filePath("dropped"));
    QVERIFY(folder.mkpath("below"));
    QVERIFY(QFile::copy(Sample("clover.da"), folder.filePath("clover.da")));
    QVERIFY(QFile::copy(Sample("oil-affn.dx"), folder.filePath("below/oil.dx")));
    Write(folder.filePath("other.bin"), QByteArray(100, '\1'));
    MainWindow window;
    NextDialog next;
    window.OpenDropped({folder.path()});
    QTRY_COMPARE(window.pages().count(), 2);
    QTRY_VERIFY(!window.library().busy());
    while (window.page()->name() != "oil.dx")
      window.pages().setCurrentIndex(1 - window.pages().currentIndex());
    auto& panel = *window.findChild<DescriptionPanel*>();
    const QAbstractItemModel& model = *panel.findChild<QTableView*>()->model();
    const int all = model.rowCount();
    QVERIFY(all > 3);
    panel.findChild<QLineEdit*>()->setText(model.index(0, 2).data().toString());
    QVERIFY(model.rowCount() > 0 && model.rowCount() < all);
  }

  void AnImportIsCancelledOnTheWay() {
    MainWindow window;
    NextDialog next;
    const QString path = folder_.filePath("long.csv");
    Write(path, QByteArray("1,2,3,4,5,6,7,8\n").repeated(3'000'000));
    // The window goes on in the meantime.
    int ticks = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, &window, [&] {
      if (++ticks == 3) window.library().progress().Stop();
    });
    timer.start(1);
    QVERIFY(!Open(window, {path}));
    QVERIFY(ticks >= 3);
    QCOMPARE(next.unexpected(), 0);
    QVERIFY(!ActionOf(window, "Export...")->isEnabled());
    QVERIFY(ActionOf(window, "Open...")->isEnabled());
  }

  void FilesAreTabs() {
    MainWindow window;
    window.show();
    const QStringList files = {Sample("clover.da"), Sample("tanks.wk1")};
    Finish(window, [&] { window.OpenEach(files + QStringList(folder_.filePath("none"))); });
    NextDialog next;
    next.Expect([](QDialog& dialog) { dialog.accept(); });
    QTRY_VERIFY(next.all_came());
    QCOMPARE(window.pages().count(), 2);
    QVERIFY(window.windowTitle().startsWith("tanks.wk1"));
    const QString cell = CellOf(window, 1, 1);
    QVERIFY(Open(window, {files.front()}));
    QCOMPARE(window.pages().count(), 2);
    QVERIFY(window.windowTitle().startsWith("clover.da"));
    QVERIFY(CellOf(window, 1, 1) != cell);
    // One is seen over the other.
    QMenu* overlays = nullptr;
    for (QMenu* menu : window.findChildren<QMenu*>())
      if (menu->title() == "O&verlay with") overlays = menu;
    emit overlays->aboutToShow();
    Finish(window, [&] { overlays->actions().front()->trigger(); });
    QVERIFY(window.plot().curves()->size() > 4);
    QVERIFY(window.findChild<QLabel*>("lacking")->text().contains("tanks.wk1"));
    // What is done goes on in its page, or without it.
    const Page* const clover = window.page();
    window.Find("Clover 4", true);
    window.pages().setCurrentIndex(1);
    QTRY_VERIFY(!window.library().busy());
    QCOMPARE(clover->sheet().Place().row, 6);
    window.ImportAgain();
    while (window.page() != nullptr) window.ClosePage(0);
    QTRY_COMPARE(window.pages().count(), 1);
    QCOMPARE(CellOf(window, 1, 1), cell);
  }

  void ClosingCancelsAQuestion() {
    MainWindow window;
    window.show();
    NextDialog next;
    next.Expect([&](QDialog&) {
      // Under a modal one no window system's request to close would come through.
      QVERIFY(QApplication::activeModalWidget() == nullptr);
      QVERIFY(window.close());
    });
    QVERIFY(!Open(window, {Sample("ovens.xls")}));
    QVERIFY(next.all_came());
    QVERIFY(!window.library().busy());
  }

  void ClosingStopsAnImport() {
    const QString path = folder_.filePath("long.csv");
    Write(path, QByteArray("1,2,3,4,5,6,7,8\n").repeated(3'000'000));
    for (const int wait : {0, 5, 20}) {
      MainWindow window;
      window.OpenFiles({path});
      QTest::qWait(wait);
    }
    QVERIFY(QFile::remove(path));
  }

  void SheetsMakeCurvesOrPoints() {
    const auto curves_of = [](MemorySheet& sheet) {
      return TakeCurves(sheet, {}, [](std::size_t, std::size_t) { return true; });
    };
    MemorySheet empty;
    QCOMPARE(curves_of(empty).size(), std::size_t{0});
    // Numbers that rise in the first row of a table are not yet x values.
    MemorySheet table;
    const float row[] = {5, 1, 2, 3, 2, 9, 4, 8};
    for (int column = 1; column <= 8; ++column)
      for (const int line : {1, 2}) table.Set(column, line, row[column - 1]);
    QVERIFY(!curves_of(table).spectra);
    QCOMPARE(curves_of(table).size(), std::size_t{8});
    // What has no end is no number, and a single one is drawn.
    MemorySheet odd;
    for (const auto& [column, name] : {std::pair(1, "w3"), std::pair(2, "w2"), std::pair(3, "w1")})
      odd.Set(column, 1, name);
    odd.Set(1, 2, "1e300");
    odd.Set(3, 2, 7.0F);
    const Curves spectra = curves_of(odd);
    QVERIFY(spectra.spectra && spectra.x_falls);
    QCOMPARE(spectra.Of(0)[0], 7.0F);
    QVERIFY(std::isnan(spectra.Of(0)[2]));
    SpectraPlot plot;
    plot.resize(300, 200);
    plot.SetCurves(std::make_shared<const Curves>(spectra));
    plot.replot();
    QVERIFY(plot.yAxis->range().contains(7) && plot.yAxis->range().size() < 3);
    // A cell in the far corner takes no memory for all that is missing.
    MemorySheet corner;
    corner.Set(16384, 1'048'576, 1.0F);
    QCOMPARE(curves_of(corner).size(), std::size_t{0});
    MemorySheet wide;
    wide.Set(150, 1'000'000, 1.0F);
    QCOMPARE(curves_of(wide).y.size(), std::size_t{1'000'000});
  }

  void FiltersAreTheDrivers() {
    int first = -1;
    const QStringList filters = OpenFilters(first);
    QCOMPARE(first, 0);
    QVERIFY(filters.front().startsWith("Supported Files (*.") && filters.back().contains("(*)"));
    // A file read as the format that was chosen makes that the first filter of the next time.
    MainWindow window;
    NextDialog next;
    next.Expect(PressOk);
    const auto text = std::ranges::find_if(
        filters, [](const QString& filter) { return filter.startsWith("Text"); });
    QVERIFY(text != filters.end());
    QVERIFY(Open(window, {Sample("wheat.txt")}, static_cast<int>(text - filters.begin())));
    OpenFilters(first);
    QCOMPARE(filters[first], *text);
    QVERIFY(Open(window, {Sample("clover.da")}));
    OpenFilters(first);
    QCOMPARE(first, 0);
  }

  void TheCommandDrawsPictures() {
    const QString library = QFileInfo(NVIMPORT_TEST_LIBRARY).path();
    const auto run = [&](const QString& program, const QStringList& words,
                         const QString& libraries) {
      QProcess process;
      QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
      environment.remove("QT_QPA_PLATFORM");
      environment.insert("PATH", "/nowhere");
      environment.insert("LD_LIBRARY_PATH", libraries);
      process.setProcessEnvironment(environment);
      process.start(program, QStringList{"plot"} + words);
      process.closeWriteChannel();
      return process.waitForFinished()
                 ? std::pair(process.exitCode(), QString(process.readAllStandardError()))
                 : std::pair(-1, QString());
    };
    const QString picture = folder_.filePath("drawn.");
    const struct {
      QStringList words;
      int exit_code;
      QString errors;
    } kCases[] = {
        {{Sample("clover.da"), "-o", picture + "svg"}, 0, ""},
        {{Sample("clover.da"), "-o", picture + "svg"}, 1, "exists"},
        {{Sample("batches.txt"), "-o", picture + "png", "--size", "300x200"}, 0, "semicolon"},
        {{Sample("oils.jdx"), "-o", picture + "pdf", "--blocks", "2", "--reverse-x"}, 0, ""},
        {{Sample("clover.da"), "-o", picture + "gif"}, 2, "SVG, PNG or PDF"},
        {{Sample("sites.txt"), Sample("clover.da"), "-o", picture + "x.png"}, 2, "Several files"},
        {{folder_.filePath("none.da"), "-o", picture + "x.png"}, 5, "none.da"},
    };
    for (const auto& c : kCases) {
      const auto [exit_code, errors] = run(NVIMPORT_TEST_COMMAND, c.words, library);
      QVERIFY2(exit_code == c.exit_code && errors.contains(c.errors) &&
                   (!c.errors.isEmpty() || errors.isEmpty()),
               qPrintable(c.words.join(' ') + ": " + QString::number(exit_code) + errors));
    }
    QVERIFY(Contents(picture + "svg").contains("Clover 4"));
    QCOMPARE(QImage(picture + "png").size(), QSize(300, 200));
    QVERIFY(Contents(picture + "pdf").startsWith("%PDF"));
    QVERIFY(!QFile::exists(picture + "x.png"));
    // Alone, the command says what is missing.
    const QString alone = folder_.filePath("alone");
    QVERIFY(QFile::copy(NVIMPORT_TEST_COMMAND, alone));
    const QString soname = QFileInfo(NVIMPORT_TEST_LIBRARY).fileName();
    QVERIFY(QFile::copy(NVIMPORT_TEST_LIBRARY,
                        folder_.filePath(soname.left(soname.indexOf(".so") + 5))));
    const auto [exit_code, errors] =
        run(alone, {Sample("clover.da"), "-o", picture + "x.png", "--kept-rules"}, folder_.path());
    QCOMPARE(exit_code, 1);
    QVERIFY2(errors.contains("package nvimport-desktop"), qPrintable(errors));
  }

  // What takes long is said before, as it then is, and can be left.
  void LongExportsAreAsked() {
    const QString path = folder_.filePath("long.csv");
    QByteArray text;
    constexpr int kRows = 100'000;
    for (int row = 0; row < kRows; ++row)
      text += QByteArray::number(row) + ";1.25;text " + QByteArray::number(row % 100) + ";\n";
    Write(path, text);
    MainWindow window;
    NextDialog next;
    QVERIFY(Open(window, {path}));
    const auto kinds = ExportKinds();
    for (const char* name : {"csv", "xlsx", "json", "arrow"}) {
      const QString to = folder_.filePath("long-written.") + name;
      const std::size_t kind = *KindFor(to, 0);
      const auto estimate =
          EstimateExport(*window.page()->read().sheet, kinds[kind], window.library().progress());
      QCOMPARE(estimate->rows, kRows);
      window.exporter().SetPatience({0, 0, 0});
      next.Expect([&](QDialog& dialog) {
        QVERIFY(dynamic_cast<QMessageBox&>(dialog).text().contains("400,000 cells"));
        dialog.reject();
      });
      Finish(window, [&] { window.ExportTo(to, kind); });
      QVERIFY(!QFile::exists(to));
      window.exporter().SetPatience({});
      Finish(window, [&] { window.ExportTo(to, kind); });
      const double size = static_cast<double>(QFileInfo(to).size());
      QVERIFY2(std::abs(estimate->bytes / size - 1) < 0.25, name);
    }
    QVERIFY(next.all_came());
    QCOMPARE(next.unexpected(), 0);
  }

  // From the list of tables to a page and a saved query, none of which keeps the password.
  void DatabasesAreImported() {
    const QString database = folder_.filePath("lab.db");
    const char* const make =
        "import sqlite3, sys\n"
        "made = sqlite3.connect(sys.argv[1])\n"
        "made.execute('CREATE TABLE wheat (id INTEGER, name TEXT)')\n"
        "made.executemany('INSERT INTO wheat VALUES (?, ?)', ((i, 'w') for i in range(100)))\n"
        "made.execute('CREATE VIEW few AS SELECT id FROM wheat WHERE id < 2')\n"
        "made.commit()\n";
    if (!DatabaseSource::IsServed() || !Contents("/etc/odbcinst.ini").contains("[SQLite3]") ||
        QProcess::execute("python3", {"-c", make, database}) != 0)
      QSKIP("nvimport-odbc, the driver SQLite3 or python3 is missing");
    const QString sources = folder_.filePath("odbc.ini");
    Write(sources, "[ODBC Data Sources]\n[lab]\nDriver=SQLite3\nDatabase=" + database.toUtf8());
    qputenv("ODBCINI", sources.toLocal8Bit());
    MainWindow window;
    window.show();
    ActionOf(window, "Import from database...")->trigger();
    auto& dialog = *window.findChild<DatabaseDialog*>();
    const auto press = [&](const char* text) {
      for (QPushButton* button : dialog.findChildren<QPushButton*>())
        if (button->text().remove('&') == text) button->click();
    };
    auto& connection = *dialog.findChild<QComboBox*>();
    QVERIFY(connection.findText("DSN=lab") >= 0 &&
            connection.findText("DSN=ODBC Data Sources") < 0);
    connection.setEditText("DSN=lab;PWD=secret");
    press("Show tables");
    auto& tables = *dialog.findChild<QTreeWidget*>();
    QTRY_COMPARE(tables.topLevelItemCount(), 2);
    const auto wheat = tables.findItems("wheat", Qt::MatchExactly);
    QCOMPARE(wheat.front()->text(1), "a table: id, name");
    tables.setCurrentItem(wheat.front());
    auto& statement = *dialog.findChild<QPlainTextEdit*>();
    QCOMPARE(statement.toPlainText(), "SELECT * FROM wheat");
    press("Preview");
    const auto& head = *dialog.findChild<SheetView*>();
    QTRY_COMPARE(head.model()->rowCount(), 21);
    statement.setPlainText("SELECT nosuch\n\nFROM wheat");
    press("Preview");
    const auto said = [&] {
      QString all;
      for (const QLabel* label : dialog.findChildren<QLabel*>()) all += label->text();
      return all;
    };
    QTRY_VERIFY2(said().contains("no such column"), qPrintable(said()));
    statement.setPlainText(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT MAX(i) FROM n");
    press("Preview");
    QTest::qWait(100);
    QVERIFY(window.library().busy());
    press("Stop");
    QTRY_VERIFY2(said().contains("Cancelled."), qPrintable(said()));
    statement.setPlainText("SELECT nosuch\n\nFROM wheat");
    const QString saved = folder_.filePath("wheat.dqy");
    dialog.SaveTo(saved);
    QCOMPARE(Contents(saved), "XLODBC\r\n1\r\nDSN=lab\r\nSELECT nosuch\r\nFROM wheat\r\n\r\n");
    for (const char* table : {"wheat", "few"}) {
      ActionOf(window, "Import from database...")->trigger();
      statement.setPlainText(QString("SELECT * FROM ") + table);
      QVERIFY(Import(window, [&] { press("Import"); }));
      QVERIFY(!dialog.isVisible());
    }
    QCOMPARE(window.pages().count(), 2);
    QCOMPARE(window.page()->name(), "odbc:DSN=lab");
    QCOMPARE(CellOf(window, 3, 1), "1");
    QVERIFY(Import(window, [&] { window.ImportAgain(); }));
    QCOMPARE(window.sheet().model()->rowCount(), 3);
    QVERIFY(!Contents(folder_.filePath("nvimport/desktop.ini")).contains("secret"));
    // What was saved is asked for when it is opened; whoever does not want it is told nothing more.
    dialog.SaveTo(saved);
    NextDialog next;
    next.Expect([](QDialog& question) { Press(question, {Qt::Key_Return}); });
    QVERIFY(!Open(window, {saved}));
    next.Expect([](QDialog& question) {
      auto& box = dynamic_cast<QMessageBox&>(question);
      QVERIFY(box.informativeText().endsWith("SELECT * FROM few"));
      for (QAbstractButton* button : box.buttons())
        if (box.buttonRole(button) == QMessageBox::AcceptRole) button->click();
    });
    QVERIFY(Open(window, {saved}));
    QCOMPARE(CellOf(window, 3, 1), "1");
    QVERIFY(next.all_came());
    QCOMPARE(next.unexpected(), 0);
  }

  // What is written of a selection has the digits that it came with.
  void PartsKeepTheirNumbers() {
    MemorySheet sheet;
    sheet.Set(1, 1, 0.1F);
    sheet.SetExact(2, 1, 9007199254740993LL);
    sheet.SetExact(3, 1, 0.1);
    const auto part = PartOf(sheet, {{1, 1, 1, 3}}, [](std::size_t, std::size_t) { return true; });
    QCOMPARE(Shown(part->GetCell(1, 1)), "0.1");
    QCOMPARE(Shown(part->GetCell(2, 1)), "9007199254740993");
    QCOMPARE(Shown(part->GetCell(3, 1)), "0.1");
  }

  void PlacesAndBigSheets() {
    QVERIFY(!ParsePlace("12") && !ParsePlace("a,b"));
    for (const char* text : {"12,3", " 12 3", "r12c3", "12; 3"}) {
      const auto place = ParsePlace(text);
      QVERIFY2(place && place->row == 12 && place->column == 3, text);
    }
    auto sheet = std::make_shared<MemorySheet>();
    sheet->Set(3, 1'000'000, "end");
    SheetView view;
    view.resize(600, 400);
    view.SetSheet(sheet);
    view.GoTo({1'000'000, 3});
    QCOMPARE(view.Place().row, 1'000'000);
    const auto go_on = [](std::size_t, std::size_t) { return true; };
    const auto found = FindText(*sheet, "END", {1, 1}, false, go_on);
    QVERIFY(found && found->row == 1'000'000 && found->column == 3);
    QVERIFY(!FindText(*sheet, "END", {1, 1}, true,
                      [](std::size_t done, std::size_t) { return done < 5000; }));
  }
};

}  // namespace nvimport

QTEST_MAIN(nvimport::MainWindowTest)
#include "MainWindowTest.moc"
