#pragma once

namespace nvimport {

// While it lives, what the whole process shares of the library is this thread's: what is installed,
// the open handles, the list of formats. For moments, never while a file is read. A thread may take
// it again, and a process forked while another thread has it finds it free and all in order.
class LibraryLock {
 public:
  LibraryLock();
  LibraryLock(const LibraryLock&) = delete;
  LibraryLock& operator=(const LibraryLock&) = delete;
  ~LibraryLock();
};

}  // namespace nvimport
