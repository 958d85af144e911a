#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QPointer>
#include <QSpinBox>
#include <QTableWidget>
#include <algorithm>
#include <utility>

#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/import/Delimiters.h"
#include "nvimport/qt-dialogs/QuestionDialog.h"
#include "nvimport/qt-dialogs/Text.h"

namespace nvimport {

namespace {

constexpr int kMostSkipped = 9999;
constexpr int kEncodingLetters = 22;
constexpr int kLetters = 30;  // of a column, at most

// What the system converts from, by the names that it has there.
struct NamedEncoding {
  const char* shown;
  const char* name;
};
constexpr NamedEncoding kEncodings[] = {
    {QT_TRANSLATE_NOOP("TextImport", "UTF-8, else Windows-1252"), ""},
    {"UTF-8", "UTF-8"},
    {QT_TRANSLATE_NOOP("TextImport", "Western (Windows-1252)"), "CP1252"},
    {QT_TRANSLATE_NOOP("TextImport", "Western (ISO 8859-15)"), "ISO-8859-15"},
    {QT_TRANSLATE_NOOP("TextImport", "Western (DOS 850)"), "CP850"},
    {QT_TRANSLATE_NOOP("TextImport", "Western (Macintosh)"), "MACINTOSH"},
    {QT_TRANSLATE_NOOP("TextImport", "Central European (1250)"), "CP1250"},
    {QT_TRANSLATE_NOOP("TextImport", "Cyrillic (1251)"), "CP1251"},
    {QT_TRANSLATE_NOOP("TextImport", "Cyrillic (KOI8-R)"), "KOI8-R"},
    {QT_TRANSLATE_NOOP("TextImport", "Greek (1253)"), "CP1253"},
    {QT_TRANSLATE_NOOP("TextImport", "Turkish (1254)"), "CP1254"},
    {QT_TRANSLATE_NOOP("TextImport", "Japanese (932)"), "CP932"},
    {QT_TRANSLATE_NOOP("TextImport", "Japanese (EUC)"), "EUC-JP"},
    {QT_TRANSLATE_NOOP("TextImport", "Chinese (GB 18030)"), "GB18030"},
    {QT_TRANSLATE_NOOP("TextImport", "Chinese (Big5)"), "BIG5"},
    {QT_TRANSLATE_NOOP("TextImport", "Korean (EUC)"), "EUC-KR"},
};

// How a text is split and read, and what that makes of its first rows.
class TextImportPage : public Question {
 public:
  TextImportPage(QuestionWindow& window, const QString& title, const std::string& path,
                 const TextReading& now, TextQuestions asked, PreviewMaker preview)
      : Question(window, title,
                 tr("How are the fields of \"%1\" told apart?")
                     .arg(QFileInfo(FromBytes(path)).fileName())),
        preview_(std::move(preview)) {
    MakeControls(asked == TextQuestions::kReading);
    table_ = new QTableWidget;
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->setMinimumSize(640, 200);
    table_->setAccessibleName(tr("Preview"));
    table_->setTabKeyNavigation(false);
    table_->setWordWrap(false);
    table_->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    body->addWidget(table_, 1);
    begin = delimiter_;
    Take(now);
    Connect();
    Preview();
  }

  TextReading answer() const {
    TextReading reading;
    reading.split = {
        (IsOther() ? other_->text() : delimiter_->currentData().toString()).toStdString(),
        consecutive_->isChecked()};
    if (IsOther()) {
      const TextImportChoice written = ParseDelimiter(reading.split.delimiter);
      reading.split.delimiter = written.delimiter;
      reading.split.ignore_consecutive |= written.ignore_consecutive;
    }
    reading.quote = static_cast<char>(quote_->currentData().toInt());
    if (reading.quote != '\0') reading.split.ignore_consecutive = false;
    reading.encoding = encoding_->currentData().toString().toStdString();
    reading.skipped_rows = skipped_->value();
    if (const QVariant header = header_->currentData(); header.isValid())
      reading.header = header.toBool();
    reading.marks = {static_cast<char>(decimal_->currentData().toInt()),
                     static_cast<char>(thousands_->currentData().toInt())};
    return reading;
  }

 private:
  template <typename Control>
  Control* AddRow(QFormLayout& form, const QString& text, Control* control) {
    auto* const label = new QLabel(text);
    label->setBuddy(control);
    form.addRow(label, control);
    return control;
  }

