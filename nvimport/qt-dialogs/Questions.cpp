#include "nvimport/qt-dialogs/Questions.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QEventLoop>
#include <QFileInfo>
#include <QFormLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QSpinBox>
#include <QStyle>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <numeric>
#include <utility>

#include "nvimport/qt-dialogs/QuestionDialog.h"
#include "nvimport/qt-dialogs/Text.h"

namespace nvimport {

namespace {

QTreeWidget* AddList(Question& dialog, const QStringList& headings) {
  auto* const list = new QTreeWidget;
  list->setHeaderLabels(headings);
  list->setAccessibleName(headings.front());
  list->setRootIsDecorated(false);
  list->setUniformRowHeights(true);
  list->setAlternatingRowColors(true);
  list->header()->setStretchLastSection(false);
  list->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
  dialog.body->addWidget(list, 1);
  dialog.begin = list;
  return list;
}

// As wide as what it lists, if the screen is.
void Widen(QTreeWidget& list) {
  const int most = list.screen()->availableSize().width() * 3 / 4;
  list.header()->resizeSections(QHeaderView::ResizeToContents);
  const int width = list.header()->length() + 2 * list.frameWidth() +
                    list.style()->pixelMetric(QStyle::PM_ScrollBarExtent);
  list.setMinimumWidth(std::clamp(width, Question::kWidth, std::max(most, Question::kWidth)));
}

QTreeWidgetItem* AddEntry(QTreeWidget& list, const QStringList& texts) {
  auto* const item = new QTreeWidgetItem(&list, texts);
  item->setToolTip(0, texts.front());
  return item;
}

// The entries that are ticked, or the one that is current.
std::vector<std::size_t> Chosen(const QTreeWidget& list, bool only_one) {
  if (only_one)
    return list.currentItem() == nullptr ? std::vector<std::size_t>()
                                         : std::vector{static_cast<std::size_t>(
                                               list.indexOfTopLevelItem(list.currentItem()))};
  std::vector<std::size_t> chosen;
  for (int i = 0; i < list.topLevelItemCount(); ++i)
    if (list.topLevelItem(i)->checkState(0) == Qt::Checked)
      chosen.push_back(static_cast<std::size_t>(i));
  return chosen;
}

// A range of points, drawn over the first spectrum.
class RangePage : public Question {
 public:
  RangePage(QuestionWindow& window, const RangeQuestion& question, RangeView& view,
            const SpectrumReader& first_spectrum)
      : Question(window, FromBytes(question.title),
                 tr("Which points of \"%1\" do you want to import? Drag over the spectrum, or give "
                    "the numbers.")
                     .arg(QFileInfo(FromBytes(question.path)).fileName())),
        question_(question),
        view_(view) {
    view.Widget()->setMinimumSize(560, 260);
    view.ShowAxis(XOf(1), XOf(question.points));
    body->addWidget(view.Widget(), 1);
    auto* const form = new QFormLayout;
    first_ = AddPoint(*form, tr("&First point:"), 1);
    last_ = AddPoint(*form, tr("&Last point:"), question.points);
    body->addLayout(form);
    begin = first_;
    auto* const all = AddButton(tr("&All points"));
    connect(all, &QPushButton::clicked, this, [this] {
      first_->setValue(1);
      last_->setValue(question_.points);
    });
    view.dragged = [this](double from, double to) {
      const int one = PointAt(from);
      const int other = PointAt(to);
      first_->setValue(std::min(one, other));
      last_->setValue(std::max(one, other));
    };
    Update();
    first_spectrum([page = QPointer(this)](const Spectrum& spectrum) {
      if (page == nullptr || spectrum.x.empty()) return;
      page->view_.ShowSpectrum(spectrum.x, spectrum.y);
      page->Update();
    });
  }

  // The plot is the host's.
  ~RangePage() override { view_.Widget()->setParent(nullptr); }
  RangePage(const RangePage&) = delete;
  RangePage& operator=(const RangePage&) = delete;

  RangeChoice answer() const {
    const bool to_end = last_->value() == question_.points;
    return {first_->value(), to_end ? 0 : last_->value()};
  }

