#pragma once

#include <QMainWindow>
#include <memory>
#include <optional>
#include <vector>

#include "apps/desktop/Exporter.h"
#include "apps/desktop/Import.h"
#include "apps/desktop/Jobs.h"
#include "apps/desktop/Opener.h"
#include "apps/desktop/Page.h"
#include "apps/desktop/Pages.h"
#include "apps/desktop/PlotOutput.h"
#include "apps/desktop/Plotter.h"
#include "apps/desktop/SheetWork.h"
#include "apps/desktop/WindowDialogs.h"

class QListWidget;
class QStackedWidget;

namespace nvimport {

class Banner;
class DescriptionPanel;
class FindBar;
class Menus;

// The window: pages with what was read of files, and the parts that do something with them.
class MainWindow : public QMainWindow {
  Q_OBJECT
 public:
  MainWindow();
  ~MainWindow() override;

  // Reads the files as one selection, whatever their type, or as chosen under a filter of the open
  // dialog (from 0), which is remembered. They get a page, unless they have one.
  void OpenFiles(const QStringList& paths, std::optional<int> filter = std::nullopt) {
    opener_->OpenFiles(paths, filter);
  }
  // Reads each of them for itself, one after the other.
  void OpenEach(const QStringList& paths) { opener_->OpenEach(paths); }
  // The same for each that can be read in folders; files alone are one selection.
  void OpenDropped(const QStringList& paths) { opener_->OpenDropped(paths); }
  // What follows is done with the page that is seen.
  void ImportAgain() { opener_->ReadAgain(page()->read()); }
  // Writes the sheet, or what is selected of it under its names; the kind is a position in
  // ExportKinds(), unless the name says another.
  void ExportTo(const QString& path, std::size_t kind, bool only_selected = false);
  void SavePlotTo(const QString& path, QSize size = {},
                  int resolution = PlotPicture::kUsualResolution) {
    output_->SaveTo(*page(), path, size, resolution);
  }
  void CopySelection(bool with_names = false) { sheets_->Copy(with_names); }
  void CopyPlot() { output_->Copy(*page()); }
  void Find(const QString& wanted, bool forward) { sheets_->Find(wanted, forward); }
  void DrawAs(const PlotChoice& choice) { plotter_->DrawAs(choice); }
  void LookAs(const Look& look) { plotter_->LookAs(look); }
  void OverlayWith(std::vector<OtherCurves> others) { plotter_->OverlayWith(std::move(others)); }
  void ShowRows(const RowChoice& choice) { sheets_->ShowRows(choice); }
  void ClosePage(int index) { pages_->Close(index); }

  // Null for none.
  Page* page() const { return pages_->current(); }
  Pages& pages() { return *pages_; }
  SheetView& sheet() { return page()->sheet(); }
  SpectraPlot& plot() { return page()->plot(); }
  Exporter& exporter() { return *exporter_; }
  LibraryThread& library() { return jobs_->library(); }

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
  void MakeCenter();
  void MakePanels();
  void Connect();
  // Gives what was read its page.
  void Show(OpenResult result);
  // What the window shows of the page that is seen.
  void ShowPage();

  Jobs* jobs_;
  WindowDialogs dialogs_;
  Pages* pages_;
  Opener* opener_;
  SheetWork* sheets_;
  Plotter* plotter_;
  PlotOutput* output_;
  Exporter* exporter_;
  Menus* menus_;
  QStackedWidget* center_;
  QListWidget* notes_;
  DescriptionPanel* description_;
  std::shared_ptr<const Description> described_;  // what that shows
  Banner* banner_;
  FindBar* find_bar_;
};

}  // namespace nvimport
