#pragma once

#include <QMainWindow>
#include <deque>
#include <functional>
#include <optional>
#include <vector>

#include "apps/desktop/Banner.h"
#include "apps/desktop/DescriptionPanel.h"
#include "apps/desktop/Exporter.h"
#include "apps/desktop/FindBar.h"
#include "apps/desktop/Import.h"
#include "apps/desktop/Jobs.h"
#include "apps/desktop/LookMenu.h"
#include "apps/desktop/Page.h"
#include "apps/desktop/WindowDialogs.h"

class QListWidget;
class QStackedWidget;
class QTabWidget;

namespace nvimport {

// The window: pages with what was read of files, and what can be done with them.
class MainWindow : public QMainWindow {
  Q_OBJECT
 public:
  MainWindow();
  ~MainWindow() override;

  // Reads the files as one selection, whatever their type, or as chosen under a filter of the open
  // dialog (from 0), which is remembered. They get a page, unless they have one.
  void OpenFiles(const QStringList& paths, std::optional<int> filter = std::nullopt);
  // Reads each of them for itself, one after the other.
  void OpenEach(const QStringList& paths);
  // The same for each that can be read in folders; files alone are one selection.
  void OpenDropped(const QStringList& paths);
  void ImportAgain();
  // Writes the sheet, or what is selected of it under its names; the kind is a position in
  // ExportKinds(), unless the name says another.
  void ExportTo(const QString& path, std::size_t kind, bool only_selected = false);
  // Draws the plot into a file of the kind that its name says.
  // In the size that is seen where none is given.
  void SavePlotTo(const QString& path, QSize size = {},
                  int resolution = PlotPicture::kUsualResolution);
  // With the names of the columns, where they are not among it.
  void CopySelection(bool with_names = false);
  // As a picture, or as SVG, whichever the program takes that it is pasted into.
  void CopyPlot();
  void Find(const QString& wanted, bool forward);
  // Draws the sheet so, now and when the file is opened again.
  void DrawAs(const PlotChoice& choice);
  // Has the plot looked at so.
  void LookAs(const Look& look);
  // Has the curves of other pages seen over those of this one.
  void OverlayWith(std::vector<OtherCurves> others);
  // Has these rows looked at, in that order.
  void ShowRows(const RowChoice& choice);
  void ClosePage(int index);

  // What is selected, under the names of its columns if `with_names`; none where that is nothing.
  std::vector<CellRange> Selected(bool with_names);
  // The page that is seen, null for none.
  Page* page() const;
  QTabWidget& pages() { return *pages_; }
  SheetView& sheet() { return page()->sheet(); }
  SpectraPlot& plot() { return page()->plot(); }
  LibraryThread& library() { return jobs_->library(); }
  Exporter& exporter() { return *exporter_; }

 signals:
  // An import has ended, and what it brought is shown.
  void Imported(bool done);
  // Anything else that took a while has.
  void Finished();

 protected:
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  void closeEvent(QCloseEvent* event) override;

 private:
  void MakePanels();
  void MakeActions();
  QAction* Add(QMenu& menu, const QString& text, const QKeySequence& keys,
               std::function<void()> does);
  // An action that needs a sheet and an idle library.
  QAction* AddForSheet(QMenu& menu, const QString& text, const QKeySequence& keys,
                       std::function<void()> does);

  void ChooseFiles(bool each);
  void ChooseAgain();
  // None, which the user is told, where what is selected can't be written.
  std::optional<std::vector<CellRange>> PartsToWrite(bool only_selected);
  void ChooseExport(bool only_selected);
  void ChoosePlot();
  void SavePlot();
  void PrintPlot();
  void GoTo();
  void ChooseRows();
  // Lists the pages whose curves can be seen over these.
  void ListOverlays();
  void About();

  void Start(const OpenRequest& request, bool remembers);
  void Show(OpenResult result, bool remembers);
  // The one for a selection, a new one where there is none.
  Page& PageFor(const std::vector<std::string>& files);
  void OpenNext();
  void PrepareCurves(Page* page);
  // What the window shows of the page that is seen.
  void ShowPage();
  void UpdateActions();

  Jobs* jobs_;
  Exporter* exporter_;
  WindowDialogs dialogs_;
  QStackedWidget* center_;
  QTabWidget* pages_;
  QListWidget* notes_;
  DescriptionPanel* description_;
  std::shared_ptr<const Description> described_;  // what that shows
  Banner* banner_;
  FindBar* find_bar_;
  QMenu* recent_;
  QAction* open_;
  QAction* again_;
  QAction* choose_;
  QAction* close_;
  QAction* reverse_;
  QAction* fits_;
  LookMenu* look_;
  QMenu* overlays_;
  std::vector<QAction*> of_sheet_;  // of the menu that opens there
  std::vector<QAction*> of_plot_;
  QAction* kept_rules_;
  QAction* shows_sheet_;
  QAction* shows_plot_;
  std::vector<QAction*> for_sheet_;
  std::deque<QString> queue_;  // of files to open
};

}  // namespace nvimport
