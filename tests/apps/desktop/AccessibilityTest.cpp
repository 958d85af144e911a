// Walks every dialog and the window as a screen reader does, and measures what is seen.

#include <QAbstractButton>
#include <QAccessible>
#include <QLabel>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <set>

#include "apps/desktop/MainWindow.h"
#include "apps/desktop/PlotChoiceDialog.h"
#include "apps/desktop/RangePlot.h"
#include "apps/desktop/Trouble.h"
#include "tests/apps/desktop/NextDialog.h"

namespace nvimport {

namespace {

constexpr QSize kSmallest(1024, 700);

bool IsControl(QAccessible::Role role) {
  static const std::set<QAccessible::Role> kControls = {
      QAccessible::PushButton, QAccessible::CheckBox,     QAccessible::RadioButton,
      QAccessible::ComboBox,   QAccessible::EditableText, QAccessible::SpinBox,
      QAccessible::List,       QAccessible::Table,        QAccessible::Tree};
  return kControls.contains(role);
}

// The widgets that Tab comes to, round from where the focus is.
std::set<const QWidget*> Reached() {
  std::set<const QWidget*> reached;
  constexpr int kMost = 100;
  for (int i = 0; i < kMost && QApplication::focusWidget() != nullptr; ++i) {
    if (!reached.insert(QApplication::focusWidget()).second) break;
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
  }
  return reached;
}

// Whether the focus comes to a control, or to one from which arrow keys go on to it.
bool IsReached(const QWidget& widget, const std::set<const QWidget*>& reached) {
  if (const auto* const button = qobject_cast<const QRadioButton*>(&widget))
    for (const QRadioButton* other : button->parentWidget()->findChildren<QRadioButton*>())
      if (reached.contains(other)) return true;
  for (const QWidget* part : reached)
    if (part == &widget || widget.isAncestorOf(part)) return true;
  return false;
}

void WalkTree(QAccessibleInterface& node, const std::set<const QWidget*>& reached,
              QStringList& faults) {
  const auto* const widget = qobject_cast<const QWidget*>(node.object());
  if (widget == nullptr || !widget->isVisible()) return;
  const QString what = QStringLiteral("%1 \"%2\"")
                           .arg(widget->metaObject()->className(), node.text(QAccessible::Name));
  const bool takes_focus = widget->focusPolicy() & Qt::TabFocus;
  if (IsControl(node.role()) && widget->isEnabled() && takes_focus) {
    if (node.text(QAccessible::Name).isEmpty()) faults.push_back(what + " has no name");
    if (!IsReached(*widget, reached)) faults.push_back(what + " is not reached");
    // What it is made of is its own affair.
    return;
  }
  for (int i = 0; i < node.childCount(); ++i)
    if (QAccessibleInterface* const child = node.child(i)) WalkTree(*child, reached, faults);
}

// What is cut, or lies over something else.
void Measure(const QWidget& window, QStringList& faults) {
  if (!QRect({}, kSmallest).contains(QRect({}, window.size())))
    faults.push_back(
        QStringLiteral("%1 x %2 is too large").arg(window.width()).arg(window.height()));
  std::vector<const QWidget*> texts;
  for (const QWidget* widget : window.findChildren<QWidget*>()) {
    if (!widget->isVisible() || widget->window() != &window) continue;
    const auto* const label = qobject_cast<const QLabel*>(widget);
    const auto* const button = qobject_cast<const QAbstractButton*>(widget);
    const bool has_text = (label != nullptr && !label->text().isEmpty()) ||
                          (button != nullptr && !button->text().isEmpty());
    if (!has_text) continue;
    texts.push_back(widget);
    const QSize needed = label != nullptr && label->wordWrap()
                             ? QSize(0, label->heightForWidth(label->width()))
                             : widget->minimumSizeHint();
    if (needed.width() > widget->width() || needed.height() > widget->height())
      faults.push_back(
          QStringLiteral("%1 is cut").arg(label != nullptr ? label->text() : button->text()));
  }
  const auto place = [&](const QWidget* widget) {
    return QRect(widget->mapTo(&window, QPoint()), widget->size());
  };
  for (const QWidget* one : texts)
    for (const QWidget* other : texts)
      if (one < other && !one->isAncestorOf(other) && !other->isAncestorOf(one) &&
          place(one).intersects(place(other)))
        faults.push_back(
            QStringLiteral("%1 lies over %2")
                .arg(one->metaObject()->className(), other->metaObject()->className()));
}

QString Faults(QWidget& window) {
  QStringList faults;
  Measure(window, faults);
  if (QApplication::focusWidget() == nullptr) faults.push_back("nothing has the focus");
  QAccessibleInterface* const root = QAccessible::queryAccessibleInterface(&window);
  WalkTree(*root, Reached(), faults);
  return window.windowTitle() + ": " + faults.join("; ");
}

}  // namespace

class AccessibilityTest : public QObject {
  Q_OBJECT

