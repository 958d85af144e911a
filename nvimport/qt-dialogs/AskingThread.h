#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <queue>
#include <utility>

namespace nvimport {

// The thread of an import while it waits for the window's to have an answer: it does meanwhile what
// that one wants to have read. Shared by both.
class AskingThread {
 public:
  // For the window's thread.
  void Want(std::function<void()> errand) {
    const std::scoped_lock lock(mutex_);
    errands_.push(std::move(errand));
    changed_.notify_one();
  }
  void End() {
    const std::scoped_lock lock(mutex_);
    ended_ = true;
    changed_.notify_one();
  }

  // For the import's: until End is called.
  void Serve() {
    std::unique_lock lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return ended_ || !errands_.empty(); });
      if (ended_) return;
      const std::function<void()> errand = std::move(errands_.front());
      errands_.pop();
      lock.unlock();
      errand();
      lock.lock();
    }
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::queue<std::function<void()>> errands_;
  bool ended_ = false;
};

}  // namespace nvimport
