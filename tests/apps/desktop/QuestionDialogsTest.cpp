#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>
#include <cmath>

#include "apps/desktop/RangePlot.h"
#include "apps/desktop/Trouble.h"
#include "nvimport/qt-dialogs/QtDialogs.h"
#include "tests/apps/desktop/NextDialog.h"

namespace nvimport {

namespace {

QPushButton* ButtonOf(QDialog& dialog, const QString& text) {
  for (QPushButton* button : dialog.findChildren<QPushButton*>())
    if (button->text().remove('&') == text) return button;
  return nullptr;
}

// The control that a label names.
template <typename Control>
Control* ControlOf(QDialog& dialog, const QString& text) {
  for (QLabel* label : dialog.findChildren<QLabel*>())
    if (label->text().remove('&') == text) return qobject_cast<Control*>(label->buddy());
  return nullptr;
}

ItemsQuestion Worksheets() {
  ItemsQuestion question;
  question.title = "Select Excel Worksheet";
  question.prompt = "Please select the worksheet(s) you want to import.";
  question.heading = "Worksheet";
  question.items = {"Runs", "Caf\xe9", "Settings"};
  question.details = {"9 x 5", "2 x 2", "3 x 2"};
  question.merge_choices = {"Merge side by side", "Merge above and below"};
  question.merge = 1;
  return question;
}

}  // namespace

// The questions answered by keyboard, but where the mouse is the point.
class QuestionDialogsTest : public QObject {
  Q_OBJECT

  QWidget window_;
  QtDialogs dialogs_{window_};

 private slots:
  void FileTypeIsChosenAmongTheCandidates() {
    const FileTypeQuestion question{
        "Select File Type", "File Types", "Which one?", {"DIF File(OEM)", "Text File"}};
    dialogs_.Begin(Sample("titration.dif").toStdString());
    const struct {
      std::initializer_list<int> keys;
      std::optional<std::size_t> chosen;
    } kCases[] = {{{Qt::Key_Return}, 0},
                  // The format that said no can't be reached.
                  {{Qt::Key_Down, Qt::Key_Down, Qt::Key_Down, Qt::Key_Return}, 1},
                  {{Qt::Key_Down, Qt::Key_Escape}, std::nullopt}};
    for (const auto& c : kCases) {
      NextDialog next;
      next.Expect([&](QDialog& dialog) {
        QCOMPARE(dialog.windowTitle(), "Select File Type");
        QVERIFY(dialog.focusWidget() == dialog.findChild<QTreeWidget*>());
        const auto* const list = dialog.findChild<QTreeWidget*>();
        QCOMPARE(list->headerItem()->text(0), "File Types");
        QCOMPARE(list->topLevelItem(1)->text(1), "possible");
        QVERIFY(list->topLevelItem(2)->isDisabled());
        Press(dialog, c.keys);
      });
      QCOMPARE(dialogs_.SelectFileType(question), c.chosen);
      QVERIFY(next.all_came());
    }
  }

  void TextImportShowsWhatEachChoiceGives() {
    TextImportQuestion question;
    question.title = "Text Import Wizard";
    question.path = "/data/a.txt";
    question.current = {";", false};
    std::vector<std::string> asked;
    question.preview = [&](const TextImportChoice& choice, int, int) {
      asked.push_back(choice.delimiter + (choice.ignore_consecutive ? "+" : ""));
      return std::vector<std::vector<std::string>>{{"7", "1,5"}, {choice.delimiter, "2.5"}};
    };
    NextDialog next;
    next.Expect([&](QDialog& dialog) {
      auto* const table = dialog.findChild<QTableWidget*>();
      QCOMPARE(table->item(1, 0)->text(), ";");
      QVERIFY(table->item(1, 1)->textAlignment() & Qt::AlignRight);
      auto* const delimiter = dialog.findChild<QComboBox*>();
      QVERIFY(dialog.focusWidget() == delimiter);
      auto* const other = dialog.findChild<QLineEdit*>();
      QVERIFY(!other->isVisible());
      QTest::keyClick(delimiter, Qt::Key_End);
      QVERIFY(other->isVisible());
      QTest::keyClicks(other, "\\t|");
      QTest::keyClick(dialog.findChild<QCheckBox*>(), Qt::Key_Space);
      QCOMPARE(table->horizontalHeaderItem(1)->text(), "2\nnumbers and texts");
      ControlOf<QComboBox>(dialog, "Decimal mark:")->setCurrentIndex(1);
      QVERIFY(table->item(0, 1)->textAlignment() & Qt::AlignRight);
      QVERIFY(!(table->item(1, 1)->textAlignment() & Qt::AlignRight));
      // Of a host that takes no more of a text nothing more is asked.
      QVERIFY(ControlOf<QComboBox>(dialog, "Quotes:") == nullptr);
      PressOk(dialog);
    });
    const auto answer = dialogs_.ImportText(question);
    QVERIFY(answer.has_value());
    QCOMPARE(answer->delimiter, "\t|");
    QVERIFY(answer->ignore_consecutive);
    QCOMPARE(dialogs_.text_reading()->marks.decimal, ',');
    QCOMPARE(asked.front(), ";");
    QCOMPARE(asked.back(), "\t|+");
  }