  QTemporaryDir settings_;

 private slots:
  void initTestCase() { qputenv("XDG_CONFIG_HOME", settings_.path().toLocal8Bit()); }

  void EverythingIsNamedReachedAndSeen_data() {
    QTest::addColumn<int>("points");
    QTest::addColumn<bool>("dark");
    QTest::newRow("small") << 9 << false;
    QTest::newRow("large, dark") << 18 << true;
  }

  void EverythingIsNamedReachedAndSeen() {
    QFETCH(int, points);
    QFETCH(bool, dark);
    QFont font = QApplication::font();
    font.setPointSize(points);
    QApplication::setFont(font);
    if (dark) QApplication::setPalette(QPalette(QColor("#202428")));
    MainWindow window;
    window.resize(kSmallest);
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    NextDialog next;
    QStringList seen;
    const auto look = [&] {
      next.Expect([&](QDialog& dialog) {
        QVERIFY(QTest::qWaitForWindowActive(&dialog));
        QTRY_VERIFY(dialog.isAncestorOf(QApplication::focusWidget()));
        seen.push_back(Faults(dialog));
        dialog.reject();
      });
    };
    QtDialogs dialogs(window);
    dialogs.OfferReading(true);
    dialogs.SetRangeView([] { return std::make_unique<RangePlot>(); });
    look();
    dialogs.Begin(Sample("titration.dif").toStdString());
    dialogs.SelectFileType({"Type", "File Types", "Which one?", {"DIF File(OEM)", "Text File"}});
    look();
    TextImportQuestion text{"Text", "/data/a.txt", {";", false}, {}};
    text.preview = [](auto&&...) { return std::vector<std::vector<std::string>>{{"a", "1"}}; };
    dialogs.ImportText(text);
    look();
    dialogs.SelectItems({.title = "Items",
                         .prompt = "Please select.",
                         .heading = "Worksheet",
                         .items = {"A", "B"},
                         .details = {"1 x 1", "2 x 2"},
                         .merge_choices = {"Merge side by side", "Merge above and below"}});
    look();
    dialogs.SelectRange({"Range", "/data/a.spc", 2000, 1002, -2, 500});
    look();
    dialogs.OrderFiles({{"/x/c.spc", "/y/a.spc"}});
    look();
    dialogs.AskPassword({.path = "/x/locked.xlsx"});
    look();
    dialogs.ShowMessage({.text = "Half of it is missing.", .title = "Warning", .type = 1});
    look();
    dialogs.ShowDetails({.text = "Half", .detail = "The other half", .title = "Detail"});
    look();
    ShowTrouble(&window, {"What", "Why", "Where", "What to do"});
    QSignalSpy finished(&window, &MainWindow::Finished);
    window.OpenFiles({Sample("clover.da")});
    QVERIFY(finished.wait(20000));
    look();
    AskPlotChoice(&window, *window.page()->read().sheet, *window.plot().curves(), {});
    QVERIFY(next.all_came());
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    window.sheet().setFocus();
    seen.push_back(Faults(window));
    seen.removeIf([](const QString& faults) { return faults.endsWith(": "); });
    QVERIFY2(seen.isEmpty(), qPrintable(seen.join('\n')));
  }
};

}  // namespace nvimport

QTEST_MAIN(nvimport::AccessibilityTest)
#include "AccessibilityTest.moc"
