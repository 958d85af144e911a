#include "apps/desktop/DatabaseDialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSaveFile>
#include <QSplitter>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <utility>

#include "apps/desktop/Jobs.h"
#include "apps/desktop/SheetText.h"
#include "apps/desktop/SheetView.h"
#include "apps/desktop/WindowDialogs.h"
#include "nvimport/hosting/import/DatabaseSource.h"
#include "nvimport/platform/Connections.h"

namespace nvimport {

namespace {

// A part under its label, which is its name for those who don't see it.
QWidget* Labelled(const QString& text, QWidget* part, QPushButton* button = nullptr) {
  auto* const both = new QWidget;
  auto* const layout = new QVBoxLayout(both);
  layout->setContentsMargins({});
  auto* const label = new QLabel(text);
  label->setBuddy(part);
  part->setAccessibleName(QString(text).remove('&').remove(':'));
  auto* const line = new QHBoxLayout;
  line->addWidget(label, 1);
  layout->addLayout(line);
  layout->addWidget(part, 1);
  if (button != nullptr) layout->addWidget(button, 0, Qt::AlignLeft);
  return both;
}

}  // namespace

DatabaseDialog::DatabaseDialog(QWidget* window, Jobs& jobs, WindowDialogs& dialogs)
    : QDialog(window), jobs_(jobs), dialogs_(dialogs) {
  setWindowTitle(tr("Import from database"));
  MakeLists();
  MakeButtons();
  connect(&jobs_, &Jobs::Changed, this, &DatabaseDialog::Update);
  Update();
}

void DatabaseDialog::MakeLists() {
  auto* const layout = new QVBoxLayout(this);
  connection_ = new QComboBox;
  connection_->setEditable(true);
  connection_->setInsertPolicy(QComboBox::NoInsert);
  connection_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  connection_->lineEdit()->setPlaceholderText(tr("DSN=NAME, or DRIVER=... and what that needs"));
  connection_->setToolTip(tr(
      "A data source of the ODBC configuration, or pairs of keys and values apart by semicolons. "
      "A password is asked for where the database wants one."));
  auto* const form = new QFormLayout;
  form->addRow(tr("&Database:"), connection_);
  layout->addLayout(form);

  tables_ = new QTreeWidget;
  tables_->setHeaderLabels({tr("Table"), tr("Columns")});
  tables_->setRootIsDecorated(false);
  tables_->setUniformRowHeights(true);
  tables_->setAlternatingRowColors(true);
  tables_->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
  statement_ = new QPlainTextEdit;
  statement_->setTabChangesFocus(true);
  statement_->setPlaceholderText("SELECT ...");
  head_ = new SheetView;
  list_ = new QPushButton(tr("&Show tables"));
  preview_ = new QPushButton(tr("Pre&view"));
  auto* const parts = new QSplitter(Qt::Vertical);
  parts->setChildrenCollapsible(false);
  parts->addWidget(Labelled(tr("&Tables and views:"), tables_, list_));
  parts->addWidget(Labelled(tr("&Query:"), statement_, preview_));
  parts->addWidget(Labelled(tr("&First rows:"), head_));
  parts->setSizes({220, 110, 220});
  layout->addWidget(parts, 1);
  said_ = new QLabel;
  said_->setTextFormat(Qt::PlainText);
  said_->setWordWrap(true);
  said_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  layout->addWidget(said_);
  constexpr QSize kUsual(760, 600);
  resize(kUsual);

  connect(connection_, &QComboBox::editTextChanged, this, [this] {
    tables_->clear();
    Update();
  });
  connect(statement_, &QPlainTextEdit::textChanged, this, &DatabaseDialog::Update);
  connect(tables_, &QTreeWidget::currentItemChanged, this, &DatabaseDialog::TakeTable);
  connect(tables_, &QTreeWidget::itemActivated, this, [this] {
    statement_->setPlainText(proposed_);
    Look(/*lists_tables=*/false);
  });
  connect(list_, &QPushButton::clicked, this, [this] { Look(/*lists_tables=*/true); });
  connect(preview_, &QPushButton::clicked, this, [this] { Look(/*lists_tables=*/false); });
}

void DatabaseDialog::MakeButtons() {
  auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Close);
  import_ = buttons->addButton(tr("&Import"), QDialogButtonBox::AcceptRole);
  save_ = buttons->addButton(tr("Sav&e query..."), QDialogButtonBox::ActionRole);
  stop_ = buttons->addButton(tr("St&op"), QDialogButtonBox::ActionRole);
  layout()->addWidget(buttons);
  // Enter is of the list and the text.
  for (QPushButton* button :
       {list_, preview_, import_, save_, stop_, buttons->button(QDialogButtonBox::Close)})
    button->setAutoDefault(false);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(save_, &QPushButton::clicked, this, &DatabaseDialog::Save);
  connect(stop_, &QPushButton::clicked, this, &DatabaseDialog::Stop);
  connect(import_, &QPushButton::clicked, this, [this] {
    const DatabaseQuery wanted = query();
    RememberConnection(connection_->currentText());
    accept();
    emit Wanted(wanted);
  });
}

