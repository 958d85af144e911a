#include "nvimport/hosting/TemporaryPaths.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace nvimport {

namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};
// A reader that breaks on a bad file.
constexpr int kFaults[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

// Fixed memory, since the handler may neither allocate nor wait.
struct Slot {
  volatile std::sig_atomic_t used = 0;
  bool is_folder = false;
  char path[PATH_MAX] = {};
};
std::array<Slot, 8> slots;

extern "C" void RemoveAndEnd(int signal) {
  // Backwards: a file goes before the folder that it lies in.
  for (std::size_t i = slots.size(); i-- > 0;) {
    if (!slots[i].used) continue;
    slots[i].is_folder ? ::rmdir(slots[i].path) : ::unlink(slots[i].path);
  }
  // The signal itself ends the process, so that a shell sees why; it comes once this returns.
  ::signal(signal, SIG_DFL);
  ::raise(signal);
}

// No signal comes between making a file and noting it.
class SignalsHeld {
 public:
  SignalsHeld() {
    ::sigset_t held;
    ::sigemptyset(&held);
    for (const int signal : kEndingSignals) ::sigaddset(&held, signal);
    ::sigprocmask(SIG_BLOCK, &held, &before_);
  }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;
  ~SignalsHeld() { ::sigprocmask(SIG_SETMASK, &before_, nullptr); }

 private:
  ::sigset_t before_{};
};

int MoveNew(const char* from, const char* to) {
  if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // A file system that can't do it in one step.
  if (::access(to, F_OK) == 0) return EEXIST;
  return ::rename(from, to) == 0 ? 0 : errno;
}

}  // namespace

void RemoveTemporariesOnSignals() {
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

void ForgetTemporaries() {
  for (Slot& slot : slots) slot.used = 0;
}

std::string TemporaryFolder() {
  const char* folder = std::getenv("TMPDIR");
  return folder != nullptr && *folder != '\0' ? folder : "/tmp";
}

TemporaryPath::TemporaryPath(Kind kind, std::string pattern)
    : path_(std::move(pattern)), is_folder_(kind == Kind::kFolder) {
  const SignalsHeld held;
  if (path_.size() >= PATH_MAX) {
    error_ = ENAMETOOLONG;
    return;
  }
  if (is_folder_) {
    if (::mkdtemp(path_.data()) == nullptr) error_ = errno;
  } else {
    descriptor_ = ::mkostemp(path_.data(), O_CLOEXEC);
    if (descriptor_ < 0) error_ = errno;
  }
  if (error_ == 0) Register();
}

TemporaryPath::TemporaryPath(std::string path) : path_(std::move(path)) {
  const SignalsHeld held;
  Register();
}

TemporaryPath::~TemporaryPath() {
  if (!registered_) return;
  const SignalsHeld held;
  is_folder_ ? ::rmdir(path_.c_str()) : ::unlink(path_.c_str());
  Forget();
}

int TemporaryPath::MoveTo(const std::string& target, bool replace) {
  const SignalsHeld held;
  const int error = replace ? (::rename(path_.c_str(), target.c_str()) == 0 ? 0 : errno)
                            : MoveNew(path_.c_str(), target.c_str());
  if (error == 0) Forget();
  return error;
}

void TemporaryPath::Register() {
  for (slot_ = 0; slot_ < slots.size(); ++slot_) {
    Slot& slot = slots[slot_];
    if (slot.used) continue;
    path_.copy(slot.path, sizeof slot.path - 1);
    slot.path[path_.size()] = '\0';
    slot.is_folder = is_folder_;
    slot.used = 1;
    break;
  }
  registered_ = true;
}

void TemporaryPath::Forget() {
  registered_ = false;
  if (slot_ < slots.size()) slots[slot_].used = 0;
}

}  // namespace nvimport
