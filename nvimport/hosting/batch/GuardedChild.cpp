#include "nvimport/hosting/batch/GuardedChild.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <system_error>

#include "nvimport/hosting/TemporaryPaths.h"
#include "nvimport/platform/Sanitizer.h"

namespace nvimport {

namespace {

// Ends the messages of work that is done; every message ends in a NUL.
constexpr char kDone = '\0';

void Limit(decltype(RLIMIT_CORE) what, ::rlim_t most) {
  const ::rlimit limit{most, most};
  ::setrlimit(what, &limit);
}

void SendAll(int pipe, const char* bytes, std::size_t count) {
  while (count > 0) {
    const ::ssize_t sent = ::write(pipe, bytes, count);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) ::_exit(EXIT_FAILURE);
    bytes += sent;
    count -= static_cast<std::size_t>(sent);
  }
}

std::string SignalWords(int signal) {
  const char* name = ::sigabbrev_np(signal);
  return "signal " + std::to_string(signal) +
         (name != nullptr ? " (SIG" + std::string(name) + ")" : "");
}

[[noreturn]] void RunChild(const ChildLimits& limits, int pipe, ::pid_t parent,
                           const std::function<void(const GuardedChild::Say&)>& work) {
  ForgetTemporaries();
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
  Limit(RLIMIT_FSIZE, limits.megabytes << 20);
#if !defined(NVIMPORT_UNDER_ASAN)
  Limit(RLIMIT_DATA, limits.megabytes << 20);
#endif
  work([pipe](const std::string& message) { SendAll(pipe, message.c_str(), message.size() + 1); });
  SendAll(pipe, &kDone, 1);
  ::_exit(EXIT_SUCCESS);
}

}  // namespace

GuardedChild::GuardedChild(const ChildLimits& limits,
                           const std::function<void(const Say& say)>& work)
    : limits_(limits) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category());
  const ::pid_t parent = ::getpid();
  process_ = ::fork();
  if (process_ == 0) {
    ::close(ends[0]);
    RunChild(limits, ends[1], parent, work);
  }
  const int error = errno;
  ::close(ends[1]);
  pipe_ = ends[0];
  if (process_ < 0) {
    ::close(pipe_);
    throw std::system_error(error, std::generic_category());
  }
  ::setpgid(process_, process_);
  ::fcntl(pipe_, F_SETFL, O_NONBLOCK);
}

GuardedChild::~GuardedChild() {
  if (process_ > 0) End();
  ::close(pipe_);
}

bool GuardedChild::Receive() {
  char bytes[4096];
  for (;;) {
    const ::ssize_t got = ::read(pipe_, bytes, sizeof bytes);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got < 0;
    received_.append(bytes, static_cast<std::size_t>(got));
  }
}

void GuardedChild::End() {
  ::kill(-process_, SIGKILL);
  while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) continue;
  process_ = -1;
}

ChildOutcome GuardedChild::Finish() {
  using namespace std::chrono;
  const auto deadline = begun_ + seconds(limits_.seconds);
  ChildOutcome outcome;
  ::siginfo_t end{};
  bool more = true;
  // The pipe may close before the process ends, and may stay open in a process that it left behind.
  for (;;) {
    ::pollfd pipe{more ? pipe_ : -1, POLLIN, 0};
    ::poll(&pipe, 1, more ? 10 : 1);
    more = more && Receive();
    if (::waitid(P_PID, static_cast<::id_t>(process_), &end, WEXITED | WNOHANG | WNOWAIT) == 0 &&
        end.si_pid == process_)
      break;
    if (steady_clock::now() >= deadline) {
      outcome.hung = true;
      break;
    }
  }
  End();
  Receive();

  const bool done =
      received_ == std::string(1, kDone) || received_.ends_with(std::string(2, kDone));
  for (std::size_t start = 0, stop; (stop = received_.find('\0', start)) != std::string::npos;
       start = stop + 1)
    if (stop > start) outcome.messages.push_back(received_.substr(start, stop - start));
  if (outcome.hung)
    outcome.fault = "still running after " + std::to_string(limits_.seconds) + " s";
  else if (end.si_code != CLD_EXITED)
    outcome.fault = "ended by " + SignalWords(end.si_status);
  else if (!done)
    outcome.fault = "ended the process with exit(" + std::to_string(end.si_status) + ")";
  return outcome;
}

}  // namespace nvimport