  // Every setting changes the preview, its types, and the answer.
  void TextsAreReadAsTheyAreWritten() {
    QTemporaryDir folder;
    const QString path = folder.filePath("prices.txt");
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("Report\nTown;Price;Year\n'K\xf6ln; old';1.234,5;2019\n'\xc5s';12;2020\n");
    file.close();
    QtDialogs dialogs(window_);
    dialogs.OfferReading(true);
    TextImportQuestion question{"Text", path.toStdString(), {";", false}, {}};
    question.preview = [](auto&&...) { return std::vector<std::vector<std::string>>{{"plain"}}; };
    NextDialog next;
    next.Expect([&](QDialog& dialog) {
      auto* const table = dialog.findChild<QTableWidget*>();
      const auto set = [&](const char* label, const QString& choice) {
        auto* const box = ControlOf<QComboBox>(dialog, label);
        box->setCurrentIndex(box->findText(choice));
      };
      const auto head = [table](int column) { return table->horizontalHeaderItem(column)->text(); };
      QCOMPARE(table->item(0, 0)->text(), "plain");
      set("Quotes:", "' around fields");
      QCOMPARE(table->columnCount(), 3);
      ControlOf<QSpinBox>(dialog, "Skip rows:")->setValue(1);
      QCOMPARE(head(1), "Price\nnumbers and texts");
      set("Decimal mark:", "comma: 12,5");
      set("Thousands:", "point");
      QCOMPARE(head(1), "Price\nnumbers");
      QCOMPARE(head(0), "Town\ntexts");
      QCOMPARE(table->rowCount(), 2);
      QCOMPARE(table->item(0, 0)->text(), QString::fromUtf8("K\xc3\xb6ln; old"));
      set("Encoding:", "Cyrillic (1251)");
      QCOMPARE(table->item(1, 0)->text(), QString::fromUtf8("\xd0\x95s"));
      set("First row:", "data");
      QCOMPARE(head(1), "2\nnumbers and texts");
      // One mark is not both, and no field ends with its quote.
      set("Thousands:", "comma");
      QCOMPARE(ControlOf<QComboBox>(dialog, "Thousands:")->currentText(), "none");
      set("Thousands:", "point");
      auto* const delimiter = ControlOf<QComboBox>(dialog, "Delimiter:");
      delimiter->setCurrentIndex(delimiter->findText("none: whole lines"));
      QVERIFY(!OkButton(dialog).isEnabled());
      delimiter->setCurrentIndex(delimiter->findText("semicolon"));
      PressOk(dialog);
    });
    dialogs.Begin(question.path);
    QVERIFY(!dialogs.ImportText(question));
    QVERIFY(next.all_came());
    const TextReading& reading = *dialogs.text_reading();
    QCOMPARE(reading.CsvPairs(), "delimiter=semicolon;quote=single");
    QCOMPARE(reading.encoding, "CP1251");
    QCOMPARE(reading.skipped_rows, 1);
    QCOMPARE(reading.header, false);
    QVERIFY((reading.marks == NumberMarks{',', '.'}));
    // Chosen again, it begins so.
    next.Expect(PressOk);
    dialogs.Begin(question.path);
    QCOMPARE(dialogs.AskReading(question.path, {})->CsvPairs(), reading.CsvPairs());
  }

