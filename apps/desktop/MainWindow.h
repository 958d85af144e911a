#pragma once

#include <QElapsedTimer>
#include <QMainWindow>
#include <QTimer>
#include <functional>
#include <memory>

#include "apps/desktop/Curves.h"
#include "apps/desktop/Import.h"
#include "apps/desktop/LibraryThread.h"
#include "apps/desktop/WindowDialogs.h"

class QLabel;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;
class QStackedWidget;

namespace nvimport {

class SheetView;
class SpectraPlot;

// The window: a sheet, its plot and the reader's notes.
class MainWindow : public QMainWindow {
  Q_OBJECT
 public:
  MainWindow();
  ~MainWindow() override;

  // Reads the files as one selection, whatever their type, or as chosen under a filter of the open
  // dialog (from 0), which is remembered.
  void OpenFiles(const QStringList& paths, std::optional<int> filter = std::nullopt);
  void ImportAgain();
  // Writes the sheet; the kind is a position in ExportKinds(), unless the name says another.
  void ExportTo(const QString& path, std::size_t kind);
  // Draws the plot into a file of the kind that its name says.
  void SavePlotTo(const QString& path);
  void CopySelection();
  void Find(const QString& wanted, bool forward);
  // Draws the sheet so, now and when the file is opened again.
  void DrawAs(const PlotChoice& choice);

  SheetView& sheet() { return *sheet_; }
  SpectraPlot& plot() { return *plot_; }
  LibraryThread& library() { return library_; }

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
  void MakeActions();
  void MakeBanner();
  void MakeFindBar();
  void MakeNotes();
  void MakeStatus();
  QAction* Add(QMenu& menu, const QString& text, const QKeySequence& keys,
               std::function<void()> does);
  // An action that needs a sheet, or at least an idle library.
  QAction* AddForSheet(QMenu& menu, const QString& text, const QKeySequence& keys,
                       std::function<void()> does);

  void ChooseFiles();
  void ChooseExport();
  void SavePlot();
  void GoTo();
  void ShowRecent();
  void Remember(const std::vector<std::string>& files);

  void Start(const OpenRequest& request, const QString& label);
  void Show(OpenResult result);
  void ShowNotes(const OpenResult& result);
  // Above the sheet: what is not in it, or not in the plot.
  void ShowBanner();
  void PrepareCurves();
  void ChoosePlot();
  void EmphasizeSelected();
  // Runs a job under a label, then `done`; the status line is afterwards as it was.
  void Run(const QString& label, std::function<void()> job, std::function<void()> done);
  void UpdateActions();
  void ShowProgress();
  Report JobReport();

  LibraryThread library_;
  WindowDialogs dialogs_;
  SheetView* sheet_;
  SpectraPlot* plot_;
  QStackedWidget* pages_;
  QListWidget* notes_;
  QWidget* banner_;
  QLabel* lacking_;
  QPushButton* choose_;
  QStringList left_out_;     // of the sheet
  bool can_choose_ = false;  // some of that
  QWidget* find_bar_;
  QLineEdit* wanted_;
  QMenu* recent_;
  QLabel* state_;
  QProgressBar* bar_;
  QPushButton* stop_;
  QTimer ticks_;
  QElapsedTimer running_;
  QString label_;
  QAction* open_;
  QAction* again_;
  QAction* reverse_;
  QAction* kept_rules_;
  std::vector<QAction*> for_sheet_;
  std::shared_ptr<MemorySheet> cells_;
  std::shared_ptr<const Description> description_;
  OpenRequest last_;
  PlotChoice choice_;
  bool remembers_ = false;  // the type of the file that is being read
  char decimal_mark_ = '.';
};

}  // namespace nvimport
