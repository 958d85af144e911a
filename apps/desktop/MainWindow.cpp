#include "apps/desktop/MainWindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDockWidget>
#include <QLabel>
#include <QListWidget>
#include <QMimeData>
#include <QPointer>
#include <QScreen>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTimer>
#include <QVBoxLayout>
#include <utility>

#include "apps/desktop/Banner.h"
#include "apps/desktop/DescriptionPanel.h"
#include "apps/desktop/FindBar.h"
#include "apps/desktop/Menus.h"
#include "apps/desktop/Settings.h"
#include "apps/desktop/SheetText.h"
#include "apps/desktop/Trouble.h"
#include "nvimport/hosting/import/Complete.h"

namespace nvimport {

namespace {

constexpr const char* kGeometry = "geometry";
constexpr const char* kPanes = "panes";

}  // namespace

MainWindow::MainWindow()
    : jobs_(new Jobs(*statusBar(), [this] { return dialogs_.asking(); })), dialogs_(*this) {
  jobs_->setParent(this);
  setAcceptDrops(true);
  setWindowTitle(QApplication::applicationDisplayName());
  resize(QSize(1280, 760).boundedTo(screen()->availableSize() * 9 / 10));
  MakeCenter();
  MakePanels();
  opener_ =
      new Opener(*this, *jobs_, dialogs_, [this](OpenResult result) { Show(std::move(result)); });
  sheets_ = new SheetWork(*this, *jobs_, *pages_);
  plotter_ = new Plotter(*this, *jobs_, *pages_);
  output_ = new PlotOutput(*this, *jobs_);
  exporter_ = new Exporter(*this, *jobs_);
  menus_ =
      new Menus(*this, {*opener_, *pages_, *sheets_, *plotter_, *output_, *exporter_, *find_bar_});
  Connect();
  ShowPage();
  // As they were left.
  const QSettings settings = Settings();
  restoreGeometry(settings.value(kGeometry).toByteArray());
  restoreState(settings.value(kPanes).toByteArray());
  if (const auto failure = UseComplete())
    QTimer::singleShot(0, this, [this, failure] {
      ShowTrouble(this, {FromBytes(failure->text), FromBytes(failure->advice), {}, {}});
    });
}

MainWindow::~MainWindow() {
  // Its job asks the dialogs, which are gone before it.
  dialogs_.Cancel();
  library().Finish();
  // Pages that go one after the other are not shown.
  pages_->disconnect(this);
}

void MainWindow::MakeCenter() {
  auto* const hint = new QLabel(tr("Open a file, or drop files here."));
  hint->setAlignment(Qt::AlignCenter);
  pages_ = new Pages;
  center_ = new QStackedWidget;
  center_->addWidget(hint);
  center_->addWidget(pages_);
  banner_ = new Banner;
  find_bar_ = new FindBar;
  auto* const all = new QWidget;
  auto* const layout = new QVBoxLayout(all);
  layout->setContentsMargins({});
  layout->setSpacing(0);
  layout->addWidget(banner_);
  layout->addWidget(center_, 1);
  layout->addWidget(find_bar_);
  setCentralWidget(all);
}

void MainWindow::MakePanels() {
  notes_ = new QListWidget;
  notes_->setWordWrap(true);
  notes_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  notes_->setAccessibleName(tr("Notes"));
  description_ = new DescriptionPanel;
  const auto add = [this](const QString& title, const QString& name, QWidget* panel) {
    auto* const dock = new QDockWidget(title);
    dock->setObjectName(name);
    dock->setWidget(panel);
    addDockWidget(Qt::BottomDockWidgetArea, dock);
    return dock;
  };
  QDockWidget* const notes = add(tr("Notes"), "notes", notes_);
  QDockWidget* const description = add(tr("What the file says"), "description", description_);
  tabifyDockWidget(notes, description);
  notes->raise();
  resizeDocks({notes}, {110}, Qt::Vertical);
}

void MainWindow::Connect() {
  connect(pages_, &QTabWidget::currentChanged, this, &MainWindow::ShowPage);
  connect(pages_, &Pages::Made, this, [this](Page* made) {
    connect(&made->plot(), &SpectraPlot::Pointed, this, [this](const QString& words) {
      words.isEmpty() ? statusBar()->clearMessage() : statusBar()->showMessage(words);
    });
    connect(&made->sheet(), &SheetView::AllRowsShown, this, &MainWindow::ShowPage);
    menus_->Serve(*made);
  });
  connect(banner_, &Banner::ChoosesAgain, this, [this] { opener_->ChooseAgain(page()->read()); });
  connect(find_bar_, &FindBar::Wanted, this, &MainWindow::Find);
  connect(find_bar_, &FindBar::Closed, this, [this] {
    if (page() != nullptr) sheet().setFocus();
  });
  connect(menus_, &Menus::Changed, this, &MainWindow::ShowPage);
  connect(jobs_, &Jobs::Changed, this, [this](bool busy) { menus_->Update(!busy); });
  connect(jobs_, &Jobs::Failed, this, [this](const QString& why) {
    ShowTrouble(this, {why, {}, {}, {}});
  });
  connect(opener_, &Opener::Failed, this, [this] { emit Imported(false); });
  connect(sheets_, &SheetWork::RowsShown, this, &MainWindow::ShowPage);
  connect(sheets_, &SheetWork::Finished, this, &MainWindow::Finished);
  connect(plotter_, &Plotter::Plotted, this, [this](Page* plotted) {
    plotted->plot().SetFitting(menus_->fits());
    ShowPage();
  });
  connect(plotter_, &Plotter::Refused, this, &MainWindow::ShowPage);
  connect(plotter_, &Plotter::Finished, this, [this] {
    emit Finished();
    opener_->OpenNext();
  });
  connect(output_, &PlotOutput::Finished, this, &MainWindow::Finished);
  connect(exporter_, &Exporter::Finished, this, [this] {
    ShowPage();
    emit Finished();
  });
}

void MainWindow::Show(OpenResult result) {
  Page& page = pages_->For(result.again);
  page.Show(std::move(result));
  pages_->Show(page);
  ShowPage();
  page.sheet().setFocus();
  // The sheet is painted before anything is made for the plot.
  QTimer::singleShot(0, this, [this, shown = QPointer(&page)] { plotter_->Prepare(shown); });
  emit Imported(true);
}

void MainWindow::ShowPage() {
  Page* const page = this->page();
  center_->setCurrentIndex(page != nullptr ? 1 : 0);
  const QString title = QApplication::applicationDisplayName();
  setWindowTitle(page != nullptr ? page->name() + " - " + title : title);
  jobs_->ShowState(page != nullptr ? page->state() : QString());
  const auto described = page != nullptr ? page->read().description : nullptr;
  if (described != described_) description_->Show(described);
  described_ = described;
  notes_->clear();
  banner_->Show(page != nullptr ? page->Lacking() : QStringList(),
                page != nullptr && !page->read().left.isEmpty());
  if (page != nullptr) {
    notes_->addItems(page->Notes());
    page->sheet().setVisible(menus_->shows_sheet());
    page->plot().setVisible(menus_->shows_plot());
    menus_->Mark(*page);
  }
  menus_->Update(!jobs_->busy());
}

void MainWindow::ExportTo(const QString& path, std::size_t kind, bool only_selected) {
  if (page() == nullptr) return;
  if (const auto parts = sheets_->PartsToWrite(only_selected))
    exporter_->Write(*page(), path, kind, *parts);
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls() && !jobs_->busy()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
  QStringList paths;
  for (const QUrl& url : event->mimeData()->urls())
    if (url.isLocalFile()) paths.push_back(url.toLocalFile());
  event->acceptProposedAction();
  // The program that they come from waits for the drop to end.
  QTimer::singleShot(0, this, [this, paths] { opener_->OpenDropped(paths); });
}

void MainWindow::closeEvent(QCloseEvent* event) {
  QSettings settings = Settings();
  settings.setValue(kGeometry, saveGeometry());
  settings.setValue(kPanes, saveState());
  pages_->Remember();
  opener_->Forget();
  library().progress().Stop();
  dialogs_.Cancel();
  for (QDialog* question : findChildren<QDialog*>()) question->reject();
  event->accept();
}

}  // namespace nvimport