  void GroupsOfDigitsAreWhole() {
    const double none = std::nan("");
    const struct {
      const char* text;
      NumberMarks marks;
      double number;
    } kCases[] = {{"1,234,567.5", {'.', ','}, 1234567.5},
                  {"1.234,5", {',', '.'}, 1234.5},
                  {" -12 345 ", {'.', ' '}, -12345},
                  {"1\xc2\xa0"
                   "234",
                   {'.', ' '},
                   1234},
                  {"1'000", {'.', '\''}, 1000},
                  {"1,5", {'.', ','}, none},
                  {"1234,567", {'.', ','}, none},
                  {"1,234,5", {'.', ','}, none},
                  {"1,234", {'.', '\0'}, none},
                  {"12", {'.', ','}, 12},
                  {",", {'.', ','}, none},
                  {"1.234.5", {',', '.'}, none}};
    for (const auto& c : kCases) {
      const double number = ParseNumber(c.text, c.marks).value_or(none);
      QVERIFY2(number == c.number || (std::isnan(number) && std::isnan(c.number)), c.text);
    }
  }

  void ItemsAreTickedAndMerged() {
    NextDialog next;
    next.Expect([](QDialog& dialog) {
      auto* const list = dialog.findChild<QTreeWidget*>();
      QCOMPARE(list->headerItem()->text(0), "Worksheet");
      QCOMPARE(list->topLevelItem(1)->text(0), QString::fromUtf8("Café"));
      QCOMPARE(list->topLevelItem(1)->text(1), "2 x 2");
      const auto merges = dialog.findChildren<QRadioButton*>();
      QVERIFY(!merges[0]->isEnabled() && merges[1]->isChecked());
      Press(dialog, {Qt::Key_Space});
      QVERIFY(!OkButton(dialog).isEnabled());
      // Nothing is accepted that is not ticked.
      emit list->itemDoubleClicked(list->topLevelItem(1), 0);
      Press(dialog, {Qt::Key_Return});
      QVERIFY(dialog.isVisible());
      ButtonOf(dialog, "Select all")->click();
      Press(dialog, {Qt::Key_Down, Qt::Key_Space});
      QVERIFY(merges[0]->isEnabled());
      QTest::keyClick(merges[0], Qt::Key_Space);
      PressOk(dialog);
    });
    const auto answer = dialogs_.SelectItems(Worksheets());
    QVERIFY(answer.has_value());
    QCOMPARE(answer->items, (std::vector<std::size_t>{0, 2}));
    QCOMPARE(answer->merge, std::size_t{0});

    ItemsQuestion reference = Worksheets();
    reference.only_one = true;
    reference.merge_choices.clear();
    next.Expect([](QDialog& dialog) { Press(dialog, {Qt::Key_Down, Qt::Key_Return}); });
    const auto one = dialogs_.SelectItems(reference);
    QCOMPARE(one->items, std::vector<std::size_t>{1});
    next.Expect([](QDialog& dialog) { Press(dialog, {Qt::Key_Escape}); });
    QVERIFY(!dialogs_.SelectItems(reference));
  }

  void RangeIsGivenOrDragged() {
    const RangeQuestion question{"Range", "/data/a.spc", 2000, 1002, -2, 500};
    // In the window's own plot too.
    dialogs_.SetRangeView([] { return std::make_unique<RangePlot>(); });
    NextDialog next;
    next.Expect([](QDialog& dialog) {
      const auto points = dialog.findChildren<QSpinBox*>();
      QVERIFY(dialog.focusWidget() == points[0]);
      points[0]->setValue(11);
      points[1]->setValue(10);
      QVERIFY(!OkButton(dialog).isEnabled());
      points[1]->setValue(20);
      QCOMPARE(dialog.findChild<QLabel*>("x")->text(), "x = 1980");
      PressOk(dialog);
    });
    auto answer = dialogs_.SelectRange(question);
    QCOMPARE(answer->first, 11);
    QCOMPARE(answer->last, 20);

    next.Expect(PressOk);
    answer = dialogs_.SelectRange(question);
    QCOMPARE(answer->first, 1);
    QCOMPARE(answer->last, 0);

    // Over the plot, from x = 1800 to 1600, points 101 to 201.
    next.Expect([](QDialog& dialog) {
      auto* const plot = dialog.findChild<RangePlot*>();
      const auto at = [plot](double x) {
        return QPoint(static_cast<int>(std::lround(plot->xAxis->coordToPixel(x))),
                      plot->axisRect()->center().y());
      };
      QTest::mousePress(plot, Qt::LeftButton, {}, at(1800));
      QMouseEvent move(QEvent::MouseMove, at(1600), plot->mapToGlobal(at(1600)), Qt::NoButton,
                       Qt::LeftButton, {});
      QApplication::sendEvent(plot, &move);
      QTest::mouseRelease(plot, Qt::LeftButton, {}, at(1600));
      PressOk(dialog);
    });
    answer = dialogs_.SelectRange(question);
    QVERIFY(std::abs(answer->first - 101) <= 2);
    QVERIFY(std::abs(answer->last - 201) <= 2);
  }

