#pragma once

#include <QSplitter>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "apps/desktop/Import.h"
#include "apps/desktop/Overlay.h"
#include "apps/desktop/PlotChoice.h"
#include "apps/desktop/SheetView.h"
#include "apps/desktop/SpectraPlot.h"

namespace nvimport {

// What was read of one selection of files: its sheet beside its plot.
class Page : public QSplitter {
  Q_OBJECT
 public:
  Page();

  // Shows what was read, without a plot.
  void Show(OpenResult result);
  // Curves as the sheet has them, and as they are looked at.
  struct Plotted {
    std::shared_ptr<const Curves> all;
    std::shared_ptr<const Curves> seen;
  };
  void SetCurves(const Plotted& plotted);
  // What is done to them for looking only.
  void SetLook(const Look& look) { look_ = look; }
  // How the sheet is drawn, now and when the file is opened again.
  void Choose(const PlotChoice& choice);

  // The curves of other files that are seen over them.
  void SetOthers(std::vector<OtherCurves> others) { others_ = std::move(others); }
  const std::vector<OtherCurves>& others() const { return others_; }
  // Which rows the table shows, for looking only.
  void ShowRows(const RowChoice& choice, std::vector<int> rows);
  const RowChoice& rows() const { return rows_; }

  // Work for the library's thread, with all that it takes.
  std::function<Plotted(const Report& report)> MakingCurves() const;

  const OpenResult& read() const { return read_; }
  const PlotChoice& choice() const { return choice_; }
  const Look& look() const { return look_; }
  // As the sheet has them, null while there are none.
  const std::shared_ptr<const Curves>& curves() const { return curves_; }
  SheetView& sheet() const { return *sheet_; }
  SpectraPlot& plot() const { return *plot_; }
  QString name() const;
  // "12 rows, 3 columns - Excel File".
  QString state() const;
  // What was not read, and what may not read back of what was written.
  QStringList Notes() const;
  void TakeNotes(const QStringList& written) { written_ += written; }
  // What is not in the sheet, or not in the plot.
  QStringList Lacking() const;

 private:
  void EmphasizeSelected();

  SheetView* sheet_;
  SpectraPlot* plot_;
  OpenResult read_;
  PlotChoice choice_;
  Look look_;
  std::vector<OtherCurves> others_;
  RowChoice rows_;
  std::size_t shown_rows_ = 0;
  std::shared_ptr<const Curves> curves_;  // as the sheet has them
  QStringList written_;
};

}  // namespace nvimport
