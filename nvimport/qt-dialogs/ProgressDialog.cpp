#include "nvimport/qt-dialogs/ProgressDialog.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>
#include <algorithm>

namespace nvimport {

namespace {

constexpr int kParts = 1000;

bool IsHere(const QWidget& window) { return window.thread() == QThread::currentThread(); }

// At once in the window's own thread.
template <typename Work>
void InThreadOf(QWidget* window, Work work) {
  if (window == nullptr) return;
  IsHere(*window) ? work() : void(QMetaObject::invokeMethod(window, work, Qt::QueuedConnection));
}

}  // namespace

ProgressDialog::ProgressDialog(QWidget* window, const QString& title) : window_(window) {
  InThreadOf(window, [window, title, shown = shown_] {
    auto* const dialog = new QProgressDialog(title, QObject::tr("Cancel"), 0, 0, window);
    dialog->setWindowTitle(title);
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setAutoClose(false);
    dialog->setAutoReset(false);
    QObject::connect(dialog, &QProgressDialog::canceled, dialog,
                     [shown] { shown->stopped = true; });
    shown->dialog = dialog;
  });
}

ProgressDialog::~ProgressDialog() {
  InThreadOf(window_, [shown = shown_] {
    if (shown->dialog != nullptr) shown->dialog->deleteLater();
  });
}

bool ProgressDialog::Advance(std::uint64_t position, std::uint64_t size) {
  if (window_ == nullptr) return false;
  InThreadOf(window_, [shown = shown_, position, size] {
    QProgressDialog* const dialog = shown->dialog;
    if (dialog == nullptr || shown->stopped) return;
    dialog->setMaximum(size > 0 ? kParts : 0);
    const double part = size > 0 ? static_cast<double>(position) / static_cast<double>(size) : 0;
    dialog->setValue(std::min(static_cast<int>(part * kParts), kParts));
  });
  // Else nobody could press Cancel.
  if (window_ != nullptr && IsHere(*window_)) QCoreApplication::processEvents();
  return !shown_->stopped;
}

}  // namespace nvimport