 private:
  QSpinBox* AddPoint(QFormLayout& form, const QString& label, int value) {
    auto* const point = new QSpinBox;
    point->setRange(1, std::max(question_.points, 1));
    point->setValue(value);
    point->setGroupSeparatorShown(true);
    auto* const x = new QLabel;
    x->setObjectName("x");
    auto* const line = new QHBoxLayout;
    line->addWidget(point);
    line->addWidget(x, 1);
    auto* const name = new QLabel(label);
    name->setBuddy(point);
    form.addRow(name, line);
    const auto show = [this, x](int number) {
      x->setText(tr("x = %1").arg(XOf(number), 0, 'g', 8));
      if (first_ != nullptr && last_ != nullptr) Update();
    };
    connect(point, &QSpinBox::valueChanged, this, show);
    show(value);
    return point;
  }

  double XOf(int point) const { return question_.first_x + (point - 1) * question_.spacing; }

  int PointAt(double x) const {
    if (question_.spacing == 0) return 1;
    const double point = std::round((x - question_.first_x) / question_.spacing) + 1;
    return static_cast<int>(std::clamp(point, 1.0, static_cast<double>(question_.points)));
  }

  void Update() {
    Allow(first_->value() <= last_->value());
    view_.ShowRange(XOf(first_->value()), XOf(last_->value()));
  }

