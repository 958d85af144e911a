#include "nvimport/platform/LibraryLock.h"

#include <mutex>

#include "nvimport/platform/Immortal.h"

namespace nvimport {

LibraryLock::LibraryLock() { Immortal<std::recursive_mutex>().lock(); }

LibraryLock::~LibraryLock() { Immortal<std::recursive_mutex>().unlock(); }

}  // namespace nvimport
