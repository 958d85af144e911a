#include "apps/desktop/Page.h"

#include <QItemSelectionModel>
#include <QLocale>
#include <utility>

#include "apps/desktop/CurvesPlottable.h"
#include "apps/desktop/FileNames.h"

namespace nvimport {

Page::Page() {
  sheet_ = new SheetView;
  plot_ = new SpectraPlot;
  for (QWidget* part : std::initializer_list<QWidget*>{sheet_, plot_}) {
    part->setMinimumWidth(200);
    addWidget(part);
  }
  setSizes({1, 1});
  setChildrenCollapsible(false);
  connect(sheet_, &SheetView::AllRowsShown, this, [this] { rows_ = {}; });
  connect(sheet_, &SheetView::SelectionChanged, this, &Page::EmphasizeSelected);
  connect(plot_, &SpectraPlot::CurveClicked, this, [this](int line) {
    sheet_->SelectLine(line, plot_->curves()->spectra ? Qt::Vertical : Qt::Horizontal);
  });
}

void Page::Show(OpenResult result) {
  read_ = std::move(result);
  choice_ = read_.again.database ? PlotChoice() : KeptChoice(read_.again.files.front());
  written_.clear();
  rows_ = {};
  others_.clear();
  look_ = {};
  curves_.reset();
  plot_->SetCurves(nullptr);
  sheet_->SetSheet(read_.sheet, read_.again.text.value_or(TextReading()));
}

void Page::SetCurves(const Plotted& plotted) {
  curves_ = plotted.all;
  plot_->SetCurves(plotted.seen);
  EmphasizeSelected();
}

void Page::Choose(const PlotChoice& choice) {
  choice_ = choice;
  curves_.reset();
  if (!read_.again.database) KeepChoice(read_.again.files.front(), choice);
}

std::function<Page::Plotted(const Report& report)> Page::MakingCurves() const {
  return [sheet = read_.sheet, marks = read_.marks, description = read_.description,
          choice = choice_, look = look_, others = others_,
          curves = curves_](const Report& report) {
    Plotted plotted{curves, curves};
    if (curves == nullptr) {
      plotted.all = std::make_shared<const Curves>(
          TakeCurves(*sheet, marks, report, description.get(), choice));
      plotted.seen = plotted.all;
    }
    if (plotted.all->complete && !others.empty())
      plotted.seen = std::make_shared<const Curves>(Overlaid(*plotted.all, others, look, report));
    else if (plotted.all->complete && !look.IsPlain())
      plotted.seen = std::make_shared<const Curves>(LookAt(*plotted.all, look, report));
    return plotted;
  };
}

void Page::ShowRows(const RowChoice& choice, std::vector<int> rows) {
  rows_ = choice;
  shown_rows_ = rows.size() - (sheet_->has_names() && !rows.empty() ? 1 : 0);
  sheet_->ShowRows(
      choice == RowChoice() ? nullptr : std::make_shared<const std::vector<int>>(std::move(rows)));
}

QString Page::name() const { return NameOf(read_.again.files); }

QString Page::state() const {
  const QLocale locale;
  return tr("%1 rows, %2 columns - %3")
      .arg(locale.toString(read_.sheet->GetNumberOfRows()),
           locale.toString(read_.sheet->GetNumberOfColumns()),
           read_.kept_rules ? tr("%1, by the kept rules").arg(read_.format) : read_.format);
}

QStringList Page::Notes() const {
  QStringList notes;
  for (const QString& text : read_.warnings) notes.push_back(tr("Warning: %1").arg(text));
  notes += read_.left + read_.notes;
  if (notes.isEmpty()) notes.push_back(tr("Nothing was left out."));
  for (const QString& text : written_) notes.push_back(tr("Written: %1").arg(text));
  return notes;
}

QStringList Page::Lacking() const {
  constexpr int kMost = 2;
  const QStringList all = read_.warnings + read_.left + read_.notes;
  QStringList lines = all.mid(0, kMost);
  if (all.size() > kMost) lines.push_back(tr("%1 more in the notes").arg(all.size() - kMost));
  const Curves* const curves = plot_->curves();
  const std::size_t one_of = curves != nullptr ? CurvesPlottable::OneOf(curves->size()) : 1;
  if (one_of > 1)
    lines.push_back(tr("The plot shows one of %1 curves; those that are selected are drawn.")
                        .arg(static_cast<qulonglong>(one_of)));
  if (!look_.IsPlain())
    lines.push_back(
        tr("The plot is changed for looking only, the sheet is not: %1.").arg(look_.Words()));
  if (!others_.empty()) {
    QStringList files;
    for (const OtherCurves& other : others_) files.push_back(other.file);
    lines.push_back(tr("The plot has the curves of %1 besides.").arg(files.join(", ")));
  }
  if (rows_ != RowChoice())
    lines.push_back(
        tr("The rows are chosen for looking only: %1.")
            .arg(rows_.Words(shown_rows_, read_.sheet->GetNumberOfRows() - sheet_->has_names())));
  return lines;
}

void Page::EmphasizeSelected() {
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

}  // namespace nvimport