  // What is not asked for is not seen, and says nothing.
  void MakeControls(bool has_all) {
    delimiter_ = new QComboBox(this);
    for (const NamedDelimiter& named : NamedDelimiters())
      if (!named.ignore_consecutive)
        delimiter_->addItem(FromBytes(named.shown), FromBytes(named.delimiter));
    delimiter_->addItem(tr("blank"), " ");
    delimiter_->addItem(tr("none: whole lines"), "");
    delimiter_->addItem(tr("other"));
    other_ = new QLineEdit(this);
    other_->setPlaceholderText(tr(R"(characters, with \t, \\ and \xNN)"));
    other_->setAccessibleName(tr("Other delimiter"));
    consecutive_ = new QCheckBox(tr("Delimiters in a &row count as one"), this);
    quote_ =
        Choices({{tr("none"), 0}, {tr("\" around fields"), '"'}, {tr("' around fields"), '\''}});
    encoding_ = new QComboBox(this);
    encoding_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    encoding_->setMinimumContentsLength(kEncodingLetters);
    for (const NamedEncoding& encoding : kEncodings)
      if (TextDecoder(encoding.name).ok())
        encoding_->addItem(QCoreApplication::translate("TextImport", encoding.shown),
                           encoding.name);
    skipped_ = new QSpinBox(this);
    skipped_->setRange(0, kMostSkipped);
    header_ = new QComboBox(this);
    header_->addItem(tr("as it looks"));
    header_->addItem(tr("names"), true);
    header_->addItem(tr("data"), false);
    decimal_ = Choices({{tr("point: 12.5"), '.'}, {tr("comma: 12,5"), ','}});
    thousands_ = Choices({{tr("none"), 0},
                          {tr("comma"), ','},
                          {tr("point"), '.'},
                          {tr("blank"), ' '},
                          {tr("apostrophe"), '\''}});

    auto* const delimiters = new QFormLayout;
    AddRow(*delimiters, tr("&Delimiter:"), delimiter_);
    delimiters->addRow(QString(), other_);
    delimiters->addRow(QString(), consecutive_);
    auto* const numbers = new QFormLayout;
    auto* const sides = new QHBoxLayout;
    sides->addLayout(delimiters);
    sides->addLayout(numbers);
    body->addLayout(sides);
    if (has_all) {
      AddRow(*delimiters, tr("&Quotes:"), quote_);
      AddRow(*delimiters, tr("&Encoding:"), encoding_);
      AddRow(*numbers, tr("&Skip rows:"), skipped_);
      AddRow(*numbers, tr("&First row:"), header_);
    }
    AddRow(*numbers, tr("Deci&mal mark:"), decimal_);
    if (has_all) AddRow(*numbers, tr("&Thousands:"), thousands_);
    for (QWidget* each :
         std::initializer_list<QWidget*>{quote_, encoding_, skipped_, header_, thousands_})
      each->setVisible(has_all);
  }

  QComboBox* Choices(std::initializer_list<std::pair<QString, int>> choices) {
    auto* const box = new QComboBox(this);
    for (const auto& [text, value] : choices) box->addItem(text, value);
    return box;
  }

  void Connect() {
    const auto changes = [this](QComboBox* box, void (TextImportPage::*does)()) {
      connect(box, &QComboBox::currentIndexChanged, this, does);
    };
    connect(delimiter_, &QComboBox::currentIndexChanged, this, [this] {
      other_->setVisible(IsOther());
      if (IsOther()) other_->setFocus();
      Preview();
    });
    connect(other_, &QLineEdit::textChanged, this, &TextImportPage::Preview);
    connect(consecutive_, &QCheckBox::toggled, this, &TextImportPage::Preview);
    connect(skipped_, &QSpinBox::valueChanged, this, &TextImportPage::Preview);
    changes(quote_, &TextImportPage::Preview);
    changes(encoding_, &TextImportPage::Preview);
    changes(header_, &TextImportPage::Show);
    changes(decimal_, &TextImportPage::Show);
    changes(thousands_, &TextImportPage::Show);
  }

  bool IsOther() const { return delimiter_->currentIndex() == delimiter_->count() - 1; }

  void Take(const TextReading& now) {
    const int found = delimiter_->findData(QString::fromStdString(now.split.delimiter));
    delimiter_->setCurrentIndex(found >= 0 ? found : delimiter_->count() - 1);
    if (IsOther()) other_->setText(FromBytes(now.split.delimiter));
    other_->setVisible(IsOther());
    consecutive_->setChecked(now.split.ignore_consecutive);
    const auto show = [](QComboBox* box, const QVariant& value) {
      box->setCurrentIndex(std::max(box->findData(value), 0));
    };
    show(quote_, int{now.quote});
    show(encoding_, QString::fromStdString(now.encoding));
    show(decimal_, int{now.marks.decimal});
    show(thousands_, int{now.marks.thousands});
    if (now.header) show(header_, *now.header);
    skipped_->setValue(now.skipped_rows);
  }