  void FilesAreOrdered() {
    NextDialog next;
    next.Expect([](QDialog& dialog) {
      for (int i = 0; i < 3; ++i) ButtonOf(dialog, "Move down")->click();
      QCOMPARE(dialog.findChild<QListWidget*>()->item(2)->text(), "c.spc");
      PressOk(dialog);
    });
    const std::vector<std::string> files = {"/x/c.spc", "/y/a.spc", "/z/b.spc"};
    QCOMPARE(dialogs_.OrderFiles({files}),
             (std::vector<std::string>{"/y/a.spc", "/z/b.spc", "/x/c.spc"}));
    next.Expect([](QDialog& dialog) {
      ButtonOf(dialog, "Sort by name")->click();
      PressOk(dialog);
    });
    QCOMPARE(dialogs_.OrderFiles({files})->front(), "/y/a.spc");
  }

  void PasswordsAreNotShown() {
    NextDialog next;
    next.Expect([](QDialog& dialog) {
      auto* const line = dialog.findChild<QLineEdit*>();
      QCOMPARE(line->echoMode(), QLineEdit::Password);
      line->setText(QString::fromUtf8("p\xc3\xa4ss"));
      PressOk(dialog);
    });
    const PasswordQuestion question{.path = "/x/locked.xlsx"};
    QCOMPARE(dialogs_.AskPassword(question), "p\xc3\xa4ss");
    next.Expect([](QDialog& dialog) { PressOk(dialog); });
    QCOMPARE(dialogs_.AskPassword(question), std::nullopt);
    next.Expect([](QDialog& dialog) {
      QVERIFY(dialog.windowTitle().contains("Database=/a/b"));
      dialog.reject();
    });
    QCOMPARE(dialogs_.AskPassword({.path = "Driver=d;Database=/a/b"}), std::nullopt);
  }

  void QueriesAreRunOnlyIfThatIsSaid() {
    const QueryQuestion question{
        .path = "/x/wheat.dqy",
        .source = "DSN=lab<!--;UID=reader",
        .statement = "SELECT '<b>'" + std::string(2000, ' ') + "FROM wheat"};
    const struct {
      std::function<void(QDialog&)> answer;
      bool runs;
    } kCases[] = {{[](QDialog& dialog) { Press(dialog, {Qt::Key_Return}); }, false},
                  {[](QDialog& dialog) { dialog.close(); }, false},
                  {[](QDialog& dialog) { ButtonOf(dialog, "Run query")->click(); }, true}};
    for (const auto& c : kCases) {
      NextDialog next;
      next.Expect([&](QDialog& dialog) {
        const auto& box = dynamic_cast<QMessageBox&>(dialog);
        QVERIFY(box.text().contains("wheat.dqy"));
        QVERIFY(box.informativeText().startsWith("DSN=lab<!--;UID=reader\n\nSELECT '<b>'"));
        for (const QLabel* label : dialog.findChildren<QLabel*>())
          QCOMPARE(label->textFormat(), Qt::PlainText);
        // However much stands before it.
        QVERIFY(box.detailedText().endsWith("FROM wheat"));
        c.answer(dialog);
      });
      QCOMPARE(dialogs_.AllowQuery(question), c.runs);
      QVERIFY(next.all_came());
    }
  }

  void WarningsAndTroublesSayEverything() {
    NextDialog next;
    next.Expect([](QDialog& dialog) {
      QCOMPARE(dialog.windowTitle(), "Warning");
      Press(dialog, {Qt::Key_Escape});
    });
    QCOMPARE(dialogs_.ShowMessage({.text = "Half of it is missing.",
                                   .title = "Warning",
                                   .type = MessageBoxQuestion::kOkCancel}),
             int{MessageBoxQuestion::kCancelAnswer});
    next.Expect([](QDialog& dialog) {
      const auto& box = dynamic_cast<QMessageBox&>(dialog);
      QCOMPARE(box.text(), "What");
      QCOMPARE(box.informativeText(), "Why\n\nWhere\n\nWhat to do");
      Press(dialog, {Qt::Key_Return});
    });
    ShowTrouble(nullptr, {"What", "Why", "Where", "What to do"});
    QVERIFY(next.all_came());
  }
};

}  // namespace nvimport

QTEST_MAIN(nvimport::QuestionDialogsTest)
#include "QuestionDialogsTest.moc"
