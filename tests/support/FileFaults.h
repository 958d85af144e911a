#pragma once

#include <climits>
#include <functional>

namespace nvimport {

// What becomes of the program's reads and writes while it lives.
class FileFaults {
 public:
  FileFaults();
  FileFaults(const FileFaults&) = delete;
  FileFaults& operator=(const FileFaults&) = delete;
  ~FileFaults();

  std::size_t most = SSIZE_MAX;  // bytes that one call moves
  int failing = INT_MAX;         // the call that fails, from 0
  int error = 0;                 // with this
  std::function<void(int call)> before = nullptr;
  int calls = 0;
};

}  // namespace nvimport
