#include "nvimport/qt-dialogs/QtDialogs.h"

#include <QPointer>
#include <QThread>
#include <QWidget>
#include <algorithm>
#include <atomic>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/Thrown.h"
#include "nvimport/hosting/import/DecimalGuess.h"
#include "nvimport/hosting/import/Detecting.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/qt-dialogs/AskingThread.h"
#include "nvimport/qt-dialogs/CsvPreview.h"
#include "nvimport/qt-dialogs/FirstSpectrum.h"
#include "nvimport/qt-dialogs/PlainRangeView.h"
#include "nvimport/qt-dialogs/ProgressDialog.h"
#include "nvimport/qt-dialogs/Questions.h"
#include "nvimport/qt-dialogs/Text.h"

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

// The first cells as they are shown, behind the rows that are skipped.
PreviewRows PreviewOf(const std::string& path, const TextReading& reading,
                      const decltype(TextImportQuestion::preview)& plain) {
  const int rows = kPreviewRows + reading.skipped_rows;
  PreviewRows cells = reading.quote != '\0' || !plain
                          ? PreviewCsv(path, reading, rows, kPreviewColumns)
                          : plain(reading.split, rows, kPreviewColumns);
  cells.erase(cells.begin(),
              cells.begin() + std::min<std::ptrdiff_t>(reading.skipped_rows, std::ssize(cells)));
  const TextDecoder decoder(reading.encoding);
  std::string scratch;
  for (auto& row : cells)
    for (std::string& text : row) text = std::string(decoder.Decode(text, scratch));
  return cells;
}

}  // namespace

struct QtDialogs::State : std::enable_shared_from_this<State> {
  explicit State(QWidget& of) : window(of), context(&of) {}

  // What `show` returns in the window's thread, where it is given a way to have something done by
  // the thread that asks. Nothing when it is cancelled.
  template <typename Show>
  auto Ask(Show show) {
    using Answer = std::invoke_result_t<Show, std::function<void(std::function<void()>)>>;
    // Whoever cancels may let go of all this at once.
    const auto self = shared_from_this();
    if (context->thread() == QThread::currentThread()) {
      if (cancelled) return Answer{};
      return show([](const std::function<void()>& errand) { Thrown(errand); });
    }
    struct Shared {
      AskingThread asking;
      Answer answer{};
    };
    const auto shared = std::make_shared<Shared>();
    {
      const std::scoped_lock lock(mutex);
      if (cancelled) return Answer{};
      waiting.insert(&shared->asking);
    }
    QMetaObject::invokeMethod(
        context,
        [self, shared, show] {
          if (self->cancelled) return;
          shared->answer = show([shared](std::function<void()> errand) {
            // Without a preview the question stands all the same.
            shared->asking.Want([errand = std::move(errand)] { Thrown(errand); });
          });
          shared->asking.End();
        },
        Qt::QueuedConnection);
    shared->asking.Serve();
    const std::scoped_lock lock(mutex);
    waiting.erase(&shared->asking);
    return std::move(shared->answer);
  }

  using Preview = decltype(TextImportQuestion::preview);
  // `preview` makes one without quotes; CSV File does where there is none.
  std::optional<TextReading> AskText(const QString& title, const std::string& file,
                                     const TextReading& now, const Preview& preview);

  void Cancel() {
    const std::scoped_lock lock(mutex);
    cancelled = true;
    for (AskingThread* thread : waiting) thread->End();
  }

  QuestionWindow window;
  QWidget* context;
  std::function<std::unique_ptr<RangeView>()> make_view = [] {
    return std::make_unique<PlainRangeView>();
  };
  std::string path;
  std::atomic<int> format = 0;
  bool offers_reading = false;
  std::optional<TextReading> reading;                      // since Begin
  std::optional<TextReading> last_reading;                 // of the same file
  std::map<std::string, std::vector<std::size_t>> chosen;  // by the title of the question
  std::mutex mutex;                                        // of what follows
  std::set<AskingThread*> waiting;
  std::atomic<bool> cancelled = false;
};

QtDialogs::QtDialogs(QWidget& window)
    : state_(std::make_shared<State>(window)), before_(Install(this)) {}

QtDialogs::~QtDialogs() {
  Cancel();
  Install(before_);
}

void QtDialogs::SetModal(bool modal) { state_->window.SetModal(modal); }

void QtDialogs::SetRangeView(std::function<std::unique_ptr<RangeView>()> make) {
  state_->make_view = std::move(make);
}

void QtDialogs::Begin(std::string path, int format) {
  if (path != state_->path) {
    state_->chosen.clear();
    state_->last_reading.reset();
  }
  state_->path = std::move(path);
  state_->format = format;
  state_->reading.reset();
  state_->cancelled = false;
}

void QtDialogs::SettleFormat(int format) { state_->format = format; }

void QtDialogs::OfferReading(bool offers) { state_->offers_reading = offers; }

