// Walks every dialog and the window as a screen reader does, and measures what is seen.

#include <QAccessible>
#include <QComboBox>
#include <QDir>
#include <QDockWidget>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <set>

#include "apps/desktop/FileDialogs.h"
#include "apps/desktop/MainWindow.h"
#include "apps/desktop/PlotChoiceDialog.h"
#include "apps/desktop/RangePlot.h"
#include "apps/desktop/ReadableColors.h"
#include "apps/desktop/Trouble.h"
#include "nvimport/hosting/import/DatabaseSource.h"
#include "tests/apps/desktop/Measures.h"
#include "tests/apps/desktop/NextDialog.h"

namespace nvimport {

namespace {

constexpr QSize kSmallest(1024, 700);
constexpr int kPatience = 60'000;  // ms, of a machine that does much else

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

QString Faults(QWidget& window) {
  QStringList faults = Measures(window, kSmallest).faults();
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
  void initTestCase() {
    qputenv("XDG_CONFIG_HOME", settings_.path().toLocal8Bit());
    new ReadableColors(*qApp);
  }

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
    seen_.clear();
    MainWindow window;
    window.resize(kSmallest);
    // A window manager may come later than its first window, which it then leaves as it is.
    constexpr int kTries = 60;
    constexpr int kTry = 1000;  // ms
    for (int tries = 0; tries < kTries && !window.isActiveWindow(); ++tries) {
      window.hide();
      window.show();
      static_cast<void>(QTest::qWaitForWindowActive(&window, kTry));
    }
    QVERIFY(window.isActiveWindow());
    See(window, "empty");
    WalkQuestions(window);
    WalkStates(window);
    QVERIFY(next_.all_came());
    QCOMPARE(next_.unexpected(), 0);
    QVERIFY2(seen_.isEmpty(), qPrintable(seen_.join('\n')));
  }

 private:
  void See(QWidget& window, const QString& name) {
    // The window manager finds a place for it.
    static_cast<void>(QTest::qWaitFor([&] { return IsOnScreen(window); },
                                      QGuiApplication::platformName() == "xcb" ? kPatience : 0));
    seen_.push_back(name + ": " + Faults(window));
    if (seen_.back().endsWith(": ")) seen_.pop_back();
    Keep(name);
  }

  // What the screen shows, where there is one.
  void Keep(const QString& name) {
    const QString folder = qEnvironmentVariable("NVIMPORT_SCREENS");
    if (folder.isEmpty()) return;
    constexpr int kPainted = 60;  // ms
    QTest::qWait(kPainted);
    const QString variant = QString(QTest::currentDataTag()).remove(',').replace(' ', '-');
    const QString scale = QString::number(QApplication::primaryScreen()->devicePixelRatio());
    const QImage picture = QApplication::primaryScreen()->grabWindow(0).toImage();
    QVERIFY(QDir().mkpath(folder));
    QVERIFY(picture.save(folder + "/" + name + "-" + variant + "-" + scale + ".png"));
  }

  // The next dialog is looked at, and cancelled.
  void Look(const QString& name, const std::function<void(QDialog&)>& with = {}) {
    next_.Expect([this, name, with](QDialog& dialog) {
      QVERIFY(QTest::qWaitForWindowActive(&dialog, kPatience));
      QTRY_VERIFY_WITH_TIMEOUT(dialog.isAncestorOf(QApplication::focusWidget()), kPatience);
      if (with) with(dialog);
      See(dialog, name);
      dialog.reject();
    });
  }

