#include "nvimport/qt-dialogs/QtDialogs.h"

#include <QPointer>
#include <QThread>
#include <QWidget>
#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

#include "nvimport/hosting/Thrown.h"
#include "nvimport/hosting/import/DecimalGuess.h"
#include "nvimport/hosting/import/Detecting.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/qt-dialogs/AskingThread.h"
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
  std::optional<char> decimal_mark;
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
  if (path != state_->path) state_->chosen.clear();
  state_->path = std::move(path);
  state_->format = format;
  state_->decimal_mark.reset();
  state_->cancelled = false;
}

void QtDialogs::SettleFormat(int format) { state_->format = format; }

std::optional<char> QtDialogs::decimal_mark() const { return state_->decimal_mark; }

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

std::optional<TextImportChoice> QtDialogs::ImportText(const TextImportQuestion& question) {
  TextImportQuestion guessed = question;
  guessed.current = question.usual.value_or(question.current);
  DecimalGuess decimal;
  for (const auto& row : question.preview(guessed.current, kPreviewRows, kPreviewColumns))
    for (const std::string& text : row) decimal.Take(text);
  const auto answer = state_->Ask([&](const auto& have_done) {
    return AskTextImport(
        state_->window, guessed, decimal.mark(),
        [&, have_done](const TextImportChoice& choice, std::function<void(PreviewRows)> show) {
          have_done([context = state_->context, &question, choice, show = std::move(show)] {
            auto rows = question.preview(choice, kPreviewRows, kPreviewColumns);
            const auto shows = [show, rows = std::move(rows)] { show(rows); };
            QMetaObject::invokeMethod(context, shows);
          });
        });
  });
  if (!answer) return std::nullopt;
  state_->decimal_mark = answer->decimal_mark;
  return answer->choice;
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
