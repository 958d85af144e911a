#include "nvimport/platform/LibraryLock.h"

#include <pthread.h>

#include <memory>
#include <mutex>

#include "nvimport/platform/Immortal.h"

namespace nvimport {

namespace {

std::recursive_mutex& TheMutex() {
  static const int at_fork =
      ::pthread_atfork([] { Immortal<std::recursive_mutex>().lock(); },
                       [] { Immortal<std::recursive_mutex>().unlock(); },
                       // The thread that goes on is not the one that it knows.
                       [] { std::construct_at(&Immortal<std::recursive_mutex>()); });
  static_cast<void>(at_fork);
  return Immortal<std::recursive_mutex>();
}

}  // namespace

LibraryLock::LibraryLock() { TheMutex().lock(); }

LibraryLock::~LibraryLock() { TheMutex().unlock(); }

}  // namespace nvimport