  const RangeQuestion& question_;
  RangeView& view_;
  QSpinBox* first_ = nullptr;
  QSpinBox* last_ = nullptr;
};

}  // namespace

std::optional<std::size_t> AskFileType(QuestionWindow& window, const FileTypeQuestion& question,
                                       const std::vector<FormatAnswer>& answers,
                                       const std::vector<FormatAnswer>& others) {
  Question dialog(window, FromBytes(question.title), FromBytes(question.prompt));
  auto* const list =
      AddList(dialog, {FromBytes(question.label), QObject::tr("What the format says")});
  // Those that are likely and can be read come first; of each, which of the names it is.
  std::vector<std::size_t> shown(question.names.size());
  std::iota(shown.begin(), shown.end(), 0);
  std::stable_partition(shown.begin(), shown.end(),
                        [&](std::size_t i) { return answers[i].can_be_read; });
  for (const std::size_t i : shown) {
    QTreeWidgetItem* const item =
        AddEntry(*list, {FromBytes(question.names[i]), answers[i].answer});
    item->setDisabled(!answers[i].can_be_read);
  }
  for (const FormatAnswer& other : others)
    AddEntry(*list, {other.name, other.answer})->setDisabled(true);
  list->setCurrentItem(list->topLevelItem(0));
  Widen(*list);
  QObject::connect(list, &QTreeWidget::itemDoubleClicked, &dialog, &QDialog::accept);
  if (!dialog.IsAccepted()) return std::nullopt;
  const auto chosen = Chosen(*list, /*only_one=*/true);
  if (chosen.empty() || chosen.front() >= shown.size()) return std::nullopt;
  return shown[chosen.front()];
}

std::optional<ItemsChoice> AskItems(QuestionWindow& window, const ItemsQuestion& question,
                                    const std::vector<std::size_t>& before) {
  Question dialog(window, FromBytes(question.title), FromBytes(question.prompt));
  using Kind = ItemsQuestion::Kind;
  QStringList headings{FromBytes(question.heading)};
  if (!question.details.empty())
    headings.push_back(question.kind == Kind::kTables ? QObject::tr("Columns")
                                                      : QObject::tr("Size"));
  auto* const list = AddList(dialog, headings);
  // One worksheet is what is mostly wanted, of others what the format says. Files are asked for
  // when not all can be.
  const bool takes_first = question.kind == Kind::kWorksheets;
  const bool takes_usual = question.kind == Kind::kBlocks || question.kind == Kind::kMatrices ||
                           question.kind == Kind::kVariables;
  const auto is_taken = [&](std::size_t item) {
    if (!before.empty()) return std::ranges::find(before, item) != before.end();
    return (takes_first && item == 0) ||
           (takes_usual && std::ranges::find(question.usual, item) != question.usual.end());
  };
  for (std::size_t i = 0; i < question.items.size(); ++i) {
    QStringList texts{FromBytes(question.items[i])};
    if (i < question.details.size()) texts.push_back(FromBytes(question.details[i]));
    QTreeWidgetItem* const item = AddEntry(*list, texts);
    if (!question.only_one) item->setCheckState(0, is_taken(i) ? Qt::Checked : Qt::Unchecked);
  }
  list->setCurrentItem(list->topLevelItem(0));
  Widen(*list);

  if (question.only_one)
    QObject::connect(list, &QTreeWidget::itemDoubleClicked, &dialog, &QDialog::accept);

  std::vector<QRadioButton*> merges;
  for (const std::string& choice : question.merge_choices) {
    merges.push_back(new QRadioButton(FromBytes(choice)));
    dialog.body->addWidget(merges.back());
  }
  if (question.merge < merges.size()) merges[question.merge]->setChecked(true);
  const auto update = [&] {
    const std::size_t count = Chosen(*list, question.only_one).size();
    dialog.Allow(count > 0);
    for (QRadioButton* merge : merges) merge->setEnabled(count > 1);
  };
  QObject::connect(list, &QTreeWidget::itemChanged, &dialog, update);
  if (!question.only_one && question.items.size() > 1)
    for (const auto& [text, state] : {std::pair(QObject::tr("Select &all"), Qt::Checked),
                                      std::pair(QObject::tr("Select &none"), Qt::Unchecked)})
      QObject::connect(dialog.AddButton(text), &QPushButton::clicked, &dialog,
                       [list, update, state = state] {
                         const QSignalBlocker quiet(list);
                         for (int i = 0; i < list->topLevelItemCount(); ++i)
                           list->topLevelItem(i)->setCheckState(0, state);
                         update();
                       });
  update();
  if (!dialog.IsAccepted()) return std::nullopt;
  ItemsChoice answer{Chosen(*list, question.only_one), question.merge};
  for (std::size_t i = 0; i < merges.size(); ++i)
    if (merges[i]->isChecked()) answer.merge = i;
  return answer;
}

std::optional<RangeChoice> AskRange(QuestionWindow& window, const RangeQuestion& question,
                                    RangeView& view, const SpectrumReader& first_spectrum) {
  RangePage page(window, question, view, first_spectrum);
  if (!page.IsAccepted()) return std::nullopt;
  return page.answer();
}

std::optional<std::vector<std::string>> AskFileOrder(QuestionWindow& window,
                                                     const std::vector<std::string>& files) {
  Question dialog(window, QObject::tr("Sort Files"),
                  QObject::tr("In which order do you want to import the files?"));
  auto* const list = new QListWidget;
  list->setDragDropMode(QAbstractItemView::InternalMove);
  list->setAccessibleName(QObject::tr("Files"));
  for (std::size_t i = 0; i < files.size(); ++i) {
    const QString path = FromBytes(files[i]);
    auto* const item = new QListWidgetItem(QFileInfo(path).fileName(), list);
    item->setToolTip(path);
    item->setData(Qt::UserRole, static_cast<qulonglong>(i));
  }
  list->setCurrentRow(0);
  dialog.begin = list;
  dialog.body->addWidget(list, 1);
  for (const auto& [text, step] :
       {std::pair(QObject::tr("Move &up"), -1), std::pair(QObject::tr("Move &down"), 1)})
    QObject::connect(dialog.AddButton(text), &QPushButton::clicked, &dialog, [list, step = step] {
      const int from = list->currentRow();
      const int to = from + step;
      if (from < 0 || to < 0 || to >= list->count()) return;
      list->insertItem(to, list->takeItem(from));
      list->setCurrentRow(to);
    });
  QObject::connect(dialog.AddButton(QObject::tr("Sort by &name")), &QPushButton::clicked, &dialog,
                   [list] { list->sortItems(); });
  if (!dialog.IsAccepted()) return std::nullopt;
  std::vector<std::string> sorted;
  sorted.reserve(files.size());
  for (int i = 0; i < list->count(); ++i)
    sorted.push_back(files[list->item(i)->data(Qt::UserRole).toULongLong()]);
  return sorted;
}

std::optional<std::string> AskSecret(QuestionWindow& window, const PasswordQuestion& question) {
  // A database's connection may have slashes.
  const QFileInfo file(FromBytes(question.path));
  const QString title =
      QObject::tr("Password of \"%1\"").arg(file.exists() ? file.fileName() : file.filePath());
  const QString label = question.is_again ? QObject::tr("That password does not open it. &Another:")
                                          : QObject::tr("&Password:");
  QInputDialog dialog(window.window());
  dialog.setWindowTitle(title);
  dialog.setLabelText(label);
  dialog.setTextEchoMode(QLineEdit::Password);
  if (window.Answer(dialog) != QDialog::Accepted || dialog.textValue().isEmpty())
    return std::nullopt;
  return dialog.textValue().toStdString();
}

bool AskQuery(QuestionWindow& window, const QueryQuestion& question) {
  constexpr qsizetype kMost = 1000;
  const QString statement = FromBytes(question.statement);
  QMessageBox box(QMessageBox::Question, QObject::tr("Run Query"),
                  QObject::tr("\"%1\" asks a database. Such a file may come from anywhere: run "
                              "its query only if you know what it asks for.")
                      .arg(QFileInfo(FromBytes(question.path)).fileName()),
                  QMessageBox::Cancel, window.window());
  QString shown = statement.isEmpty() ? QObject::tr("A list of its tables") : statement;
  if (shown.size() > kMost) {
    box.setDetailedText(statement);
    shown = shown.left(kMost) + QChar(0x2026);
  }
  box.setInformativeText(FromBytes(question.source) + "\n\n" + shown);
  // What the file has must not look like anything else.
  for (QLabel* label : box.findChildren<QLabel*>()) label->setTextFormat(Qt::PlainText);
  const QAbstractButton* const run =
      box.addButton(QObject::tr("&Run query"), QMessageBox::AcceptRole);
  box.setDefaultButton(QMessageBox::Cancel);
  window.Answer(box);
  return box.clickedButton() == run;
}

int AskMessage(QuestionWindow& window, const MessageBoxQuestion& message) {
  constexpr unsigned kButtons = 0xF;
  constexpr unsigned kIcons = 0xF0;
  const unsigned icon = message.type & kIcons;
  QMessageBox box(icon == MessageBoxQuestion::kStop          ? QMessageBox::Critical
                  : icon == MessageBoxQuestion::kExclamation ? QMessageBox::Warning
                                                             : QMessageBox::Information,
                  FromBytes(message.title), FromBytes(message.text), QMessageBox::Ok,
                  window.window());
  if ((message.type & kButtons) == MessageBoxQuestion::kOkCancel)
    box.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
  box.setTextFormat(Qt::PlainText);
  box.setDefaultButton(QMessageBox::Ok);
  return window.Answer(box) == QMessageBox::Ok ? MessageBoxQuestion::kOkAnswer
                                               : MessageBoxQuestion::kCancelAnswer;
}

void ShowDetail(QuestionWindow& window, const DetailMessage& message) {
  QMessageBox box(QMessageBox::Information, FromBytes(message.title), FromBytes(message.text),
                  QMessageBox::Ok, window.window());
  box.setTextFormat(Qt::PlainText);
  box.setDetailedText(FromBytes(message.detail));
  window.Answer(box);
}

int QuestionWindow::Answer(QDialog& dialog) {
  QEventLoop wait;
  QObject::connect(&dialog, &QDialog::finished, &wait, &QEventLoop::quit);
  dialog.setWindowModality(modal_ ? Qt::WindowModal : Qt::NonModal);
  open_.push_back(&dialog);
  dialog.show();
  wait.exec();
  std::erase(open_, &dialog);
  return dialog.result();
}

void QuestionWindow::Cancel() {
  const std::vector<QDialog*> open = open_;
  for (QDialog* dialog : open) {
    // The window may be gone before the dialog is left.
    dialog->setParent(nullptr, dialog->windowFlags());
    dialog->reject();
  }
}

}  // namespace nvimport
