#include "nvimport/platform/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "nvimport/platform/Progress.h"

namespace nvimport {

thread_local InputContinuation* InputContinuation::current_ = nullptr;

InputContinuation::InputContinuation(const char* path, int descriptor)
    : before_(std::exchange(current_, this)), descriptor_(descriptor) {
  struct stat status {};
  if (::stat(path, &status) != 0) return;
  device_ = status.st_dev;
  file_ = status.st_ino;
}

InputContinuation::~InputContinuation() { current_ = before_; }

InputFile::InputFile(const char* path) {
  // Without O_NONBLOCK a pipe that nobody writes to would hold the host here for ever.
  const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return;
  struct stat status {};
  if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode))
    descriptor_ = descriptor;
  else
    ::close(descriptor);
}

std::uint64_t InputFile::size() const {
  struct stat status {};
  return ::fstat(descriptor_, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

std::ptrdiff_t InputFile::Read(std::span<char> into) {
  std::size_t filled = 0;
  while (filled < into.size()) {
    const ::ssize_t got = ::read(descriptor_, into.data() + filled, into.size() - filled);
    if (got == 0) break;
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return -1;
    filled += static_cast<std::size_t>(got);
  }
  auto position = static_cast<std::uint64_t>(::lseek(descriptor_, 0, SEEK_CUR));
  InputContinuation* const on = InputContinuation::current_;
  const bool goes_on = on != nullptr && filled < into.size() && Precedes(*on);
  while (goes_on && filled < into.size()) {
    const ::ssize_t got = ::read(on->descriptor_, into.data() + filled, into.size() - filled);
    if (got == 0) break;
    if (got < 0 && errno == EINTR && Progress::Poll()) continue;
    if (got < 0) return -1;
    filled += static_cast<std::size_t>(got);
    on->taken_ += static_cast<std::uint64_t>(got);
  }
  if (goes_on) position += on->taken_;
  if (!Progress::Report(position, goes_on ? 0 : size())) return -1;
  return static_cast<std::ptrdiff_t>(filled);
}

bool InputFile::Precedes(const InputContinuation& other) const {
  struct stat status {};
  return ::fstat(descriptor_, &status) == 0 && status.st_dev == other.device_ &&
         status.st_ino == other.file_;
}

bool InputFile::Seek(std::uint64_t position) {
  const InputContinuation* const on = InputContinuation::current_;
  if (on != nullptr && on->taken_ > 0 && Precedes(*on)) return false;
  return ::lseek(descriptor_, static_cast<::off_t>(position), SEEK_SET) >= 0;
}

void InputFile::Close() {
  if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
}

}  // namespace nvimport
