#include "apps/desktop/WindowDialogs.h"

#include <QApplication>
#include <algorithm>
#include <cmath>
#include <utility>

#include "apps/desktop/SheetText.h"
#include "nvimport/framework/ImportHelper.h"
#include "nvimport/hosting/import/DecimalGuess.h"
#include "nvimport/hosting/import/Detecting.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/hosting/import/Sheets.h"
#include "nvimport/platform/Log.h"

namespace nvimport {

namespace {

constexpr int kPreviewRows = 25;
constexpr int kPreviewColumns = 12;

QString AnswerWords(int answer) {
  switch (answer) {
    case 2:
      return QObject::tr("certain");
    case 1:
      return QObject::tr("possible");
    default:
      return QObject::tr("not this format");
  }
}

// Answers for the preview of a range, which is all of it.
class WholeRange : public Dialogs {
 public:
  // Nothing of it is worth a note.
  WholeRange() : before_(Install(this)), log_(Log::Install([](const LogEntry&) {})) {}
  WholeRange(const WholeRange&) = delete;
  WholeRange& operator=(const WholeRange&) = delete;
  ~WholeRange() override {
    Log::Install(std::move(log_));
    Install(before_);
  }

  std::optional<RangeChoice> SelectRange(const RangeQuestion&) override { return RangeChoice{}; }

 private:
  Dialogs* before_;
  Log::Sink log_;
};

// The first spectrum of a file, all its points.
std::shared_ptr<const Curves> FirstSpectrum(const std::string& path, int format) {
  constexpr int kMostColumns = 1 << 20;
  const WholeRange dialogs;
  HeadSheet sheet(kMostColumns, 2);
  ImportHelper driver;
  driver.SetVerboseMode(false, false);
  if (!driver.ReadSpreadsheetFile(path.c_str(), format, &sheet, nullptr, nullptr, true))
    return nullptr;
  MemorySheet head;
  for (int row = 1; row <= sheet.head_rows(); ++row)
    for (int column = 1; column <= sheet.head_columns(); ++column) {
      const MemoryCell cell = sheet.head().GetCell(column, row);
      if (cell.kind == CellKind::kText) head.Set(column, row, cell.text.data());
      if (cell.kind == CellKind::kNumber) head.Set(column, row, cell.number);
    }
  auto curves = TakeCurves(head, '.', [](std::size_t, std::size_t) { return true; });
  return std::make_shared<const Curves>(std::move(curves));
}

}  // namespace

void WindowDialogs::Begin(std::string path, bool repeated) {
  if (path != path_) chosen_.clear();
  path_ = std::move(path);
  repeated_ = repeated;
  format_ = 0;
  decimal_mark_.reset();
}

std::optional<std::size_t> WindowDialogs::SelectFileType(const FileTypeQuestion& question) {
  const Detection detection = DetectFormat(path_);
  std::vector<FormatAnswer> answers(question.names.size(), {{}, AnswerWords(1)});
  std::vector<FormatAnswer> others;
  for (std::size_t i = 0; i < detection.answers.size(); ++i) {
    const int format = static_cast<int>(i) + 1;
    const char* name = FormatAt(format).name;
    const QString words = AnswerWords(detection.answers[i]);
    const auto named = std::ranges::find(question.names, name);
    if (named != question.names.end())
      answers[static_cast<std::size_t>(named - question.names.begin())] = {
          {}, HasReader(format) ? words : QObject::tr("can't be read"), HasReader(format)};
    else
      others.push_back({FromBytes(name), words});
  }
  return Ask([&] { return AskFileType(&window_, question, answers, others); });
}

std::optional<TextImportChoice> WindowDialogs::ImportText(const TextImportQuestion& question) {
  TextImportQuestion guessed = question;
  guessed.current = question.usual.value_or(question.current);
  DecimalGuess decimal;
  for (const auto& row : question.preview(guessed.current, kPreviewRows, kPreviewColumns))
    for (const std::string& text : row) decimal.Take(text);
  const auto answer = Ask([&] {
    return AskTextImport(
        &window_, guessed, decimal.mark(),
        [&](const TextImportChoice& choice, std::function<void(PreviewRows)> show) {
          library_.RunMeanwhile([this, &question, choice, show = std::move(show)] {
            auto rows = question.preview(choice, kPreviewRows, kPreviewColumns);
            QMetaObject::invokeMethod(&window_, [show, rows = std::move(rows)] { show(rows); });
          });
        });
  });
  if (!answer) return std::nullopt;
  decimal_mark_ = answer->decimal_mark;
  return answer->choice;
}

std::optional<ItemsChoice> WindowDialogs::SelectItems(const ItemsQuestion& question) {
  // Who was refused, or chooses again, begins with the last choice.
  std::vector<std::size_t>& before = chosen_[question.title];
  std::erase_if(before, [&](std::size_t item) { return item >= question.items.size(); });
  auto choice = Ask([&] { return AskItems(&window_, question, before); });
  if (choice) before = choice->items;
  return choice;
}

std::optional<RangeChoice> WindowDialogs::SelectRange(const RangeQuestion& question) {
  return Ask([&] {
    return AskRange(&window_, question,
                    [&](std::function<void(std::shared_ptr<const Curves>)> show) {
                      library_.RunMeanwhile([this, &question, show = std::move(show)] {
                        auto curves = FirstSpectrum(question.path, format_);
                        QMetaObject::invokeMethod(&window_, [show, curves] { show(curves); });
                      });
                    });
  });
}

std::optional<std::string> WindowDialogs::AskPassword(const PasswordQuestion& question) {
  return Ask([&] { return AskSecret(&window_, question); });
}

std::optional<std::vector<std::string>> WindowDialogs::OrderFiles(
    const FileOrderQuestion& question) {
  return Ask([&] { return AskFileOrder(&window_, question.files); });
}

int WindowDialogs::ShowMessage(const MessageBoxQuestion& message) {
  if (repeated_) return MessageBoxQuestion::kOkAnswer;
  const bool goes_on =
      Ask([&] { return AskWarning(&window_, FromBytes(message.title), FromBytes(message.text)); });
  return goes_on ? MessageBoxQuestion::kOkAnswer : MessageBoxQuestion::kCancelAnswer;
}

void WindowDialogs::ShowWaitCursor(bool on) {
  QMetaObject::invokeMethod(&window_, [on, &window = window_] {
    on ? window.setCursor(Qt::WaitCursor) : window.unsetCursor();
  });
}

}  // namespace nvimport
