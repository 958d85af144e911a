#include "apps/desktop/Jobs.h"

namespace nvimport {

namespace {

constexpr int kTick = 100;      // ms
constexpr int kPatience = 500;  // ms before progress is shown
constexpr int kMessageTime = 4000;

}  // namespace

Jobs::Jobs(QStatusBar& line, std::function<bool()> waits_for_user)
    : line_(line), waits_for_user_(std::move(waits_for_user)) {
  text_ = new QLabel;
  bar_ = new QProgressBar;
  bar_->setMaximumWidth(220);
  bar_->setAccessibleName(tr("Progress"));
  stop_ = new QPushButton(tr("Cancel"));
  stop_->setShortcut(Qt::Key_Escape);
  line_.addWidget(text_, 1);
  line_.addPermanentWidget(bar_);
  line_.addPermanentWidget(stop_);
  bar_->hide();
  stop_->hide();
  connect(stop_, &QPushButton::clicked, this, [this] { library_.progress().Stop(); });
  connect(&library_, &LibraryThread::Changed, this, [this](bool busy) {
    if (busy) {
      running_.start();
      ticks_.start(kTick);
    } else {
      ticks_.stop();
      bar_->hide();
      stop_->hide();
      text_->setText(state_);
    }
    emit Changed(busy);
  });
  connect(&library_, &LibraryThread::Failed, this, &Jobs::Failed);
  connect(&ticks_, &QTimer::timeout, this, &Jobs::ShowProgress);
}

void Jobs::Start(const QString& label, std::function<void()> job, std::function<void()> done) {
  if (Refuses()) return;
  label_ = label;
  library_.Start(std::move(job), std::move(done));
}

bool Jobs::Refuses() {
  if (busy()) Tell(tr("%1: Cancel ends that first.").arg(label_));
  return busy();
}

Report Jobs::Reporting() {
  return
      [this](std::size_t done, std::size_t all) { return library_.progress().Advance(done, all); };
}

void Jobs::ShowState(const QString& state) {
  state_ = state;
  text_->setText(state);
}

void Jobs::Tell(const QString& message) { line_.showMessage(message, kMessageTime); }

void Jobs::ShowProgress() {
  // While a question is open, it is the user that the import waits for.
  if (running_.elapsed() < kPatience || waits_for_user_()) return;
  const JobProgress& progress = library_.progress();
  constexpr int kParts = 1000;
  const bool known = progress.size() > 0;
  bar_->setRange(0, known ? kParts : 0);
  if (known)
    bar_->setValue(static_cast<int>(static_cast<double>(progress.position()) /
                                    static_cast<double>(progress.size()) * kParts));
  bar_->show();
  stop_->show();
  stop_->setEnabled(!progress.stopped());
  text_->setText(label_);
}

}  // namespace nvimport
