#pragma once

#include <QObject>
#include <QThread>
#include <atomic>
#include <cstdint>
#include <functional>

#include "nvimport/platform/Progress.h"

namespace nvimport {

// How far a job is, seen from both threads; the window's asks it to stop.
class JobProgress : public Progress {
 public:
  bool Advance(std::uint64_t position, std::uint64_t size) override {
    position_ = position;
    size_ = size;
    return !stopped_;
  }
  void Begin() {
    position_ = size_ = 0;
    stopped_ = false;
  }
  void Stop() { stopped_ = true; }
  bool stopped() const { return stopped_; }
  std::uint64_t position() const { return position_; }
  std::uint64_t size() const { return size_; }

 private:
  std::atomic<std::uint64_t> position_ = 0;
  std::atomic<std::uint64_t> size_ = 0;
  std::atomic<bool> stopped_ = false;
};

// The one thread that calls the library, a job at a time, so that its calls never overlap and the
// window stays alive.
class LibraryThread : public QObject {
  Q_OBJECT
 public:
  explicit LibraryThread(QObject* parent = nullptr);
  ~LibraryThread() override { Finish(); }
  // Stops the job that runs, and takes no other.
  void Finish();

  bool busy() const { return busy_; }
  JobProgress& progress() { return progress_; }
  const JobProgress& progress() const { return progress_; }

  // Runs `job` there, then `done` in this thread. Only when nothing else runs. What the job throws
  // is told before.
  void Start(std::function<void()> job, std::function<void()> done);

 signals:
  void Changed(bool busy);
  void Failed(const QString& why);

 private:
  QThread thread_;
  QObject there_;  // an object of that thread
  JobProgress progress_;
  bool busy_ = false;
};

}  // namespace nvimport
