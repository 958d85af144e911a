#include "nvimport/platform/Ending.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <memory>
#include <new>

namespace nvimport {

namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};
// A reader that breaks on a bad file.
constexpr int kFaults[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

extern "C" void RemoveAndEnd(int signal) {
  RemoveNoted();
  // The signal itself ends the process, so that a shell sees why; it comes once this returns.
  ::signal(signal, SIG_DFL);
  ::raise(signal);
}

}  // namespace

void RemoveNotedAtEnd() {
  struct sigaction action {};
  action.sa_handler = RemoveAndEnd;
  const auto install = [&action](int signal) {
    struct sigaction before {};
    // What nohup or a shell's background job has made ignored stays so, and whoever looks into
    // faults goes on doing so. A closed pipe is always the end, though.
    ::sigaction(signal, nullptr, &before);
    if (before.sa_handler == SIG_DFL || signal == SIGPIPE) ::sigaction(signal, &action, nullptr);
  };
  std::ranges::for_each(kEndingSignals, install);
  std::ranges::for_each(kFaults, install);
  // A write beyond the allowed size then fails with words of its own.
  ::signal(SIGXFSZ, SIG_IGN);
}

EndHeld::EndHeld() {
  static_assert(sizeof(::sigset_t) <= kRoom);
  ::sigset_t held;
  ::sigemptyset(&held);
  for (const int signal : kEndingSignals) ::sigaddset(&held, signal);
  ::sigprocmask(SIG_BLOCK, &held, std::construct_at(reinterpret_cast<::sigset_t*>(before_)));
}

EndHeld::~EndHeld() {
  ::sigprocmask(SIG_SETMASK, std::launder(reinterpret_cast<::sigset_t*>(before_)), nullptr);
}

}  // namespace nvimport
