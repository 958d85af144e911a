// The C library's guarded forms of read and write would stand in the way of those made here.
#undef _FORTIFY_SOURCE

#include "tests/support/FileFaults.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace nvimport {

namespace {

FileFaults* current = nullptr;

::ssize_t Move(long call, int descriptor, void* bytes, std::size_t count) {
  if (current != nullptr && descriptor > STDERR_FILENO) {
    const int number = current->calls++;
    // What is done before may read itself.
    FileFaults* const faults = std::exchange(current, nullptr);
    if (faults->before) faults->before(number);
    current = faults;
    if (number == current->failing) {
      errno = current->error;
      return -1;
    }
    count = std::min(count, current->most);
  }
  return ::syscall(call, descriptor, bytes, count);
}

}  // namespace

FileFaults::FileFaults() { current = this; }
FileFaults::~FileFaults() { current = nullptr; }

// These take the place of the C library's in the whole program.
extern "C" ::ssize_t read(int descriptor, void* bytes, std::size_t count) {
  return Move(SYS_read, descriptor, bytes, count);
}
extern "C" ::ssize_t write(int descriptor, const void* bytes, std::size_t count) {
  return Move(SYS_write, descriptor, const_cast<void*>(bytes), count);
}

}  // namespace nvimport
