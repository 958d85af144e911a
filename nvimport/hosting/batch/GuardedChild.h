#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "nvimport/platform/Export.h"

namespace nvimport {

class ChildProcess;

struct ChildLimits {
  int seconds = 10;
  // Of writable memory and of a file written. A sanitizer takes more memory than any limit, so its
  // builds keep none.
  std::size_t megabytes = 1024;
};

struct ChildOutcome {
  std::vector<std::string> messages;  // what the work said, in order
  std::string fault;                  // what ended it before it was done, else empty
  bool hung = false;
};

// Work in a process of its own, so that a crash, a hang, an exit or a greed for memory costs that
// process alone. Its standard input is empty and its standard output goes to standard error.
class NVIMPORT_API GuardedChild {
 public:
  // Takes a text, not empty, to the parent.
  using Say = std::function<void(const std::string& message)>;
  using Work = void (*)(const std::string& task, const Say& say);

  // Starts the work on a task; throws where no process can be made.
  GuardedChild(const ChildLimits& limits, const std::string& task, Work work);
  GuardedChild(const GuardedChild&) = delete;
  GuardedChild& operator=(const GuardedChild&) = delete;
  ~GuardedChild();

  // To be called before such work is started: a process that was begun for a task does it here, and
  // ends.
  static void RunTask(Work work);

  // Waits for its end, which the limits see to.
  ChildOutcome Finish();

 private:
  ChildLimits limits_;
  std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
  std::unique_ptr<ChildProcess> process_;
};

}  // namespace nvimport
