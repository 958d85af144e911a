#include "apps/desktop/PlotChoiceDialog.h"

#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

#include "apps/desktop/SheetText.h"
#include "nvimport/framework/MemorySheet.h"

namespace nvimport {

namespace {

// Of rows, columns and curves, those that are listed.
constexpr int kMostListed = 2000;
constexpr int kMostXRows = 20;

class PlotChoicePage : public QDialog {
 public:
  PlotChoicePage(QWidget* parent, MemorySheet& sheet, const Curves& curves,
                 const PlotChoice& choice)
      : QDialog(parent), sheet_(sheet), choice_(choice) {
    setWindowTitle(tr("Plot settings"));
    auto* const form = new QFormLayout;
    const auto add = [&](const QString& label, auto* field) {
      form->addRow(label, field);
      return field;
    };
    curves_ = add(tr("&Curves:"), new QComboBox);
    curves_->addItems({tr("as guessed: %1").arg(curves.spectra ? tr("rows") : tr("columns")),
                       tr("rows, such as spectra"), tr("columns, such as series")});
    curves_->setCurrentIndex(static_cast<int>(choice.curves));
    guessed_rows_ = curves.spectra;
    x_ = add(tr("&x values:"), new QComboBox);
    marks_ = add(tr("&Drawn as:"), new QComboBox);
    marks_->addItems({tr("as guessed"), tr("lines"), tr("points"), tr("sticks, such as peaks")});
    marks_->setCurrentIndex(static_cast<int>(choice.marks));
    x_title_ = add(tr("Title of x a&xis:"), new QLineEdit(choice.x_title));
    x_title_->setPlaceholderText(curves.x_title);
    y_title_ = add(tr("Title of y &axis:"), new QLineEdit(choice.y_title));
    y_title_->setPlaceholderText(curves.y_title);
    lines_ = add(tr("&Shown:"), new QListWidget);
    lines_->setAccessibleName(tr("Shown"));
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    auto* const layout = new QVBoxLayout(this);
    layout->addLayout(form);
    // Among the box's own, from the first of which Tab leads back to the top, it would hide those.
    auto* const restore = new QPushButton(tr("All as &guessed"));
    restore->setAutoDefault(false);
    layout->addWidget(restore, 0, Qt::AlignLeft);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(restore, &QPushButton::clicked, this, [this] {
      choice_ = {};
      curves_->setCurrentIndex(0);
      marks_->setCurrentIndex(0);
      x_title_->clear();
      y_title_->clear();
      Fill();
    });
    connect(curves_, &QComboBox::currentIndexChanged, this, [this] {
      choice_.x = 0;
      choice_.lines.clear();
      Fill();
    });
    Fill();
    curves_->setFocus();
  }

  PlotChoice answer() const {
    PlotChoice choice;
    choice.curves = static_cast<PlotChoice::Curves>(curves_->currentIndex());
    choice.x = x_->currentData().toInt();
    choice.marks = static_cast<PlotChoice::Marks>(marks_->currentIndex());
    choice.x_title = x_title_->text();
    choice.y_title = y_title_->text();
    for (int i = 0; i < lines_->count(); ++i)
      if (lines_->item(i)->checkState() == Qt::Checked) choice.lines.push_back(i + 1);
    // All of them are none in particular.
    if (static_cast<int>(choice.lines.size()) == lines_->count()) choice.lines.clear();
    return choice;
  }

 private:
  bool AreRows() const {
    return curves_->currentIndex() == 0 ? guessed_rows_ : curves_->currentIndex() == 1;
  }

  // What a row or column is called in lists.
  QString NameOf(int line) const {
    const bool rows = AreRows();
    const int most = rows ? std::min(sheet_.GetNumberOfColumns(), 3) : 1;
    QStringList texts;
    for (int i = 1; i <= most; ++i)
      if (const QString text = Shown(rows ? sheet_.GetCell(i, line) : sheet_.GetCell(line, i));
          !text.isEmpty())
        texts.push_back(text.left(40));
    return tr(rows ? "row %1: %2" : "column %1: %2").arg(line).arg(texts.join(", "));
  }

  void Fill() {
    const bool rows = AreRows();
    const int count =
        std::min(rows ? sheet_.GetNumberOfRows() : sheet_.GetNumberOfColumns(), kMostListed);
    x_->clear();
    x_->addItem(tr("as guessed"), 0);
    x_->addItem(tr("none: 1, 2, 3..."), PlotChoice::kNumbers);
    for (int line = 1; line <= (rows ? std::min(count, kMostXRows) : count); ++line)
      x_->addItem(NameOf(line), line);
    x_->setCurrentIndex(std::max(x_->findData(choice_.x), 0));
    lines_->clear();
    for (int line = 1; line <= count; ++line) {
      auto* const item = new QListWidgetItem(NameOf(line), lines_);
      const bool shown = choice_.lines.empty() || std::ranges::count(choice_.lines, line) > 0;
      item->setCheckState(shown ? Qt::Checked : Qt::Unchecked);
    }
  }

  MemorySheet& sheet_;
  PlotChoice choice_;
  bool guessed_rows_ = false;
  QComboBox* curves_;
  QComboBox* x_;
  QComboBox* marks_;
  QLineEdit* x_title_;
  QLineEdit* y_title_;
  QListWidget* lines_;
};

}  // namespace

std::optional<PlotChoice> AskPlotChoice(QWidget* parent, MemorySheet& sheet, const Curves& curves,
                                        const PlotChoice& choice) {
  PlotChoicePage page(parent, sheet, curves, choice);
  if (page.exec() != QDialog::Accepted) return std::nullopt;
  return page.answer();
}

}  // namespace nvimport