  void Preview() {
    const TextReading reading = answer();
    // Within quotes one character is what stands between.
    const bool is_quoted = reading.quote != '\0';
    const std::size_t size = reading.split.delimiter.size();
    consecutive_->setEnabled(!is_quoted);
    Allow(is_quoted ? size == 1 && reading.split.delimiter[0] != reading.quote
                    : size > 0 || !IsOther());
    const int number = ++number_;
    preview_(reading, [page = QPointer(this), number](PreviewRows rows) {
      if (page == nullptr || number != page->number_) return;
      page->rows_ = std::move(rows);
      page->Show();
    });
  }

  bool IsNumber(const std::string& text) const { return ParseNumber(text, marks_).has_value(); }

  bool NamesColumns() const {
    if (header_->currentData().isValid()) return header_->currentData().toBool();
    if (rows_.size() < 2) return false;
    const auto has_number = [this](const std::vector<std::string>& row) {
      return std::ranges::any_of(row, [this](const std::string& text) { return IsNumber(text); });
    };
    return !has_number(rows_.front()) && std::any_of(rows_.begin() + 1, rows_.end(), has_number);
  }

  // What the cells of a column are, from a row on.
  QString TypeOf(std::size_t column, std::size_t first) const {
    std::size_t numbers = 0;
    std::size_t texts = 0;
    for (std::size_t row = first; row < rows_.size(); ++row)
      if (column < rows_[row].size() && !rows_[row][column].empty())
        ++(IsNumber(rows_[row][column]) ? numbers : texts);
    if (numbers == 0) return texts == 0 ? tr("empty") : tr("texts");
    return texts == 0 ? tr("numbers") : tr("numbers and texts");
  }

  void Show() {
    marks_ = answer().marks;
    // One mark can't be both.
    if (marks_.thousands == marks_.decimal) return thousands_->setCurrentIndex(0);
    std::size_t columns = 0;
    for (const auto& row : rows_) columns = std::max(columns, row.size());
    const std::size_t first = NamesColumns() ? 1 : 0;
    table_->clear();
    table_->setRowCount(static_cast<int>(rows_.size() - std::min(first, rows_.size())));
    table_->setColumnCount(static_cast<int>(columns));
    QStringList heads;
    for (std::size_t column = 0; column < columns; ++column) {
      const bool is_named = first > 0 && column < rows_[0].size() && !rows_[0][column].empty();
      const QString name = is_named ? QString::fromStdString(rows_[0][column]).simplified()
                                    : QString::number(column + 1);
      heads.push_back(name + '\n' + TypeOf(column, first));
    }
    table_->setHorizontalHeaderLabels(heads);
    table_->horizontalHeader()->setMaximumSectionSize(fontMetrics().averageCharWidth() * kLetters);
    for (std::size_t row = first; row < rows_.size(); ++row) {
      table_->setVerticalHeaderItem(static_cast<int>(row - first),
                                    new QTableWidgetItem(QString::number(row + 1)));
      for (std::size_t column = 0; column < rows_[row].size(); ++column) {
        auto* const item = new QTableWidgetItem(QString::fromStdString(rows_[row][column]));
        if (IsNumber(rows_[row][column])) item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        table_->setItem(static_cast<int>(row - first), static_cast<int>(column), item);
      }
    }
    table_->resizeColumnsToContents();
  }

  PreviewMaker preview_;
  QComboBox* delimiter_;
  QLineEdit* other_;
  QCheckBox* consecutive_;
  QComboBox* quote_;
  QComboBox* encoding_;
  QSpinBox* skipped_;
  QComboBox* header_;
  QComboBox* decimal_;
  QComboBox* thousands_;
  QTableWidget* table_;
  PreviewRows rows_;
  NumberMarks marks_;
  int number_ = 0;  // of the last preview that was wanted
};

}  // namespace

std::optional<TextReading> AskTextImport(QuestionWindow& window, const QString& title,
                                         const std::string& path, const TextReading& now,
                                         TextQuestions asked, const PreviewMaker& preview) {
  TextImportPage page(window, title, path, now, asked, preview);
  if (!page.IsAccepted()) return std::nullopt;
  return page.answer();
}

}  // namespace nvimport
