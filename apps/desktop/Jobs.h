#pragma once

#include <QElapsedTimer>
#include <QLabel>
#include <QObject>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTimer>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include "apps/desktop/Curves.h"
#include "apps/desktop/LibraryThread.h"

namespace nvimport {

// What the library is to do, one after the other, and the line of the window that says so.
class Jobs : public QObject {
  Q_OBJECT
 public:
  // No progress is shown while a job waits for the user.
  Jobs(QStatusBar& line, std::function<bool()> waits_for_user);

  // Runs `work` in the library's thread under a label, then `done` in the window's with what it
  // returned. While another job runs, the user is told so and nothing is done.
  template <typename Work, typename Done>
  void Run(const QString& label, Work work, Done done) {
    auto result = std::make_shared<std::invoke_result_t<Work>>();
    Start(
        label, [result, work = std::move(work)] { *result = work(); },
        [result, done = std::move(done)] { done(std::move(*result)); });
  }

  // True, which the user is told, while a job runs.
  bool Refuses();
  bool busy() const { return library_.busy(); }
  bool stopped() const { return library_.progress().stopped(); }
  LibraryThread& library() { return library_; }
  // For a job to say how far it is.
  Report Reporting();

  // What the line says while nothing is done.
  void ShowState(const QString& state);
  // Says something for a while.
  void Tell(const QString& message);

 signals:
  void Changed(bool busy);
  void Failed(const QString& why);

 private:
  void Start(const QString& label, std::function<void()> job, std::function<void()> done);
  void ShowProgress();

  LibraryThread library_;
  QStatusBar& line_;
  std::function<bool()> waits_for_user_;
  QLabel* text_;
  QProgressBar* bar_;
  QPushButton* stop_;
  QTimer ticks_;
  QElapsedTimer running_;
  QString label_;
  QString state_;
};

}  // namespace nvimport
