#pragma once

#include <memory>
#include <mutex>

#include "nvimport/platform/LibraryLock.h"
#include "nvimport/platform/System.h"

namespace nvimport {

// The turns of the threads that call into a plug-in library, which expects no call while another
// one runs. A call may come out of a callback of one.
class PluginTurns {
 public:
  void lock() {
    {
      // A thread that had its turn does not live in a process forked meanwhile.
      const LibraryLock lock;
      if (process_ != ProcessNumber()) std::construct_at(&turn_);
      process_ = ProcessNumber();
    }
    turn_.lock();
  }
  void unlock() { turn_.unlock(); }

 private:
  std::recursive_mutex turn_;
  unsigned process_ = ProcessNumber();
};

}  // namespace nvimport
