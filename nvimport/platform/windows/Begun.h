#pragma once

#include <windows.h>

#include <cstddef>
#include <memory>
#include <string>

namespace nvimport {

// Processes of the same command, which are handed what they need (HandOver.h).

struct CloseHandleOf {
  void operator()(HANDLE handle) const { ::CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseHandleOf>;

// What such a process is for. The handles are also the child's.
struct Errand {
  enum Kind : int { kServe, kTask };

  int kind = kServe;
  std::size_t number = 0;   // of the worker
  HANDLE memory = nullptr;  // that all share
  HANDLE leaves = nullptr;
  HANDLE reports = nullptr;  // the end of a pipe that it writes to
  HANDLE stop = nullptr;     // is signalled when it shall end
  HANDLE parent = nullptr;
};

// A job whose processes end when its handle is closed; with a limit of memory unless it is 0.
Handle MakeJob(std::size_t memory);

struct BegunProcess {
  Handle process;
  Handle reports;  // to be read
  Handle stop;
};
// Begins a process in `job`, on the errand of that kind with its memory and leaves. It is handed
// `task` under the name "task" too. Whether it could; the reason is the system's last error.
bool BeginAnew(Errand errand, const std::string& task, HANDLE job, BegunProcess& begun);

// The errand of this process; null where it has none.
const Errand* OwnErrand();

// Writes all; false where nobody reads any more.
bool WriteAll(HANDLE to, const char* bytes, std::size_t count);

// "exit 1", or "exception 0xc0000005".
std::string EndWords(unsigned long status);
bool IsException(unsigned long status);

}  // namespace nvimport
