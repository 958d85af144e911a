#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <memory>
#include <mutex>

#include "nvimport/platform/LibraryLock.h"

namespace nvimport {

// The turns of the threads that call into a plug-in library, which expects no call while another
// one runs. A call may come out of a callback of one.
class PluginTurns {
 public:
  void lock() {
    {
      // A thread that had its turn does not live in a process forked meanwhile.
      const LibraryLock lock;
      if (process_ != ::getpid()) std::construct_at(&turn_);
      process_ = ::getpid();
    }
    turn_.lock();
  }
  void unlock() { turn_.unlock(); }

 private:
  std::recursive_mutex turn_;
  ::pid_t process_ = ::getpid();
};

}  // namespace nvimport
