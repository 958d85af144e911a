#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace nvimport {

// A process for work that may do anything to it. Its standard input is empty and its standard
// output goes to standard error; whatever it starts ends with it.
class ChildProcess {
 public:
  using Say = std::function<void(std::string_view bytes)>;
  using Work = std::function<void(const std::string& task, const Say& say)>;

  // How it came to its end.
  struct End {
    bool is_exit = false;  // by itself,
    int status = 0;        // with that status,
    std::string words;     // or else by this: "signal 11 (SIGSEGV)"
  };

  // Starts it; throws where it can't be. It may have so much writable memory and write files so
  // large, in bytes, as far as the system has such limits. In a process that is begun anew the
  // `work` is that of RunTask, see HandOver.h.
  ChildProcess(const std::string& task, std::size_t limit, const Work& work);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  // Ends it.
  ~ChildProcess();

  // In a process that was begun for a task: does it, and ends.
  static void RunTask(const Work& work);

  // Waits for its end until `deadline`; false where it still runs. Then ends it, and appends all
  // that it said.
  bool Finish(std::chrono::steady_clock::time_point deadline, std::string& said, End& end);

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace nvimport
