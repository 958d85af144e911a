#pragma once

#include <utility>

#include "nvimport/platform/Immortal.h"
#include "nvimport/platform/LibraryLock.h"

namespace nvimport {

// What a host installs, a pointer of some kind: each thread has its own, and a thread that
// installed none uses that of the thread that was the first to. So a host that reads in one thread
// may install in another, and hosts that read in several don't meet. What an operation installs for
// its own length is never another thread's, which would not know of its end.
template <typename Pointer>
class Installed {
 public:
  static Pointer Current() {
    if (!own_is_gone && own.pointer != nullptr) return own.pointer;
    const LibraryLock lock;
    return Common();
  }

  // Makes `pointer` that of this thread alone and returns the one before it.
  static Pointer ExchangeOwn(Pointer pointer) {
    if (own_is_gone) return {};
    return std::exchange(own.pointer, std::move(pointer));
  }

  // The same for a host's.
  static Pointer Exchange(Pointer pointer) {
    Pointer before = ExchangeOwn(pointer);
    const LibraryLock lock;
    if (Common() == nullptr || Common() == before) Common() = std::move(pointer);
    return before;
  }

 private:
  struct Of {
    Pointer pointer{};
  };
  // Globals are destroyed after what belongs to the main thread.
  struct OwnOf : Of {
    ~OwnOf() { own_is_gone = true; }
  };

  static Pointer& Common() { return Immortal<Of>().pointer; }

  static inline thread_local bool own_is_gone = false;
  static inline thread_local OwnOf own;
};

}  // namespace nvimport