const std::optional<TextReading>& QtDialogs::text_reading() const { return state_->reading; }

bool QtDialogs::asking() const { return state_->window.asking(); }

void QtDialogs::Cancel() {
  state_->Cancel();
  state_->window.Cancel();
}

std::optional<std::size_t> QtDialogs::SelectFileType(const FileTypeQuestion& question) {
  std::vector<FormatAnswer> answers(question.names.size(), {{}, AnswerWords(1)});
  std::vector<FormatAnswer> others;
  const Detection detection = state_->path.empty() ? Detection() : DetectFormat(state_->path);
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
  return state_->Ask(
      [&](const auto&) { return AskFileType(state_->window, question, answers, others); });
}

std::optional<TextReading> QtDialogs::State::AskText(const QString& title, const std::string& file,
                                                     const TextReading& now,
                                                     const Preview& preview) {
  auto answer = Ask([&](const auto& have_done) {
    return AskTextImport(
        window, title, file, now,
        offers_reading ? TextQuestions::kReading : TextQuestions::kDelimiter,
        [&, have_done](const TextReading& wanted, std::function<void(PreviewRows)> show) {
          have_done([to = context, &preview, &file, wanted, show = std::move(show)] {
            const auto shows = [show, rows = PreviewOf(file, wanted, preview)] { show(rows); };
            QMetaObject::invokeMethod(to, shows);
          });
        });
  });
  if (answer) reading = last_reading = answer;
  return answer;
}

std::optional<TextImportChoice> QtDialogs::ImportText(const TextImportQuestion& question) {
  // Who chooses again begins with the last choice.
  TextReading now = state_->last_reading.value_or(TextReading());
  if (!state_->last_reading) {
    now.split = question.usual.value_or(question.current);
    DecimalGuess decimal;
    for (const auto& row : question.preview(now.split, kPreviewRows, kPreviewColumns))
      for (const std::string& text : row) decimal.Take(text);
    now.marks.decimal = decimal.mark();
  }
  const auto answer =
      state_->AskText(FromBytes(question.title), question.path, now, question.preview);
  if (!answer || answer->quote != '\0') return std::nullopt;
  return answer->split;
}

std::optional<TextReading> QtDialogs::AskReading(const std::string& path, const TextReading& now) {
  return state_->AskText(QObject::tr("Text Import"), path, state_->last_reading.value_or(now), {});
}

std::optional<ItemsChoice> QtDialogs::SelectItems(const ItemsQuestion& question) {
  // Who was refused, or chooses again, begins with the last choice.
  std::vector<std::size_t>& before = state_->chosen[question.title];
  std::erase_if(before, [&](std::size_t item) { return item >= question.items.size(); });
  auto choice =
      state_->Ask([&](const auto&) { return AskItems(state_->window, question, before); });
  if (choice) before = choice->items;
  return choice;
}

std::optional<RangeChoice> QtDialogs::SelectRange(const RangeQuestion& question) {
  return state_->Ask([&](const auto& have_done) {
    const std::unique_ptr<RangeView> view = state_->make_view();
    return AskRange(state_->window, question, *view,
                    [&, have_done](std::function<void(Spectrum)> show) {
                      have_done([context = state_->context, path = question.path,
                                 format = int{state_->format}, show = std::move(show)] {
                        const Spectrum spectrum = ReadFirstSpectrum(path, format);
                        QMetaObject::invokeMethod(context, [show, spectrum] { show(spectrum); });
                      });
                    });
  });
}

std::optional<std::string> QtDialogs::AskPassword(const PasswordQuestion& question) {
  return state_->Ask([&](const auto&) { return AskSecret(state_->window, question); });
}

bool QtDialogs::AllowQuery(const QueryQuestion& question) {
  return state_->Ask([&](const auto&) { return AskQuery(state_->window, question); });
}

std::optional<std::vector<std::string>> QtDialogs::OrderFiles(const FileOrderQuestion& question) {
  return state_->Ask([&](const auto&) { return AskFileOrder(state_->window, question.files); });
}

int QtDialogs::ShowMessage(const MessageBoxQuestion& message) {
  const int answer = state_->Ask([&](const auto&) { return AskMessage(state_->window, message); });
  // One that nobody saw any more.
  return answer == 0 ? int{MessageBoxQuestion::kCancelAnswer} : answer;
}

void QtDialogs::ShowDetails(const DetailMessage& message) {
  state_->Ask([&](const auto&) {
    ShowDetail(state_->window, message);
    return true;
  });
}

std::unique_ptr<Progress> QtDialogs::OpenProgress(const ProgressWindow& window) {
  return std::make_unique<ProgressDialog>(state_->context, FromBytes(window.title));
}

void QtDialogs::ShowWaitCursor(bool on) {
  QMetaObject::invokeMethod(state_->context, [on, window = state_->context] {
    on ? window->setCursor(Qt::WaitCursor) : window->unsetCursor();
  });
}

}  // namespace nvimport
