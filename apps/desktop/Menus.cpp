#include "apps/desktop/Menus.h"

#include <QApplication>
#include <QDockWidget>
#include <QMainWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QSignalBlocker>
#include <QStyle>
#include <QToolBar>
#include <utility>

#include "apps/desktop/Exporter.h"
#include "apps/desktop/FindBar.h"
#include "apps/desktop/LookMenu.h"
#include "apps/desktop/Opener.h"
#include "apps/desktop/Page.h"
#include "apps/desktop/Pages.h"
#include "apps/desktop/PlotOutput.h"
#include "apps/desktop/Plotter.h"
#include "apps/desktop/RecentFiles.h"
#include "apps/desktop/SheetWork.h"
#include "nvimport/hosting/import/DatabaseSource.h"

namespace nvimport {

namespace {

void ShowAbout(QWidget& window) {
  QMessageBox::about(
      &window, QObject::tr("About %1").arg(QApplication::applicationDisplayName()),
      QObject::tr(
          "%1 %2 reads tables and spectra out of the files that spreadsheets, spectrometers, "
          "chromatographs and process tools leave behind.\n\nThis window uses Qt and QCustomPlot; "
          "the latter places the program as a whole under the GNU General Public License, "
          "version 3 or later. The library has a licence of its own.")
          .arg(QApplication::applicationDisplayName(), QApplication::applicationVersion()));
}

}  // namespace

Menus::Menus(QMainWindow& window, const Parts& parts)
    : QObject(&window), window_(window), parts_(parts) {
  MakeFile();
  MakeEdit();
  MakeView();
  MakeHelpAndTools();
}

Page& Menus::page() const { return *parts_.pages.current(); }

void Menus::Update(bool idle) {
  const bool has_page = parts_.pages.current() != nullptr;
  recent_->setEnabled(idle);
  kept_rules_->setEnabled(idle);
  close_->setEnabled(has_page);
  look_->setEnabled(idle && has_page);
  overlays_->setEnabled(idle && has_page);
  for (QAction* action : {again_, choose_}) action->setEnabled(idle && has_page);
  for (QAction* action : for_sheet_) action->setEnabled(idle && has_page);
}

void Menus::Mark(const Page& page) {
  const QSignalBlocker quiet(reverse_);
  reverse_->setChecked(page.plot().xAxis->rangeReversed());
  look_->Mark(page.look());
}

void Menus::Serve(const Page& page) {
  for (QWidget* part : std::initializer_list<QWidget*>{&page.sheet(), &page.plot()})
    part->setContextMenuPolicy(Qt::ActionsContextMenu);
  for (QAction* action : of_sheet_) page.sheet().addAction(action);
  for (QAction* action : of_plot_) page.plot().addAction(action);
}

bool Menus::shows_sheet() const { return shows_sheet_->isChecked(); }
bool Menus::shows_plot() const { return shows_plot_->isChecked(); }
bool Menus::fits() const { return fits_->isChecked(); }

void Menus::Write(bool only_selected) {
  if (const auto parts = parts_.sheets.PartsToWrite(only_selected))
    parts_.exporter.Choose(page(), *parts);
}

QAction* Menus::Add(QMenu& menu, const QString& text, const QKeySequence& keys,
                    std::function<void()> does) {
  QAction* const action = menu.addAction(text);
  action->setShortcut(keys);
  connect(action, &QAction::triggered, this, std::move(does));
  return action;
}

QAction* Menus::AddForSheet(QMenu& menu, const QString& text, const QKeySequence& keys,
                            std::function<void()> does) {
  for_sheet_.push_back(Add(menu, text, keys, std::move(does)));
  return for_sheet_.back();
}

void Menus::MakeFile() {
  QMenu& file = *window_.menuBar()->addMenu(tr("&File"));
  open_ = Add(file, tr("&Open..."), QKeySequence::Open,
              [this] { parts_.opener.Choose(/*each=*/false); });
  open_->setIcon(window_.style()->standardIcon(QStyle::SP_DialogOpenButton));
  Add(file, tr("Open eac&h..."), Qt::CTRL | Qt::SHIFT | Qt::Key_O, [this] {
    parts_.opener.Choose(/*each=*/true);
  })->setToolTip(tr("Opens files that are no one selection, each in a tab"));
  recent_ = new RecentFiles(
      tr("Open &recent"), [this](const QStringList& files) { parts_.opener.OpenFiles(files, {}); });
  recent_->setParent(&file, recent_->windowFlags());
  file.addMenu(recent_);
  QAction* const database =
      Add(file, tr("Import from &database..."), {}, [this] { parts_.opener.ChooseDatabase(); });
  if (!DatabaseSource::IsServed()) {
    database->setEnabled(false);
    database->setToolTip(tr("The package nvimport-odbc reads databases"));
    file.setToolTipsVisible(true);
  }
  again_ = Add(file, tr("&Import again"), Qt::Key_F5,
               [this] { parts_.opener.ReadAgain(page().read()); });
  again_->setIcon(window_.style()->standardIcon(QStyle::SP_BrowserReload));
  again_->setToolTip(tr("Reads the file once more with the answers given before (F5)"));
  choose_ = Add(file, tr("Choose a&gain..."), Qt::CTRL | Qt::Key_F5,
                [this] { parts_.opener.ChooseAgain(page().read()); });
  choose_->setToolTip(tr("Reads the file once more and asks what to take of it, and how"));
  kept_rules_ = file.addAction(tr("Read by the &kept rules"));
  kept_rules_->setCheckable(true);
  kept_rules_->setToolTip(
      tr("Reads files as years ago: without the cells that were left out then, and with numbers of "
         "32 bits"));
  kept_rules_->setChecked(parts_.opener.kept_rules());
  connect(kept_rules_, &QAction::toggled, this, [this](bool kept) {
    parts_.opener.SetKeptRules(kept);
    if (parts_.pages.current() != nullptr) parts_.opener.ReadAgain(page().read());
  });
  file.addSeparator();
  write_ = AddForSheet(file, tr("&Export..."), QKeySequence::Save,
                       [this] { Write(/*only_selected=*/false); });
  QAction* const write_part =
      AddForSheet(file, tr("Export &selection..."), Qt::CTRL | Qt::SHIFT | Qt::Key_S,
                  [this] { Write(/*only_selected=*/true); });
  write_->setIcon(window_.style()->standardIcon(QStyle::SP_DialogSaveButton));
  QAction* const save = AddForSheet(file, tr("Save &plot..."), Qt::CTRL | Qt::Key_P,
                                    [this] { parts_.output.Save(page()); });
  QAction* const print = AddForSheet(file, tr("Prin&t plot..."), Qt::CTRL | Qt::SHIFT | Qt::Key_P,
                                     [this] { parts_.output.Print(page()); });
  file.addSeparator();
  close_ = Add(file, tr("&Close"), QKeySequence::Close,
               [this] { parts_.pages.Close(parts_.pages.currentIndex()); });
  Add(file, tr("&Quit"), QKeySequence::Quit, [this] { window_.close(); });
  writing_ = {write_, write_part};
  drawing_ = {save, print};
}

void Menus::MakeEdit() {
  QMenu& edit = *window_.menuBar()->addMenu(tr("&Edit"));
  QAction* const copy = AddForSheet(edit, tr("&Copy"), QKeySequence::Copy,
                                    [this] { parts_.sheets.Copy(/*with_names=*/false); });
  QAction* const copy_named =
      AddForSheet(edit, tr("Copy with &names of columns"), Qt::CTRL | Qt::SHIFT | Qt::Key_C,
                  [this] { parts_.sheets.Copy(/*with_names=*/true); });
  copy_plot_ = AddForSheet(edit, tr("Copy p&lot"), Qt::CTRL | Qt::ALT | Qt::Key_C,
                           [this] { parts_.output.Copy(page()); });
  QAction* const select_all = AddForSheet(edit, tr("Select &all"), QKeySequence::SelectAll,
                                          [this] { page().sheet().selectAll(); });
  edit.addSeparator();
  find_ =
      AddForSheet(edit, tr("&Find..."), QKeySequence::Find, [this] { parts_.find_bar.Begin(); });
  AddForSheet(edit, tr("Find &next"), QKeySequence::FindNext, [this] { parts_.find_bar.Next(); });
  AddForSheet(edit, tr("Find pre&vious"), QKeySequence::FindPrevious,
              [this] { parts_.find_bar.Previous(); });
  go_to_ = AddForSheet(edit, tr("&Go to cell..."), Qt::CTRL | Qt::Key_G,
                       [this] { parts_.sheets.GoTo(); });

  edit.addSeparator();
  QAction* const rises = AddForSheet(edit, tr("Sort by this column, &rising"), {},
                                     [this] { parts_.sheets.Sort(/*falls=*/false); });
  QAction* const falls = AddForSheet(edit, tr("Sort by this column, fallin&g"), {},
                                     [this] { parts_.sheets.Sort(/*falls=*/true); });
  QAction* const filter =
      AddForSheet(edit, tr("Only ro&ws with..."), Qt::CTRL | Qt::SHIFT | Qt::Key_F,
                  [this] { parts_.sheets.ChooseRows(); });
  QAction* const every = AddForSheet(edit, tr("All rows, &in their order"), {},
                                     [this] { parts_.sheets.ShowRows({}); });
  of_sheet_ = {copy, copy_named, select_all, find_, go_to_, rises, falls, filter, every};
  of_sheet_.insert(of_sheet_.end(), writing_.begin(), writing_.end());
}

void Menus::MakeView() {
  QMenu& view = *window_.menuBar()->addMenu(tr("&View"));
  const auto add_toggle = [&](const QString& text) {
    QAction* const toggle = view.addAction(text);
    toggle->setCheckable(true);
    toggle->setChecked(true);
    connect(toggle, &QAction::toggled, this, &Menus::Changed);
    return toggle;
  };
  shows_sheet_ = add_toggle(tr("&Sheet"));
  shows_plot_ = add_toggle(tr("&Plot"));
  for (const char* panel : {"notes", "description"})
    view.addAction(window_.findChild<QDockWidget*>(panel)->toggleViewAction());
  view.addSeparator();
  reverse_ = AddForSheet(view, tr("&Reverse x axis"), Qt::CTRL | Qt::Key_R, [] {});
  reverse_->setCheckable(true);
  connect(reverse_, &QAction::toggled, this,
          [this](bool reversed) { page().plot().SetReversed(reversed); });
  whole_ = AddForSheet(view, tr("Show &all of the plot"), Qt::CTRL | Qt::Key_0,
                       [this] { page().plot().ShowAll(); });
  fits_ = AddForSheet(view, tr("Fit &y to what is seen"), Qt::CTRL | Qt::Key_Y, [] {});
  fits_->setCheckable(true);
  connect(fits_, &QAction::toggled, this, [this](bool fits) { page().plot().SetFitting(fits); });
  QAction* const back = AddForSheet(view, tr("&Back to what was seen"), QKeySequence::Back,
                                    [this] { page().plot().GoBack(); });
  QAction* const forward = AddForSheet(view, tr("For&ward"), QKeySequence::Forward,
                                       [this] { page().plot().GoForward(); });
  look_ = new LookMenu(tr("For l&ooking only"));
  look_->setParent(&view, look_->windowFlags());
  view.addMenu(look_);
  connect(look_, &LookMenu::Chosen, &parts_.plotter, &Plotter::LookAs);
  overlays_ = view.addMenu(tr("O&verlay with"));
  connect(overlays_, &QMenu::aboutToShow, this,
          [this] { parts_.plotter.ListOverlays(*overlays_); });
  settings_ = AddForSheet(view, tr("P&lot settings..."), Qt::CTRL | Qt::Key_L,
                          [this] { parts_.plotter.Choose(); });
  of_plot_ = {whole_, back, forward, fits_, reverse_, look_->menuAction(), settings_, copy_plot_};
  of_plot_.insert(of_plot_.end(), drawing_.begin(), drawing_.end());
}

void Menus::MakeHelpAndTools() {
  QMenu& help = *window_.menuBar()->addMenu(tr("&Help"));
  Add(help, tr("&About"), {}, [this] { ShowAbout(window_); });

  QToolBar& tools = *window_.addToolBar(tr("Tools"));
  tools.setObjectName("tools");
  tools.setMovable(false);
  tools.setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  for (QAction* action : {open_, again_, write_}) tools.addAction(action);
  tools.addSeparator();
  for (QAction* action : {find_, go_to_, reverse_, whole_, settings_}) tools.addAction(action);
}

}  // namespace nvimport
