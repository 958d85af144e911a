#include "nvimport/platform/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "nvimport/platform/Ending.h"
#include "nvimport/platform/Sanitizer.h"

namespace nvimport {

struct ChildProcess::Parts {
  ::pid_t process = -1;
  int pipe = -1;

  // Takes in what there is; false when no more will come.
  bool Receive(std::string& said) const {
    char bytes[4096];
    for (;;) {
      const ::ssize_t got = ::read(pipe, bytes, sizeof bytes);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return got < 0;
      said.append(bytes, static_cast<std::size_t>(got));
    }
  }

  void Kill() {
    ::kill(-process, SIGKILL);
    while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR) continue;
    process = -1;
  }
};

namespace {

void Limit(decltype(RLIMIT_CORE) what, ::rlim_t most) {
  const ::rlimit limit{most, most};
  ::setrlimit(what, &limit);
}

void SendAll(int pipe, std::string_view bytes) {
  while (!bytes.empty()) {
    const ::ssize_t sent = ::write(pipe, bytes.data(), bytes.size());
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) ::_exit(EXIT_FAILURE);
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

std::string SignalWords(int signal) {
  const char* name = ::sigabbrev_np(signal);
  return "signal " + std::to_string(signal) +
         (name != nullptr ? " (SIG" + std::string(name) + ")" : "");
}

[[noreturn]] void RunChild(const std::string& task, std::size_t limit, int pipe, ::pid_t parent,
                           const ChildProcess::Work& work) {
  ForgetPaths();
  // A signal is to end the process and nothing else, whoever has taken it before.
  for (int signal = 1; signal < NSIG; ++signal) ::signal(signal, SIG_DFL);
  // Processes that the work leaves behind are found by the group.
  ::setpgid(0, 0);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(EXIT_FAILURE);
  if (const int nothing = ::open("/dev/null", O_RDONLY | O_CLOEXEC); nothing >= 0)
    ::dup2(nothing, STDIN_FILENO);
  ::dup2(STDERR_FILENO, STDOUT_FILENO);
  Limit(RLIMIT_CORE, 0);
  Limit(RLIMIT_FSIZE, limit);
  // A sanitizer takes more memory than any limit.
#if !defined(NVIMPORT_UNDER_ASAN)
  Limit(RLIMIT_DATA, limit);
#endif
  work(task, [pipe](std::string_view bytes) { SendAll(pipe, bytes); });
  ::_exit(EXIT_SUCCESS);
}

}  // namespace

ChildProcess::ChildProcess(const std::string& task, std::size_t limit, const Work& work)
    : parts_(std::make_unique<Parts>()) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category());
  const ::pid_t parent = ::getpid();
  parts_->process = ::fork();
  if (parts_->process == 0) {
    ::close(ends[0]);
    RunChild(task, limit, ends[1], parent, work);
  }
  const int error = errno;
  ::close(ends[1]);
  parts_->pipe = ends[0];
  if (parts_->process < 0) {
    ::close(parts_->pipe);
    throw std::system_error(error, std::generic_category());
  }
  ::setpgid(parts_->process, parts_->process);
  ::fcntl(parts_->pipe, F_SETFL, O_NONBLOCK);
}

ChildProcess::~ChildProcess() {
  if (parts_->process > 0) parts_->Kill();
  ::close(parts_->pipe);
}

void ChildProcess::RunTask(const Work&) {}

bool ChildProcess::Finish(std::chrono::steady_clock::time_point deadline, std::string& said,
                          End& end) {
  ::siginfo_t ended{};
  bool more = true;
  bool has_ended = false;
  // The pipe may close before the process ends, and may stay open in a process that it left behind.
  while (!has_ended && std::chrono::steady_clock::now() < deadline) {
    ::pollfd pipe{more ? parts_->pipe : -1, POLLIN, 0};
    ::poll(&pipe, 1, more ? 10 : 1);
    more = more && parts_->Receive(said);
    has_ended = ::waitid(P_PID, static_cast<::id_t>(parts_->process), &ended,
                         WEXITED | WNOHANG | WNOWAIT) == 0 &&
                ended.si_pid == parts_->process;
  }
  parts_->Kill();
  parts_->Receive(said);
  end.is_exit = ended.si_code == CLD_EXITED;
  end.status = ended.si_status;
  if (has_ended && !end.is_exit) end.words = SignalWords(ended.si_status);
  return has_ended;
}

}  // namespace nvimport
