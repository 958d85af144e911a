#include "apps/desktop/MainWindow.h"

#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDockWidget>
#include <QFileInfo>
#include <QInputDialog>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPainter>
#include <QPointer>
#include <QPrintDialog>
#include <QPrinter>
#include <QScreen>
#include <QStackedWidget>
#include <QStatusBar>
#include <QStyle>
#include <QTabWidget>
#include <QToolBar>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "apps/desktop/FileDialogs.h"
#include "apps/desktop/FileNames.h"
#include "apps/desktop/PlotChoiceDialog.h"
#include "apps/desktop/RecentFiles.h"
#include "apps/desktop/Settings.h"
#include "apps/desktop/SheetText.h"
#include "apps/desktop/Trouble.h"
#include "nvimport/hosting/batch/FileWalk.h"
#include "nvimport/hosting/import/Complete.h"
#include "nvimport/hosting/import/Detecting.h"

namespace nvimport {

namespace {

constexpr const char* kGeometry = "geometry";
constexpr const char* kPanes = "panes";
constexpr const char* kSplit = "split";
constexpr const char* kKeptRules = "kept-rules";

// As chosen last, or as the environment has it.
bool KeptRules() {
  bool kept = false;
  static_cast<void>(TakeRulesOfEnvironment(kept));
  return Settings().value(kKeptRules, kept).toBool();
}

}  // namespace

MainWindow::MainWindow()
    : jobs_(new Jobs(*statusBar(), [this] { return dialogs_.asking(); })), dialogs_(*this) {
  jobs_->setParent(this);
  setAcceptDrops(true);
  setWindowTitle(QApplication::applicationDisplayName());
  resize(QSize(1280, 760).boundedTo(screen()->availableSize() * 9 / 10));

  auto* const hint = new QLabel(tr("Open a file, or drop files here."));
  hint->setAlignment(Qt::AlignCenter);
  pages_ = new QTabWidget;
  pages_->setDocumentMode(true);
  pages_->setTabsClosable(true);
  pages_->setMovable(true);
  pages_->setTabBarAutoHide(true);
  pages_->setElideMode(Qt::ElideMiddle);
  pages_->setAccessibleName(tr("Files"));
  // Its bar has the focus itself, and is hidden while there is one file: Tab would end there.
  pages_->setFocusProxy(nullptr);
  pages_->setFocusPolicy(Qt::NoFocus);
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
  MakePanels();
  MakeActions();

  connect(pages_, &QTabWidget::currentChanged, this, &MainWindow::ShowPage);
  connect(pages_, &QTabWidget::tabCloseRequested, this, &MainWindow::ClosePage);
  connect(banner_, &Banner::ChoosesAgain, this, &MainWindow::ChooseAgain);
  connect(find_bar_, &FindBar::Wanted, this, &MainWindow::Find);
  connect(find_bar_, &FindBar::Closed, this, [this] {
    if (page() != nullptr) sheet().setFocus();
  });
  exporter_ = new Exporter(*this, *jobs_);
  connect(exporter_, &Exporter::Finished, this, [this] {
    ShowPage();
    emit Finished();
  });
  connect(jobs_, &Jobs::Changed, this, &MainWindow::UpdateActions);
  connect(jobs_, &Jobs::Failed, this, [this](const QString& why) {
    ShowTrouble(this, {why, {}, {}, {}});
  });
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

QAction* MainWindow::Add(QMenu& menu, const QString& text, const QKeySequence& keys,
                         std::function<void()> does) {
  QAction* const action = menu.addAction(text);
  action->setShortcut(keys);
  connect(action, &QAction::triggered, this, std::move(does));
  return action;
}

QAction* MainWindow::AddForSheet(QMenu& menu, const QString& text, const QKeySequence& keys,
                                 std::function<void()> does) {
  for_sheet_.push_back(Add(menu, text, keys, std::move(does)));
  return for_sheet_.back();
}

void MainWindow::MakeActions() {
  QMenu& file = *menuBar()->addMenu(tr("&File"));
  open_ = Add(file, tr("&Open..."), QKeySequence::Open, [this] { ChooseFiles(false); });
  open_->setIcon(style()->standardIcon(QStyle::SP_DialogOpenButton));
  Add(file, tr("Open eac&h..."), Qt::CTRL | Qt::SHIFT | Qt::Key_O, [this] {
    ChooseFiles(true);
  })->setToolTip(tr("Opens files that are no one selection, each in a tab"));
  recent_ =
      new RecentFiles(tr("Open &recent"), [this](const QStringList& files) { OpenFiles(files); });
  recent_->setParent(&file, recent_->windowFlags());
  file.addMenu(recent_);
  again_ = Add(file, tr("&Import again"), Qt::Key_F5, [this] { ImportAgain(); });
  again_->setIcon(style()->standardIcon(QStyle::SP_BrowserReload));
  again_->setToolTip(tr("Reads the file once more with the answers given before (F5)"));
  choose_ = Add(file, tr("Choose a&gain..."), Qt::CTRL | Qt::Key_F5, [this] { ChooseAgain(); });
  choose_->setToolTip(tr("Reads the file once more and asks what to take of it, and how"));
  kept_rules_ = file.addAction(tr("Read by the &kept rules"));
  kept_rules_->setCheckable(true);
  kept_rules_->setToolTip(
      tr("Reads files as years ago: without the cells that were left out then, and with numbers of "
         "32 bits"));
  kept_rules_->setChecked(KeptRules());
  connect(kept_rules_, &QAction::toggled, this, [this](bool kept) {
    Settings().setValue(kKeptRules, kept);
    ImportAgain();
  });
  file.addSeparator();
  QAction* const write =
      AddForSheet(file, tr("&Export..."), QKeySequence::Save, [this] { ChooseExport(false); });
  QAction* const write_part =
      AddForSheet(file, tr("Export &selection..."), Qt::CTRL | Qt::SHIFT | Qt::Key_S,
                  [this] { ChooseExport(true); });
  write->setIcon(style()->standardIcon(QStyle::SP_DialogSaveButton));
  QAction* const save =
      AddForSheet(file, tr("Save &plot..."), Qt::CTRL | Qt::Key_P, [this] { SavePlot(); });
  QAction* const print = AddForSheet(file, tr("Prin&t plot..."), Qt::CTRL | Qt::SHIFT | Qt::Key_P,
                                     [this] { PrintPlot(); });
  file.addSeparator();
  close_ =
      Add(file, tr("&Close"), QKeySequence::Close, [this] { ClosePage(pages_->currentIndex()); });
  Add(file, tr("&Quit"), QKeySequence::Quit, [this] { close(); });

  QMenu& edit = *menuBar()->addMenu(tr("&Edit"));
  QAction* const copy =
      AddForSheet(edit, tr("&Copy"), QKeySequence::Copy, [this] { CopySelection(); });
  QAction* const copy_named =
      AddForSheet(edit, tr("Copy with &names of columns"), Qt::CTRL | Qt::SHIFT | Qt::Key_C,
                  [this] { CopySelection(true); });
  QAction* const copy_plot =
      AddForSheet(edit, tr("Copy p&lot"), Qt::CTRL | Qt::ALT | Qt::Key_C, [this] { CopyPlot(); });
  QAction* const select_all = AddForSheet(edit, tr("Select &all"), QKeySequence::SelectAll,
                                          [this] { sheet().selectAll(); });
  edit.addSeparator();
  QAction* const find =
      AddForSheet(edit, tr("&Find..."), QKeySequence::Find, [this] { find_bar_->Begin(); });
  AddForSheet(edit, tr("Find &next"), QKeySequence::FindNext, [this] { find_bar_->Next(); });
  AddForSheet(edit, tr("Find pre&vious"), QKeySequence::FindPrevious,
              [this] { find_bar_->Previous(); });
  QAction* const go_to =
      AddForSheet(edit, tr("&Go to cell..."), Qt::CTRL | Qt::Key_G, [this] { GoTo(); });

  edit.addSeparator();
  const auto sort = [this](bool falls) {
    RowChoice choice = page()->rows();
    choice.sorted_by = sheet().Place().column;
    choice.falls = falls;
    ShowRows(choice);
  };
  QAction* const rises =
      AddForSheet(edit, tr("Sort by this column, &rising"), {}, [sort] { sort(/*falls=*/false); });
  QAction* const falls =
      AddForSheet(edit, tr("Sort by this column, fallin&g"), {}, [sort] { sort(/*falls=*/true); });
  QAction* const filter = AddForSheet(edit, tr("Only ro&ws with..."),
                                      Qt::CTRL | Qt::SHIFT | Qt::Key_F, [this] { ChooseRows(); });
  QAction* const every =
      AddForSheet(edit, tr("All rows, &in their order"), {}, [this] { ShowRows({}); });

  QMenu& view = *menuBar()->addMenu(tr("&View"));
  const auto add_toggle = [&](const QString& text) {
    QAction* const toggle = view.addAction(text);
    toggle->setCheckable(true);
    toggle->setChecked(true);
    connect(toggle, &QAction::toggled, this, &MainWindow::ShowPage);
    return toggle;
  };
  shows_sheet_ = add_toggle(tr("&Sheet"));
  shows_plot_ = add_toggle(tr("&Plot"));
  for (const char* panel : {"notes", "description"})
    view.addAction(findChild<QDockWidget*>(panel)->toggleViewAction());
  view.addSeparator();
  reverse_ = AddForSheet(view, tr("&Reverse x axis"), Qt::CTRL | Qt::Key_R, [] {});
  reverse_->setCheckable(true);
  connect(reverse_, &QAction::toggled, this,
          [this](bool reversed) { plot().SetReversed(reversed); });
  QAction* const whole = AddForSheet(view, tr("Show &all of the plot"), Qt::CTRL | Qt::Key_0,
                                     [this] { plot().ShowAll(); });
  fits_ = AddForSheet(view, tr("Fit &y to what is seen"), Qt::CTRL | Qt::Key_Y, [] {});
  fits_->setCheckable(true);
  connect(fits_, &QAction::toggled, this, [this](bool fits) { plot().SetFitting(fits); });
  QAction* const back = AddForSheet(view, tr("&Back to what was seen"), QKeySequence::Back,
                                    [this] { plot().GoBack(); });
  QAction* const forward =
      AddForSheet(view, tr("For&ward"), QKeySequence::Forward, [this] { plot().GoForward(); });
  look_ = new LookMenu(tr("For l&ooking only"));
  look_->setParent(&view, look_->windowFlags());
  view.addMenu(look_);
  connect(look_, &LookMenu::Chosen, this, &MainWindow::LookAs);
  overlays_ = view.addMenu(tr("O&verlay with"));
  connect(overlays_, &QMenu::aboutToShow, this, &MainWindow::ListOverlays);
  QAction* const settings =
      AddForSheet(view, tr("P&lot settings..."), Qt::CTRL | Qt::Key_L, [this] { ChoosePlot(); });

  of_sheet_ = {copy,  copy_named, select_all, find,  go_to,     rises,
               falls, filter,     every,      write, write_part};
  of_plot_ = {whole,    back,      forward, fits_, reverse_, look_->menuAction(),
              settings, copy_plot, save,    print};

  QMenu& help = *menuBar()->addMenu(tr("&Help"));
  Add(help, tr("&About"), {}, [this] { About(); });

  QToolBar& tools = *addToolBar(tr("Tools"));
  tools.setObjectName("tools");
  tools.setMovable(false);
  tools.setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  for (QAction* action : {open_, again_, write}) tools.addAction(action);
  tools.addSeparator();
  for (QAction* action : {find, go_to, reverse_, whole, settings}) tools.addAction(action);
}

Page* MainWindow::page() const { return static_cast<Page*>(pages_->currentWidget()); }

void MainWindow::UpdateActions() {
  const bool idle = !jobs_->busy();
  const bool has_page = page() != nullptr;
  recent_->setEnabled(idle);
  kept_rules_->setEnabled(idle);
  look_->setEnabled(idle && has_page);
  overlays_->setEnabled(idle && has_page);
  again_->setEnabled(idle && has_page);
  choose_->setEnabled(idle && has_page);
  close_->setEnabled(has_page);
  for (QAction* action : for_sheet_) action->setEnabled(idle && has_page);
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
    page->sheet().setVisible(shows_sheet_->isChecked());
    page->plot().setVisible(shows_plot_->isChecked());
    const QSignalBlocker quiet(reverse_);
    reverse_->setChecked(page->plot().xAxis->rangeReversed());
    look_->Mark(page->look());
  }
  UpdateActions();
}

void MainWindow::ClosePage(int index) {
  QWidget* const page = pages_->widget(index);
  pages_->removeTab(index);
  delete page;
}

void MainWindow::ChooseFiles(bool each) {
  if (jobs_->Refuses()) return;
  const auto files = AskFiles(this);
  if (!files) return;
  each ? OpenEach(files->paths) : OpenFiles(files->paths, files->filter);
}

void MainWindow::OpenFiles(const QStringList& paths, std::optional<int> filter) {
  if (paths.isEmpty()) return;
  OpenRequest request;
  request.files = Paths(paths);
  request.filter = filter.value_or(0) + 1;
  request.kept_rules = kept_rules_->isChecked();
  Start(request, filter.has_value());
}

void MainWindow::OpenEach(const QStringList& paths) {
  queue_.insert(queue_.end(), paths.begin(), paths.end());
  OpenNext();
}

void MainWindow::OpenDropped(const QStringList& paths) {
  const std::vector<std::string> dropped = Paths(paths);
  if (std::ranges::none_of(dropped, IsFolderOfFiles)) return OpenFiles(paths);
  jobs_->Run(
      tr("Looking for files"),
      [report = jobs_->Reporting(), dropped, kept_rules = kept_rules_->isChecked()] {
        QStringList files;
        for (const std::string& path : dropped) {
          if (!IsFolderOfFiles(path)) {
            files.push_back(ShownPath(path));
            continue;
          }
          for (const std::string& below : FileWalk({.is_recursive = true}).Find(path).files) {
            if (!report(0, 0)) return QStringList();
            const std::string file = PathBelow(path, below);
            if (IsReadable(file, kept_rules)) files.push_back(ShownPath(file));
          }
        }
        return files;
      },
      [this](const QStringList& files) {
        constexpr int kMany = 10;
        if (files.isEmpty()) {
          jobs_->Tell(tr("No file in there can be read."));
        } else if (files.size() <= kMany ||
                   QMessageBox::question(this, tr("Open"),
                                         tr("Open %1 files, each in a tab?").arg(files.size())) ==
                       QMessageBox::Yes) {
          OpenEach(files);
        }
      });
}

void MainWindow::OpenNext() {
  if (queue_.empty() || jobs_->busy()) return;
  const QString path = queue_.front();
  queue_.pop_front();
  OpenFiles({path});
}

void MainWindow::ImportAgain() {
  if (page() == nullptr) return;
  OpenRequest request = page()->read().again;
  request.kept_rules = kept_rules_->isChecked();
  Start(request, false);
}

void MainWindow::ChooseAgain() {
  OpenRequest request;
  const OpenRequest& last = page()->read().again;
  request.files = last.files;
  request.format = last.format;
  request.kept_rules = last.kept_rules;
  request.text = last.text;
  request.chooses = page()->read().reads_unasked;
  Start(request, false);
}

void MainWindow::Start(const OpenRequest& request, bool remembers) {
  jobs_->Run(
      tr("Reading %1").arg(NameOf(request.files)),
      [this, request] { return Open(request, dialogs_, library().progress()); },
      [this, remembers](OpenResult result) { Show(std::move(result), remembers); });
}

Page& MainWindow::PageFor(const std::vector<std::string>& files) {
  for (int i = 0; i < pages_->count(); ++i) {
    auto* const page = static_cast<Page*>(pages_->widget(i));
    if (page->read().again.files != files) continue;
    pages_->setCurrentIndex(i);
    return *page;
  }
  auto* const made = new Page;
  made->restoreState(page() != nullptr ? page()->saveState()
                                       : Settings().value(kSplit).toByteArray());
  connect(&made->plot(), &SpectraPlot::Pointed, this, [this](const QString& words) {
    words.isEmpty() ? statusBar()->clearMessage() : statusBar()->showMessage(words);
  });
  connect(&made->sheet(), &SheetView::AllRowsShown, this, &MainWindow::ShowPage);
  for (QWidget* part : std::initializer_list<QWidget*>{&made->sheet(), &made->plot()})
    part->setContextMenuPolicy(Qt::ActionsContextMenu);
  for (QAction* action : of_sheet_) made->sheet().addAction(action);
  for (QAction* action : of_plot_) made->plot().addAction(action);
  return *made;
}

void MainWindow::Show(OpenResult result, bool remembers) {
  if (result.sheet == nullptr) {
    // What was to follow one that is cancelled is not wanted either.
    if (!result.trouble) queue_.clear();
    emit Imported(false);
    result.trouble ? ShowTrouble(this, *result.trouble) : jobs_->Tell(tr("Nothing was imported."));
    return OpenNext();
  }
  const OpenRequest& again = result.again;
  if (remembers) {
    // The first filter and the last one take every type.
    int first = 0;
    const bool any = again.filter == 1 || again.filter == OpenFilters(first).size();
    RememberFormat(any ? 0 : again.format);
  }
  RecentFiles::Remember(again.files);
  Page& page = PageFor(again.files);
  page.Show(std::move(result));
  const int index = pages_->indexOf(&page);
  if (index < 0) {
    const int made = pages_->addTab(&page, page.name().replace('&', "&&"));
    pages_->setTabToolTip(made, ShownPath(page.read().again.files.front()));
    pages_->setCurrentIndex(made);
  }
  ShowPage();
  page.sheet().setFocus();
  // The sheet is painted before anything is made for the plot.
  QTimer::singleShot(0, this, [this, shown = QPointer(&page)] { PrepareCurves(shown); });
  emit Imported(true);
}

void MainWindow::PrepareCurves(Page* page) {
  if (page == nullptr) return;
  if (jobs_->busy()) {
    constexpr int kWait = 100;  // ms
    QTimer::singleShot(kWait, this, [this, later = QPointer(page)] { PrepareCurves(later); });
    return;
  }
  jobs_->Run(
      tr("Preparing the plot"),
      [make = page->MakingCurves(), report = jobs_->Reporting()] { return make(report); },
      [this, shown = QPointer(page)](const Page::Plotted& plotted) {
        if (shown != nullptr && plotted.all->complete && plotted.seen->complete) {
          shown->SetCurves(plotted);
          shown->plot().SetFitting(fits_->isChecked());
          ShowPage();
        } else if (shown != nullptr) {
          jobs_->Tell(tr("The plot was cancelled; Import again makes it."));
        }
        emit Finished();
        OpenNext();
      });
}

void MainWindow::ChoosePlot() {
  if (plot().curves() == nullptr) return;
  if (const auto choice =
          AskPlotChoice(this, *page()->read().sheet, *plot().curves(), page()->choice()))
    DrawAs(*choice);
}

void MainWindow::DrawAs(const PlotChoice& choice) {
  page()->Choose(choice);
  PrepareCurves(page());
}

void MainWindow::LookAs(const Look& look) {
  if (jobs_->Refuses()) return ShowPage();
  page()->SetLook(look);
  PrepareCurves(page());
}

void MainWindow::ListOverlays() {
  overlays_->clear();
  for (int i = 0; i < pages_->count(); ++i) {
    auto* const other = static_cast<Page*>(pages_->widget(i));
    if (other == page() || other->curves() == nullptr || other->curves()->size() == 0) continue;
    const auto is_over = [curves = other->curves()](const OtherCurves& shown) {
      return shown.curves == curves;
    };
    QAction* const action = overlays_->addAction(other->name().replace('&', "&&"));
    action->setCheckable(true);
    action->setChecked(std::ranges::any_of(page()->others(), is_over));
    connect(action, &QAction::triggered, this, [this, other, is_over](bool wanted) {
      std::vector<OtherCurves> others = page()->others();
      std::erase_if(others, is_over);
      if (wanted) others.push_back({other->name(), other->curves()});
      OverlayWith(std::move(others));
    });
  }
  if (overlays_->isEmpty()) overlays_->addAction(tr("No other file is open"))->setEnabled(false);
}

void MainWindow::OverlayWith(std::vector<OtherCurves> others) {
  if (jobs_->Refuses()) return;
  page()->SetOthers(std::move(others));
  PrepareCurves(page());
}

std::vector<CellRange> MainWindow::Selected(bool with_names) {
  auto parts = sheet().Selected();
  if (with_names && !parts.empty() && parts.front().first_row > 1)
    parts.insert(parts.begin(),
                 CellRange{1, 1, parts.front().first_column, parts.front().last_column});
  return parts;
}

void MainWindow::CopySelection(bool with_names) {
  const auto parts = Selected(with_names);
  if (parts.empty()) return jobs_->Tell(tr("Cells of the same columns can be copied together."));
  jobs_->Run(
      tr("Copying"),
      [report = jobs_->Reporting(), parts, cells = page()->read().sheet] {
        return TabSeparated(*cells, parts, report);
      },
      [this](const QString& text) {
        if (!text.isEmpty())
          QApplication::clipboard()->setText(text);
        else if (!jobs_->stopped())
          jobs_->Tell(tr("That is more than can be copied; Export writes all of it."));
        emit Finished();
      });
}

void MainWindow::CopyPlot() {
  struct Pictures {
    QImage image;
    QByteArray svg;
  };
  jobs_->Run(
      tr("Copying the plot"),
      [report = jobs_->Reporting(), picture = plot().Picture(plot().size())] {
        return Pictures{QImage::fromData(picture.Bytes("png", report)),
                        picture.Bytes("svg", report)};
      },
      [this](const Pictures& pictures) {
        if (!jobs_->stopped()) {
          auto* const copied = new QMimeData;
          copied->setImageData(pictures.image);
          copied->setData("image/svg+xml", pictures.svg);
          QApplication::clipboard()->setMimeData(copied);
        }
        emit Finished();
      });
}

void MainWindow::PrintPlot() {
  const auto printer = std::make_shared<QPrinter>();
  printer->setDocName(page()->name());
  printer->setPageOrientation(QPageLayout::Landscape);
  if (QPrintDialog dialog(printer.get(), this); dialog.exec() != QDialog::Accepted) return;
  jobs_->Run(
      tr("Printing %1").arg(page()->name()),
      [report = jobs_->Reporting(), printer, picture = plot().Picture(plot().size())] {
        QPainter painter;
        if (!painter.begin(printer.get())) return false;
        // As large as the page allows.
        const QRectF paper = painter.viewport();
        const double scale =
            std::min(paper.width() / picture.size.width(), paper.height() / picture.size.height());
        painter.scale(scale, scale);
        if (!picture.Draw(painter, report)) printer->abort();
        return painter.end();
      },
      [this](bool is_printed) {
        jobs_->Tell(is_printed && !jobs_->stopped() ? tr("The plot is printed.")
                                                    : tr("Nothing was printed."));
        emit Finished();
      });
}

void MainWindow::Find(const QString& wanted, bool forward) {
  if (wanted.isEmpty() || page() == nullptr) return;
  jobs_->Run(
      tr("Looking for \"%1\"").arg(wanted),
      [report = jobs_->Reporting(), wanted, forward, from = sheet().Place(),
       cells = page()->read().sheet] { return FindText(*cells, wanted, from, forward, report); },
      [this, wanted, shown = QPointer(page())](std::optional<CellPlace> found) {
        if (!found)
          jobs_->Tell(tr("\"%1\" was not found.").arg(wanted));
        else if (shown != nullptr)
          shown->sheet().GoTo(*found);
        emit Finished();
      });
}

void MainWindow::GoTo() {
  bool ok = false;
  const QString text = QInputDialog::getText(this, tr("Go to cell"), tr("&Row, column:"),
                                             QLineEdit::Normal, {}, &ok);
  if (!ok) return;
  if (const auto place = ParsePlace(text))
    sheet().GoTo(*place);
  else
    jobs_->Tell(tr("A cell is given as its row and column, such as 12, 3."));
}

void MainWindow::ChooseRows() {
  bool ok = false;
  const QString wanted = QInputDialog::getText(this, tr("Only rows with"), tr("&Text or number:"),
                                               QLineEdit::Normal, page()->rows().wanted, &ok);
  if (!ok) return;
  RowChoice choice = page()->rows();
  choice.wanted = wanted;
  ShowRows(choice);
}

void MainWindow::ShowRows(const RowChoice& choice) {
  jobs_->Run(
      tr("Choosing rows"),
      [report = jobs_->Reporting(), choice, names = sheet().has_names(),
       marks = page()->read().marks, cells = page()->read().sheet] {
        return ChosenRows(*cells, cells->GetNumberOfColumns(), cells->GetNumberOfRows(), names,
                          marks, choice, report);
      },
      [this, choice, shown = QPointer(page())](std::optional<std::vector<int>> rows) {
        if (shown != nullptr && rows) {
          shown->ShowRows(choice, std::move(*rows));
          ShowPage();
        }
        emit Finished();
      });
}

std::optional<std::vector<CellRange>> MainWindow::PartsToWrite(bool only_selected) {
  if (!only_selected) return std::vector<CellRange>();
  auto parts = Selected(sheet().has_names());
  if (!parts.empty()) return parts;
  jobs_->Tell(tr("Cells of the same columns can be written together."));
  return std::nullopt;
}

void MainWindow::ChooseExport(bool only_selected) {
  if (const auto parts = PartsToWrite(only_selected)) exporter_->Choose(*page(), *parts);
}

void MainWindow::ExportTo(const QString& path, std::size_t kind, bool only_selected) {
  if (page() == nullptr) return;
  if (const auto parts = PartsToWrite(only_selected)) exporter_->Write(*page(), path, kind, *parts);
}

void MainWindow::SavePlot() {
  if (const auto picture = AskPicture(this, page()->read().again.files.front(), plot().size()))
    SavePlotTo(picture->path, picture->size, picture->resolution);
}

void MainWindow::SavePlotTo(const QString& path, QSize size, int resolution) {
  PlotPicture picture = plot().Picture(size.isEmpty() ? plot().size() : size);
  picture.resolution = resolution;
  jobs_->Run(
      tr("Drawing %1").arg(QFileInfo(path).fileName()),
      [report = jobs_->Reporting(), path, picture = std::move(picture)] {
        return picture.Write(path, {}, report);
      },
      [this, path](const QString& failure) {
        if (!failure.isEmpty())
          ShowTrouble(this, {failure, {}, path, tr("Choose another place or another type.")});
        else
          jobs_->Tell(jobs_->stopped() ? tr("Nothing was written.")
                                       : tr("%1 is written.").arg(path));
        emit Finished();
      });
}

void MainWindow::About() {
  QMessageBox::about(
      this, tr("About %1").arg(QApplication::applicationDisplayName()),
      tr("%1 %2 reads tables and spectra out of the files that spreadsheets, spectrometers, "
         "chromatographs and process tools leave behind.\n\nThis window uses Qt and QCustomPlot; "
         "the latter places the program as a whole under the GNU General Public License, "
         "version 3 or later. The library has a licence of its own.")
          .arg(QApplication::applicationDisplayName(), QApplication::applicationVersion()));
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
  QTimer::singleShot(0, this, [this, paths] { OpenDropped(paths); });
}

void MainWindow::closeEvent(QCloseEvent* event) {
  QSettings settings = Settings();
  settings.setValue(kGeometry, saveGeometry());
  settings.setValue(kPanes, saveState());
  if (page() != nullptr) settings.setValue(kSplit, page()->saveState());
  queue_.clear();
  library().progress().Stop();
  dialogs_.Cancel();
  for (QDialog* question : findChildren<QDialog*>()) question->reject();
  event->accept();
}

}  // namespace nvimport
