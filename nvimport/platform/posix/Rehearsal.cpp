#include "nvimport/platform/Rehearsal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace nvimport {

namespace {

constexpr int kMostSeconds = 10;

// What a host does at the end of its process is not for a copy to do.
[[noreturn]] void End() {
  for (;;) ::kill(::getpid(), SIGKILL);
}

[[noreturn]] void Rehearse(const std::function<void()>& work, int report) {
  // The host may have other plans for the signal.
  ::sigset_t alarm;
  ::sigemptyset(&alarm);
  ::sigaddset(&alarm, SIGALRM);
  ::sigprocmask(SIG_UNBLOCK, &alarm, nullptr);
  ::signal(SIGALRM, SIG_DFL);
  ::alarm(kMostSeconds);
  std::atexit([] { End(); });
  ::unsetenv("NVIMPORT_LOG");  // nor has the file of entries more than one of each
  work();
  const char returned = 1;
  while (::write(report, &returned, 1) < 0 && errno == EINTR) {
  }
  End();
}

}  // namespace

bool Returns(const std::function<void()>& work) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return true;
  const ::pid_t copy = ::fork();
  if (copy == 0) Rehearse(work, ends[1]);
  ::close(ends[1]);
  bool returned = copy < 0;
  if (copy > 0) {
    // Its word comes through the pipe: a host may collect the status of every child before us.
    ::pollfd report{ends[0], POLLIN, 0};
    char byte = 0;
    int got = 0;
    do got = ::poll(&report, 1, (kMostSeconds + 1) * 1000);
    while (got < 0 && errno == EINTR);
    returned = got == 1 && ::read(ends[0], &byte, 1) == 1;
    ::kill(copy, SIGKILL);
    ::waitpid(copy, nullptr, 0);
  }
  ::close(ends[0]);
  return returned;
}

}  // namespace nvimport