  void WalkQuestions(MainWindow& window) {
    QtDialogs dialogs(window);
    dialogs.OfferReading(true);
    dialogs.SetRangeView([] { return std::make_unique<RangePlot>(); });
    Look("file-type");
    dialogs.Begin(Sample("titration.dif").toStdString());
    dialogs.SelectFileType({"Type", "File Types", "Which one?", {"DIF File(OEM)", "Text File"}});
    TextImportQuestion text{"Text", "/data/a.txt", {";", false}, {}};
    text.preview = [](auto&&...) {
      return std::vector<std::vector<std::string>>{{"Name", "Weight, g"}, {"a", "1.5"}};
    };
    Look("text");
    dialogs.ImportText(text);
    Look("text-other", [](QDialog& dialog) {
      auto* const delimiter = dialog.findChild<QComboBox*>();
      delimiter->setCurrentIndex(delimiter->count() - 1);
    });
    dialogs.ImportText(text);
    ItemsQuestion items{.title = "Items",
                        .prompt = "Please select.",
                        .heading = "Worksheet",
                        .items = {"A", "B"},
                        .details = {"1 x 1", "2 x 2"},
                        .merge_choices = {"Merge side by side", "Merge above and below"}};
    Look("items");
    dialogs.SelectItems(items);
    items.only_one = true;
    items.merge_choices.clear();
    Look("one-item");
    dialogs.SelectItems(items);
    Look("range");
    dialogs.SelectRange({"Range", "/data/a.spc", 2000, 1002, -2, 500});
    Look("order");
    dialogs.OrderFiles({{"/x/c.spc", "/y/a.spc"}});
    Look("password");
    dialogs.AskPassword({.path = "/x/locked.xlsx"});
    Look("query");
    dialogs.AllowQuery({.path = "/x/wheat.dqy",
                        .source = "DSN=lab;UID=reader",
                        .statement = "SELECT sample, moisture FROM wheat"});
    Look("message");
    dialogs.ShowMessage({.text = "Half of it is missing.", .title = "Warning", .type = 1});
    Look("detail");
    dialogs.ShowDetails({.text = "Half", .detail = "The other half", .title = "Detail"});
    Look("trouble");
    ShowTrouble(&window, {"What", "Why", "Where", "What to do"});
  }

  void WalkStates(MainWindow& window) {
    const auto finish = [&](const std::function<void()>& does) {
      QSignalSpy finished(&window, &MainWindow::Finished);
      does();
      QVERIFY(finished.count() > 0 || finished.wait(20000));
    };
    const auto see = [&](const char* name) {
      window.activateWindow();
      QVERIFY(QTest::qWaitForWindowActive(&window, kPatience));
      if (window.page() != nullptr) window.sheet().setFocus();
      See(window, name);
    };
    const auto trigger = [&](const char* text) {
      for (QAction* action : window.findChildren<QAction*>())
        if (action->text().remove('&') == text) return action->trigger();
      QFAIL(text);
    };
    finish([&] { window.OpenFiles({Sample("clover.da")}); });
    see("spectra");
    finish([&] { window.LookAs({.derivative = Look::Derivative::kFirst}); });
    trigger("Find...");
    see("banner-and-find");
    Look("plot-settings");
    trigger("Plot settings...");
    if (DatabaseSource::IsServed()) {
      Look("database");
      trigger("Import from database...");
      QTRY_VERIFY_WITH_TIMEOUT(next_.all_came(), kPatience);
    }
    Look("go-to");
    trigger("Go to cell...");
    Look("only-rows");
    trigger("Only rows with...");
    Look("about");
    trigger("About");
    Look("picture-size");
    PictureToWrite picture{"/x/plot.png", {800, 500}};
    AskSize(&window, picture);
    window.exporter().SetPatience({0, 0, 0});
    Look("estimate");
    finish([&] { window.ExportTo(settings_.filePath("a.csv"), 0); });
    finish([&] { window.OpenFiles({Sample("trials.csv")}); });
    see("tabs-and-table");
    window.findChild<QDockWidget*>("description")->raise();
    see("description");
  }

  QStringList seen_;
  NextDialog next_;
};

}  // namespace nvimport

QTEST_MAIN(nvimport::AccessibilityTest)
#include "AccessibilityTest.moc"