DatabaseQuery DatabaseDialog::query() const {
  const std::string text = connection_->currentText().trimmed().toStdString();
  DatabaseQuery query{DatabaseSource::IsOne(text) ? text : DatabaseSource::Named(text),
                      statement_->toPlainText().trimmed().toStdString()};
  if (query.name == known_as_) query.password = password_;
  return query;
}

void DatabaseDialog::Update() {
  const bool has_database = !connection_->currentText().trimmed().isEmpty();
  const bool has_query = has_database && !statement_->toPlainText().trimmed().isEmpty();
  const bool idle = !jobs_.busy();
  list_->setEnabled(idle && has_database);
  preview_->setEnabled(idle && has_query);
  import_->setEnabled(idle && has_query);
  save_->setEnabled(has_query);
  stop_->setEnabled(looks_ && !idle);
}

void DatabaseDialog::Look(bool lists_tables) {
  if (jobs_.Refuses()) return;
  DatabaseQuery asked = query();
  if (lists_tables) asked.statement.clear();
  const QString label = lists_tables ? tr("Listing the tables") : tr("Reading the first rows");
  said_->setText(label + "...");
  looks_ = true;
  jobs_.Run(
      label, [this, asked] { return LookAt(asked, dialogs_, jobs_.library().progress()); },
      [this, asked](DatabaseLook look) { Show(asked, std::move(look)); });
}

void DatabaseDialog::Stop() {
  jobs_.library().progress().Stop();
  dialogs_.Cancel();
}

void DatabaseDialog::Show(const DatabaseQuery& query, DatabaseLook look) {
  looks_ = false;
  Update();
  const bool is_done = look.head != nullptr || !look.tables.empty();
  if (!is_done)
    return said_->setText(look.trouble ? look.trouble->text + "\n" + look.trouble->detail
                                       : tr("Cancelled."));
  said_->clear();
  if (!isVisible()) return;
  known_as_ = query.name;
  password_ = std::move(look.password);
  RememberConnection(connection_->currentText());
  if (look.head != nullptr) return head_->SetSheet(std::move(look.head));
  tables_->clear();
  for (const DatabaseLook::Table& table : look.tables) {
    auto* const item = new QTreeWidgetItem(tables_, {table.name, table.columns});
    item->setToolTip(1, table.columns);
  }
  tables_->setFocus();
}

// What the user wrote stays.
void DatabaseDialog::TakeTable() {
  const QTreeWidgetItem* const table = tables_->currentItem();
  if (table == nullptr) return;
  const QString written = statement_->toPlainText().trimmed();
  const bool is_ours = written.isEmpty() || written == proposed_;
  proposed_ = "SELECT * FROM " + table->text(0);
  if (is_ours) statement_->setPlainText(proposed_);
}

void DatabaseDialog::Save() {
  QFileDialog dialog(this, tr("Save query"));
  dialog.setAcceptMode(QFileDialog::AcceptSave);
  dialog.setNameFilter(tr("Database Queries (*.dqy)"));
  dialog.setDefaultSuffix("dqy");
  if (dialog.exec() == QDialog::Accepted) SaveTo(dialog.selectedFiles().front());
}

void DatabaseDialog::SaveTo(const QString& path) {
  QSaveFile file(path);
  const QByteArray bytes = QueryFile(query());
  if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
    return said_->setText(tr("%1 was not written: %2").arg(path, file.errorString()));
  said_->setText(tr("%1 is written, without passwords.").arg(path));
}

void DatabaseDialog::done(int result) {
  if (looks_) Stop();
  password_.reset();
  known_as_.clear();
  QDialog::done(result);
}

void DatabaseDialog::showEvent(QShowEvent* event) {
  const QString now = FromBytes(WithoutSecrets(connection_->currentText().toStdString()));
  const QSignalBlocker quiet(connection_);
  connection_->clear();
  connection_->addItems(KnownConnections());
  if (!now.isEmpty()) connection_->setEditText(now);
  Update();
  QDialog::showEvent(event);
}

}  // namespace nvimport
