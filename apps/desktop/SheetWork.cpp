#include "apps/desktop/SheetWork.h"

#include <QApplication>
#include <QClipboard>
#include <QInputDialog>
#include <QPointer>
#include <utility>

#include "apps/desktop/Jobs.h"
#include "apps/desktop/Page.h"
#include "apps/desktop/Pages.h"

namespace nvimport {

SheetWork::SheetWork(QWidget& window, Jobs& jobs, Pages& pages)
    : QObject(&window), window_(window), jobs_(jobs), pages_(pages) {}

Page* SheetWork::page() const { return pages_.current(); }

std::vector<CellRange> SheetWork::Selected(bool with_names) const {
  auto parts = page()->sheet().Selected();
  if (with_names && !parts.empty() && parts.front().first_row > 1)
    parts.insert(parts.begin(),
                 CellRange{1, 1, parts.front().first_column, parts.front().last_column});
  return parts;
}

void SheetWork::Copy(bool with_names) {
  const auto parts = Selected(with_names);
  if (parts.empty()) return jobs_.Tell(tr("Cells of the same columns can be copied together."));
  jobs_.Run(
      tr("Copying"),
      [report = jobs_.Reporting(), parts, cells = page()->read().sheet] {
        return TabSeparated(*cells, parts, report);
      },
      [this](const QString& text) {
        if (!text.isEmpty())
          QApplication::clipboard()->setText(text);
        else if (!jobs_.stopped())
          jobs_.Tell(tr("That is more than can be copied; Export writes all of it."));
        emit Finished();
      });
}

void SheetWork::Find(const QString& wanted, bool forward) {
  if (wanted.isEmpty() || page() == nullptr) return;
  jobs_.Run(
      tr("Looking for \"%1\"").arg(wanted),
      [report = jobs_.Reporting(), wanted, forward, from = page()->sheet().Place(),
       cells = page()->read().sheet] { return FindText(*cells, wanted, from, forward, report); },
      [this, wanted, shown = QPointer(page())](std::optional<CellPlace> found) {
        if (!found)
          jobs_.Tell(tr("\"%1\" was not found.").arg(wanted));
        else if (shown != nullptr)
          shown->sheet().GoTo(*found);
        emit Finished();
      });
}

void SheetWork::GoTo() {
  bool ok = false;
  const QString text = QInputDialog::getText(&window_, tr("Go to cell"), tr("&Row, column:"),
                                             QLineEdit::Normal, {}, &ok);
  if (!ok) return;
  if (const auto place = ParsePlace(text))
    page()->sheet().GoTo(*place);
  else
    jobs_.Tell(tr("A cell is given as its row and column, such as 12, 3."));
}

void SheetWork::ChooseRows() {
  bool ok = false;
  const QString wanted =
      QInputDialog::getText(&window_, tr("Only rows with"), tr("&Text or number:"),
                            QLineEdit::Normal, page()->rows().wanted, &ok);
  if (!ok) return;
  RowChoice choice = page()->rows();
  choice.wanted = wanted;
  ShowRows(choice);
}

void SheetWork::ShowRows(const RowChoice& choice) {
  jobs_.Run(
      tr("Choosing rows"),
      [report = jobs_.Reporting(), choice, names = page()->sheet().has_names(),
       marks = page()->read().marks, cells = page()->read().sheet] {
        return ChosenRows(*cells, cells->GetNumberOfColumns(), cells->GetNumberOfRows(), names,
                          marks, choice, report);
      },
      [this, choice, shown = QPointer(page())](std::optional<std::vector<int>> rows) {
        if (shown != nullptr && rows) {
          shown->ShowRows(choice, std::move(*rows));
          emit RowsShown();
        }
        emit Finished();
      });
}

std::optional<std::vector<CellRange>> SheetWork::PartsToWrite(bool only_selected) {
  if (!only_selected) return std::vector<CellRange>();
  auto parts = Selected(page()->sheet().has_names());
  if (!parts.empty()) return parts;
  jobs_.Tell(tr("Cells of the same columns can be written together."));
  return std::nullopt;
}

void SheetWork::Sort(bool falls) {
  RowChoice choice = page()->rows();
  choice.sorted_by = page()->sheet().Place().column;
  choice.falls = falls;
  ShowRows(choice);
}

}  // namespace nvimport
