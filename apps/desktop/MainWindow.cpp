#include "apps/desktop/MainWindow.h"

#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDockWidget>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QSplitter>
#include <QStackedWidget>
#include <QStatusBar>
#include <QStyle>
#include <QToolBar>
#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "apps/desktop/CurvesPlottable.h"
#include "apps/desktop/PlotChoiceDialog.h"
#include "apps/desktop/Settings.h"
#include "apps/desktop/SheetText.h"
#include "apps/desktop/SheetView.h"
#include "apps/desktop/SpectraPlot.h"
#include "nvimport/hosting/import/Complete.h"

namespace nvimport {

namespace {

constexpr int kMostRecent = 10;
constexpr int kTick = 100;      // ms
constexpr int kPatience = 500;  // ms before progress is shown
constexpr int kMessageTime = 4000;
constexpr const char* kRecent = "recent";
constexpr const char* kGeometry = "geometry";
constexpr const char* kPanes = "panes";
constexpr const char* kSplit = "split";
constexpr const char* kFolder = "folder";
constexpr const char* kKeptRules = "kept-rules";

QString NameOf(const std::vector<std::string>& files) {
  const QString first = QFileInfo(FromBytes(files.front())).fileName();
  return files.size() == 1
             ? first
             : QObject::tr("%1 and %2 more").arg(first, QString::number(files.size() - 1));
}

// As chosen last, or as the environment has it.
bool KeptRules() {
  bool kept = false;
  static_cast<void>(TakeRulesOfEnvironment(kept));
  return Settings().value(kKeptRules, kept).toBool();
}

// The bytes of a path as the system has them: of one that is no UTF-8 those that are shown as it
// is.
std::string PathBytes(const QString& path) {
  std::string bytes = QFile::encodeName(path).toStdString();
  std::error_code none;
  if (!path.contains(QChar::ReplacementCharacter) || std::filesystem::exists(bytes, none))
    return bytes;
  const std::filesystem::path folder = std::filesystem::path(bytes).parent_path();
  for (const auto& entry : std::filesystem::directory_iterator(folder, none))
    if (QFile::decodeName(entry.path().c_str()) == path) return entry.path();
  return bytes;
}

std::vector<std::string> Paths(const QStringList& paths) {
  std::vector<std::string> files;
  for (const QString& path : paths) files.push_back(PathBytes(path));
  return files;
}

}  // namespace

MainWindow::MainWindow() : dialogs_(*this, library_) {
  setAcceptDrops(true);
  setWindowTitle(QApplication::applicationDisplayName());
  resize(QSize(1280, 760).boundedTo(screen()->availableSize() * 9 / 10));

  sheet_ = new SheetView;
  plot_ = new SpectraPlot;
  auto* const split = new QSplitter;
  split->setObjectName(kSplit);
  split->addWidget(sheet_);
  split->addWidget(plot_);
  split->setSizes({1, 1});
  split->setChildrenCollapsible(false);
  sheet_->setMinimumWidth(200);
  plot_->setMinimumWidth(200);
  auto* const hint = new QLabel(tr("Open a file, or drop files here."));
  hint->setAlignment(Qt::AlignCenter);
  pages_ = new QStackedWidget;
  pages_->addWidget(hint);
  pages_->addWidget(split);
  MakeBanner();
  MakeFindBar();
  auto* const center = new QWidget;
  auto* const layout = new QVBoxLayout(center);
  layout->setContentsMargins({});
  layout->setSpacing(0);
  layout->addWidget(banner_);
  layout->addWidget(pages_, 1);
  layout->addWidget(find_bar_);
  setCentralWidget(center);
  MakeNotes();
  MakeStatus();
  MakeActions();

  connect(sheet_, &SheetView::SelectionChanged, this, &MainWindow::EmphasizeSelected);
  connect(plot_, &SpectraPlot::CurveClicked, this, [this](int line) {
    sheet_->SelectLine(line, plot_->curves()->spectra ? Qt::Vertical : Qt::Horizontal);
  });
  connect(plot_, &SpectraPlot::Pointed, this, [this](const QString& words) {
    words.isEmpty() ? statusBar()->clearMessage() : statusBar()->showMessage(words);
  });
  connect(&library_, &LibraryThread::Changed, this, [this](bool busy) {
    if (busy) {
      running_.start();
      ticks_.start(kTick);
    } else {
      ticks_.stop();
      bar_->hide();
      stop_->hide();
    }
    UpdateActions();
  });
  connect(&library_, &LibraryThread::Failed, this, [this](const QString& why) {
    ShowTrouble(this, {why, {}, {}, {}});
  });
  connect(&ticks_, &QTimer::timeout, this, &MainWindow::ShowProgress);
  Dialogs::Install(&dialogs_);
  UpdateActions();
  // As they were left.
  const QSettings settings = Settings();
  restoreGeometry(settings.value(kGeometry).toByteArray());
  restoreState(settings.value(kPanes).toByteArray());
  split->restoreState(settings.value(kSplit).toByteArray());
  if (const auto failure = UseComplete())
    QTimer::singleShot(0, this, [this, failure] {
      ShowTrouble(this, {FromBytes(failure->text), FromBytes(failure->advice), {}, {}});
    });
}

MainWindow::~MainWindow() {
  // Its job asks the dialogs, which are gone before it.
  library_.Finish();
  Dialogs::Install(nullptr);
}

void MainWindow::MakeBanner() {
  banner_ = new QFrame;
  banner_->setAutoFillBackground(true);
  banner_->setBackgroundRole(QPalette::ToolTipBase);
  auto* const layout = new QHBoxLayout(banner_);
  layout->setContentsMargins(8, 4, 8, 4);
  lacking_ = new QLabel;
  lacking_->setObjectName("lacking");
  lacking_->setForegroundRole(QPalette::ToolTipText);
  lacking_->setTextFormat(Qt::PlainText);
  lacking_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  lacking_->setWordWrap(true);
  choose_ = new QPushButton(tr("&Choose again..."));
  choose_->setToolTip(tr("Reads the file once more and asks what to take of it"));
  auto* const close = new QPushButton(tr("Hide"));
  layout->addWidget(lacking_, 1);
  layout->addWidget(choose_);
  layout->addWidget(close);
  banner_->hide();
  connect(choose_, &QPushButton::clicked, this, [this] {
    OpenRequest request;
    request.files = last_.files;
    request.format = last_.format;
    request.kept_rules = last_.kept_rules;
    Start(request, tr("Reading %1").arg(NameOf(request.files)));
  });
  connect(close, &QPushButton::clicked, banner_, &QWidget::hide);
}

void MainWindow::MakeFindBar() {
  find_bar_ = new QWidget;
  auto* const layout = new QHBoxLayout(find_bar_);
  layout->setContentsMargins(6, 4, 6, 4);
  wanted_ = new QLineEdit;
  wanted_->setPlaceholderText(tr("Text or number to find"));
  wanted_->setClearButtonEnabled(true);
  auto* const label = new QLabel(tr("F&ind:"));
  label->setBuddy(wanted_);
  auto* const previous = new QPushButton(tr("&Previous"));
  auto* const next = new QPushButton(tr("&Next"));
  auto* const close = new QPushButton(tr("Close"));
  for (QWidget* part : std::initializer_list<QWidget*>{label, wanted_, previous, next, close})
    layout->addWidget(part, part == wanted_ ? 1 : 0);
  find_bar_->hide();
  connect(wanted_, &QLineEdit::returnPressed, this, [this] { Find(wanted_->text(), true); });
  connect(next, &QPushButton::clicked, this, [this] { Find(wanted_->text(), true); });
  connect(previous, &QPushButton::clicked, this, [this] { Find(wanted_->text(), false); });
  const auto end = [this] {
    find_bar_->hide();
    sheet_->setFocus();
  };
  connect(close, &QPushButton::clicked, this, end);
  auto* const escape =
      new QShortcut(Qt::Key_Escape, find_bar_, nullptr, nullptr, Qt::WidgetWithChildrenShortcut);
  connect(escape, &QShortcut::activated, this, end);
  connect(escape, &QShortcut::activatedAmbiguously, this, end);
}

void MainWindow::MakeNotes() {
  notes_ = new QListWidget;
  notes_->setWordWrap(true);
  notes_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  notes_->setAccessibleName(tr("Notes"));
  auto* const dock = new QDockWidget(tr("Notes"));
  dock->setObjectName("notes");
  dock->setWidget(notes_);
  addDockWidget(Qt::BottomDockWidgetArea, dock);
  resizeDocks({dock}, {110}, Qt::Vertical);
}

void MainWindow::MakeStatus() {
  state_ = new QLabel;
  bar_ = new QProgressBar;
  bar_->setMaximumWidth(220);
  stop_ = new QPushButton(tr("Cancel"));
  stop_->setShortcut(Qt::Key_Escape);
  statusBar()->addWidget(state_, 1);
  statusBar()->addPermanentWidget(bar_);
  statusBar()->addPermanentWidget(stop_);
  bar_->hide();
  stop_->hide();
  connect(stop_, &QPushButton::clicked, this, [this] { library_.progress().Stop(); });
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
  open_ = Add(file, tr("&Open..."), QKeySequence::Open, [this] { ChooseFiles(); });
  open_->setIcon(style()->standardIcon(QStyle::SP_DialogOpenButton));
  recent_ = file.addMenu(tr("Open &recent"));
  connect(recent_, &QMenu::aboutToShow, this, &MainWindow::ShowRecent);
  again_ = Add(file, tr("&Import again"), Qt::Key_F5, [this] { ImportAgain(); });
  again_->setIcon(style()->standardIcon(QStyle::SP_BrowserReload));
  again_->setToolTip(tr("Reads the file once more with the answers given before (F5)"));
  kept_rules_ = file.addAction(tr("Read by the &kept rules"));
  kept_rules_->setCheckable(true);
  kept_rules_->setToolTip(
      tr("Reads files as years ago: without the cells that were left out then, and with numbers of "
         "32 bits"));
  kept_rules_->setChecked(KeptRules());
  connect(kept_rules_, &QAction::toggled, this, [this](bool kept) {
    Settings().setValue(kKeptRules, kept);
    last_.kept_rules = kept;
    ImportAgain();
  });
  file.addSeparator();
  QAction* const write =
      AddForSheet(file, tr("&Export..."), QKeySequence::Save, [this] { ChooseExport(); });
  write->setIcon(style()->standardIcon(QStyle::SP_DialogSaveButton));
  AddForSheet(file, tr("Save &plot..."), Qt::CTRL | Qt::Key_P, [this] { SavePlot(); });
  file.addSeparator();
  Add(file, tr("&Quit"), QKeySequence::Quit, [this] { close(); });

  QMenu& edit = *menuBar()->addMenu(tr("&Edit"));
  AddForSheet(edit, tr("&Copy"), QKeySequence::Copy, [this] { CopySelection(); });
  AddForSheet(edit, tr("Select &all"), QKeySequence::SelectAll, [this] { sheet_->selectAll(); });
  edit.addSeparator();
  QAction* const find = AddForSheet(edit, tr("&Find..."), QKeySequence::Find, [this] {
    find_bar_->show();
    wanted_->setFocus();
    wanted_->selectAll();
  });
  AddForSheet(edit, tr("Find &next"), QKeySequence::FindNext,
              [this] { Find(wanted_->text(), true); });
  AddForSheet(edit, tr("Find pre&vious"), QKeySequence::FindPrevious,
              [this] { Find(wanted_->text(), false); });
  QAction* const go_to =
      AddForSheet(edit, tr("&Go to cell..."), Qt::CTRL | Qt::Key_G, [this] { GoTo(); });

  QMenu& view = *menuBar()->addMenu(tr("&View"));
  const auto add_toggle = [&](const QString& text, QWidget* widget) {
    QAction* const toggle = view.addAction(text);
    toggle->setCheckable(true);
    toggle->setChecked(true);
    connect(toggle, &QAction::toggled, widget, &QWidget::setVisible);
  };
  add_toggle(tr("&Sheet"), sheet_);
  add_toggle(tr("&Plot"), plot_);
  view.addAction(findChild<QDockWidget*>("notes")->toggleViewAction());
  view.addSeparator();
  reverse_ = AddForSheet(view, tr("&Reverse x axis"), Qt::CTRL | Qt::Key_R, [] {});
  reverse_->setCheckable(true);
  connect(reverse_, &QAction::toggled, plot_, &SpectraPlot::SetReversed);
  QAction* const all = AddForSheet(view, tr("Show &all of the plot"), Qt::CTRL | Qt::Key_0,
                                   [this] { plot_->ShowAll(); });

  QAction* const settings =
      AddForSheet(view, tr("P&lot settings..."), Qt::CTRL | Qt::Key_L, [this] { ChoosePlot(); });

  QMenu& help = *menuBar()->addMenu(tr("&Help"));
  Add(help, tr("&About"), {}, [this] {
    QMessageBox::about(
        this, tr("About %1").arg(QApplication::applicationDisplayName()),
        tr("%1 %2 reads tables and spectra out of the files that spreadsheets, spectrometers, "
           "chromatographs and process tools leave behind.\n\nThis window uses Qt and QCustomPlot; "
           "the latter places the program as a whole under the GNU General Public License, "
           "version 3 or later. The library has a licence of its own.")
            .arg(QApplication::applicationDisplayName(), QApplication::applicationVersion()));
  });

  QToolBar& tools = *addToolBar(tr("Tools"));
  tools.setObjectName("tools");
  tools.setMovable(false);
  tools.setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  for (QAction* action : {open_, again_, write}) tools.addAction(action);
  tools.addSeparator();
  for (QAction* action : {find, go_to, reverse_, all, settings}) tools.addAction(action);
}

void MainWindow::UpdateActions() {
  const bool idle = !library_.busy();
  recent_->setEnabled(idle);
  again_->setEnabled(idle && !last_.files.empty());
  kept_rules_->setEnabled(idle);
  for (QAction* action : for_sheet_) action->setEnabled(idle && cells_ != nullptr);
}

void MainWindow::Run(const QString& label, std::function<void()> job, std::function<void()> done) {
  if (library_.busy())
    return statusBar()->showMessage(tr("%1: Cancel ends that first.").arg(label_), kMessageTime);
  label_ = label;
  library_.Start(std::move(job), [this, done = std::move(done), state = state_->text()] {
    state_->setText(state);
    done();
  });
}

Report MainWindow::JobReport() {
  return
      [this](std::size_t done, std::size_t all) { return library_.progress().Advance(done, all); };
}

void MainWindow::ShowProgress() {
  // While a question is open, it is the user that the import waits for.
  if (running_.elapsed() < kPatience || OpenQuestion(*this) != nullptr) return;
  const JobProgress& progress = library_.progress();
  constexpr int kParts = 1000;
  const bool known = progress.size() > 0;
  bar_->setRange(0, known ? kParts : 0);
  if (known)
    bar_->setValue(static_cast<int>(static_cast<double>(progress.position()) /
                                    static_cast<double>(progress.size()) * kParts));
  bar_->show();
  stop_->show();
  stop_->setEnabled(!progress.stopped());
  state_->setText(label_);
}

void MainWindow::ChooseFiles() {
  if (library_.busy()) return Run({}, {}, {});
  int first = 0;
  const QStringList filters = OpenFilters(first);
  QFileDialog dialog(this, tr("Open"));
  dialog.setFileMode(QFileDialog::ExistingFiles);
  dialog.setNameFilters(filters);
  dialog.selectNameFilter(filters[first]);
  dialog.setDirectory(Settings().value(kFolder).toString());
  if (dialog.exec() != QDialog::Accepted) return;
  OpenFiles(dialog.selectedFiles(),
            std::max(static_cast<int>(filters.indexOf(dialog.selectedNameFilter())), 0));
}

void MainWindow::OpenFiles(const QStringList& paths, std::optional<int> filter) {
  if (paths.isEmpty()) return;
  OpenRequest request;
  request.files = Paths(paths);
  request.filter = filter.value_or(0) + 1;
  request.kept_rules = kept_rules_->isChecked();
  remembers_ = filter.has_value();
  Start(request, tr("Reading %1").arg(NameOf(request.files)));
}

void MainWindow::ImportAgain() {
  if (!last_.files.empty()) Start(last_, tr("Reading %1").arg(NameOf(last_.files)));
}

void MainWindow::Start(const OpenRequest& request, const QString& label) {
  auto result = std::make_shared<OpenResult>();
  Run(
      label, [this, request, result] { *result = Open(request, dialogs_, library_.progress()); },
      [this, result] { Show(std::move(*result)); });
}

void MainWindow::Show(OpenResult result) {
  if (result.trouble) {
    emit Imported(false);
    return ShowTrouble(this, *result.trouble);
  }
  if (result.sheet == nullptr) {
    statusBar()->showMessage(tr("Nothing was imported."), kMessageTime);
    emit Imported(false);
    return;
  }
  cells_ = result.sheet;
  description_ = result.description;
  last_ = result.again;
  decimal_mark_ = result.decimal_mark;
  if (std::exchange(remembers_, false)) {
    // The first filter and the last one take every type.
    int first = 0;
    const bool any = last_.filter == 1 || last_.filter == OpenFilters(first).size();
    RememberFormat(any ? 0 : last_.format);
  }
  Remember(last_.files);
  choice_ = KeptChoice(last_.files.front());
  setWindowTitle(NameOf(last_.files) + " - " + QApplication::applicationDisplayName());
  plot_->SetCurves(nullptr);
  sheet_->SetSheet(cells_);
  pages_->setCurrentIndex(1);
  sheet_->setFocus();
  state_->setText(
      tr("%1 rows, %2 columns - %3")
          .arg(QLocale().toString(cells_->GetNumberOfRows()),
               QLocale().toString(cells_->GetNumberOfColumns()),
               result.kept_rules ? tr("%1, by the kept rules").arg(result.format) : result.format));
  ShowNotes(result);
  UpdateActions();
  // The sheet is painted before anything is made for the plot.
  QTimer::singleShot(0, this, &MainWindow::PrepareCurves);
  emit Imported(true);
}

void MainWindow::ShowNotes(const OpenResult& result) {
  notes_->clear();
  for (const QString& text : result.warnings) notes_->addItem(tr("Warning: %1").arg(text));
  for (const QStringList& texts : {result.left, result.notes}) notes_->addItems(texts);
  left_out_ = result.warnings + result.left + result.notes;
  can_choose_ = !result.left.isEmpty();
  ShowBanner();
  if (notes_->count() == 0) notes_->addItem(tr("Nothing was left out."));
}

void MainWindow::ShowBanner() {
  constexpr int kMost = 2;
  QStringList lines = left_out_.mid(0, kMost);
  if (left_out_.size() > kMost)
    lines.push_back(tr("%1 more in the notes").arg(left_out_.size() - kMost));
  const Curves* const curves = plot_->curves();
  const std::size_t one_of = curves != nullptr ? CurvesPlottable::OneOf(curves->size()) : 1;
  if (one_of > 1)
    lines.push_back(tr("The plot shows one of %1 curves; those that are selected are drawn.")
                        .arg(static_cast<qulonglong>(one_of)));
  lacking_->setText(lines.join('\n'));
  choose_->setVisible(can_choose_);
  banner_->setVisible(!lines.isEmpty());
}

void MainWindow::PrepareCurves() {
  if (library_.busy()) return QTimer::singleShot(kTick, this, &MainWindow::PrepareCurves);
  auto curves = std::make_shared<Curves>();
  Run(
      tr("Preparing the plot"),
      [this, curves, cells = cells_, description = description_, choice = choice_] {
        *curves = TakeCurves(*cells, decimal_mark_, JobReport(), description.get(), choice);
      },
      [this, curves] {
        if (curves->complete) {
          plot_->SetCurves(curves);
          ShowBanner();
          const QSignalBlocker quiet(reverse_);
          reverse_->setChecked(curves->spectra && curves->x_falls);
          EmphasizeSelected();
        } else {
          statusBar()->showMessage(tr("The plot was cancelled; Import again makes it."),
                                   kMessageTime);
        }
        emit Finished();
      });
}

void MainWindow::ChoosePlot() {
  if (plot_->curves() == nullptr) return;
  if (const auto choice = AskPlotChoice(this, *cells_, *plot_->curves(), choice_)) DrawAs(*choice);
}

void MainWindow::DrawAs(const PlotChoice& choice) {
  choice_ = choice;
  KeepChoice(last_.files.front(), choice);
  PrepareCurves();
}

void MainWindow::EmphasizeSelected() {
  const Curves* curves = plot_->curves();
  if (curves == nullptr) return;
  // A single cell selects nothing in particular.
  const QItemSelection selection = sheet_->selectionModel()->selection();
  const bool lines =
      selection.size() > 1 ||
      (selection.size() == 1 && selection.front().topLeft() != selection.front().bottomRight());
  plot_->Emphasize(lines ? sheet_->SelectedLines(curves->spectra ? Qt::Vertical : Qt::Horizontal)
                         : std::vector<int>());
}

void MainWindow::CopySelection() {
  const auto parts = sheet_->Selected();
  if (parts.empty())
    return statusBar()->showMessage(tr("Cells of the same columns can be copied together."),
                                    kMessageTime);
  auto text = std::make_shared<QString>();
  Run(
      tr("Copying"),
      [this, text, parts, cells = cells_] { *text = TabSeparated(*cells, parts, JobReport()); },
      [this, text] {
        if (!text->isEmpty())
          QApplication::clipboard()->setText(*text);
        else if (!library_.progress().stopped())
          statusBar()->showMessage(tr("That is more than can be copied; Export writes all of it."),
                                   kMessageTime);
        emit Finished();
      });
}

void MainWindow::Find(const QString& wanted, bool forward) {
  if (wanted.isEmpty() || cells_ == nullptr) return;
  auto found = std::make_shared<std::optional<CellPlace>>();
  Run(
      tr("Looking for \"%1\"").arg(wanted),
      [this, found, wanted, forward, from = sheet_->Place(), cells = cells_] {
        *found = FindText(*cells, wanted, from, forward, JobReport());
      },
      [this, found, wanted] {
        if (*found)
          sheet_->GoTo(**found);
        else
          statusBar()->showMessage(tr("\"%1\" was not found.").arg(wanted), kMessageTime);
        emit Finished();
      });
}

void MainWindow::GoTo() {
  bool ok = false;
  const QString text = QInputDialog::getText(this, tr("Go to cell"), tr("&Row, column:"),
                                             QLineEdit::Normal, {}, &ok);
  if (!ok) return;
  if (const auto place = ParsePlace(text))
    sheet_->GoTo(*place);
  else
    statusBar()->showMessage(tr("A cell is given as its row and column, such as 12, 3."),
                             kMessageTime);
}

void MainWindow::ChooseExport() {
  const std::vector<ExportKind> kinds = ExportKinds();
  QStringList filters;
  for (const ExportKind& kind : kinds) filters.push_back(kind.filter);
  QFileDialog dialog(this, tr("Export"));
  dialog.setAcceptMode(QFileDialog::AcceptSave);
  dialog.setNameFilters(filters);
  const QFileInfo input(FromBytes(last_.files.front()));
  dialog.setDirectory(input.absolutePath());
  dialog.selectFile(input.completeBaseName());
  const auto take_suffix = [&](const QString& filter) {
    const auto kind = static_cast<std::size_t>(std::max<qsizetype>(filters.indexOf(filter), 0));
    dialog.setDefaultSuffix(FromBytes(kinds[kind].format.extension).mid(1));
  };
  take_suffix(filters.front());
  connect(&dialog, &QFileDialog::filterSelected, this, take_suffix);
  if (dialog.exec() != QDialog::Accepted) return;
  const auto kind = static_cast<std::size_t>(
      std::max<qsizetype>(filters.indexOf(dialog.selectedNameFilter()), 0));
  ExportTo(dialog.selectedFiles().front(), kind);
}

void MainWindow::ExportTo(const QString& path, std::size_t kind) {
  if (cells_ == nullptr || library_.busy()) return;
  const auto fitting = KindFor(path, kind);
  if (!fitting)
    return ShowTrouble(this,
                       {tr("No kind of file that can be written has such a name."),
                        {},
                        path,
                        tr("End the name as the list of types says, with .csv for instance.")});
  auto result = std::make_shared<ExportResult>();
  Run(
      tr("Writing %1").arg(QFileInfo(path).fileName()),
      [this, result, kind = ExportKinds()[*fitting], path = Paths({path}).front(), cells = cells_] {
        *result = Export(*cells, path, kind, library_.progress());
      },
      [this, result, path] {
        if (result->trouble)
          ShowTrouble(this, *result->trouble);
        else
          statusBar()->showMessage(
              result->written ? tr("%1 is written.").arg(path) : tr("Nothing was written."),
              kMessageTime);
        for (const QString& note : result->notes) notes_->addItem(tr("Written: %1").arg(note));
        emit Finished();
      });
}

void MainWindow::SavePlot() {
  QFileDialog dialog(this, tr("Save plot"));
  dialog.setAcceptMode(QFileDialog::AcceptSave);
  dialog.setNameFilters({"PNG (*.png)", "SVG (*.svg)", "PDF (*.pdf)"});
  dialog.setDefaultSuffix("png");
  connect(&dialog, &QFileDialog::filterSelected, this,
          [&](const QString& filter) { dialog.setDefaultSuffix(filter.left(3).toLower()); });
  dialog.selectFile(QFileInfo(FromBytes(last_.files.front())).completeBaseName());
  if (dialog.exec() != QDialog::Accepted) return;
  SavePlotTo(dialog.selectedFiles().front());
}

void MainWindow::SavePlotTo(const QString& path) {
  auto failure = std::make_shared<QString>();
  Run(
      tr("Drawing %1").arg(QFileInfo(path).fileName()),
      [this, failure, path, picture = plot_->Picture(plot_->size())] {
        *failure = picture.Write(path, {}, JobReport());
      },
      [this, failure, path] {
        if (!failure->isEmpty())
          ShowTrouble(this, {*failure, {}, path, tr("Choose another place or another type.")});
        else
          statusBar()->showMessage(library_.progress().stopped() ? tr("Nothing was written.")
                                                                 : tr("%1 is written.").arg(path),
                                   kMessageTime);
        emit Finished();
      });
}

void MainWindow::ShowRecent() {
  recent_->clear();
  for (const QString& entry : Settings().value(kRecent).toStringList()) {
    const QStringList files = entry.split('\n');
    const std::vector<std::string> paths = Paths(files);
    const bool is_there = std::ranges::all_of(paths, [](const std::string& path) {
      return QFile::exists(QFile::decodeName(path.c_str()));
    });
    QString name = tr("%1 in %2").arg(NameOf(paths), QFileInfo(files.front()).path());
    if (!is_there) name = tr("%1 (gone)").arg(name);
    QAction* const action = recent_->addAction(name.replace('&', "&&"));
    action->setEnabled(is_there);
    action->setToolTip(entry);
    action->setStatusTip(files.front());
    connect(action, &QAction::triggered, this, [this, files] { OpenFiles(files); });
  }
  if (recent_->isEmpty()) recent_->addAction(tr("None yet"))->setEnabled(false);
}

void MainWindow::Remember(const std::vector<std::string>& files) {
  QStringList paths;
  for (const std::string& file : files)
    paths.push_back(QFileInfo(QFile::decodeName(file.c_str())).absoluteFilePath());
  const QString entry = paths.join('\n');
  QSettings settings = Settings();
  QStringList recent = settings.value(kRecent).toStringList();
  recent.removeAll(entry);
  recent.push_front(entry);
  settings.setValue(kRecent, recent.mid(0, kMostRecent));
  settings.setValue(kFolder, QFileInfo(paths.front()).path());
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls() && !library_.busy()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
  QStringList paths;
  for (const QUrl& url : event->mimeData()->urls())
    if (url.isLocalFile()) paths.push_back(url.toLocalFile());
  event->acceptProposedAction();
  // The program that they come from waits for the drop to end.
  QTimer::singleShot(0, this, [this, paths] { OpenFiles(paths); });
}

void MainWindow::closeEvent(QCloseEvent* event) {
  QSettings settings = Settings();
  settings.setValue(kGeometry, saveGeometry());
  settings.setValue(kPanes, saveState());
  settings.setValue(kSplit, findChild<QSplitter*>(kSplit)->saveState());
  library_.progress().Stop();
  for (QDialog* question : findChildren<QDialog*>()) question->reject();
  event->accept();
}

}  // namespace nvimport
