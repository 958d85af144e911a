#include "nvimport/platform/OutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace nvimport {

namespace {

thread_local int first_failure = 0;

void Remember(int error) {
  if (first_failure == 0) first_failure = error;
}

}  // namespace

OutputFile::OutputFile(const char* path)
    : OutputFile(::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666), true) {}

OutputFile::OutputFile(int descriptor, bool owned) : descriptor_(descriptor), owned_(owned) {
  if (descriptor < 0) return;
  buffer_ = std::make_unique_for_overwrite<char[]>(kBufferSize);
  used_ = 0;
}

OutputFile::OutputFile(OutputFile&& other) noexcept { *this = std::move(other); }

OutputFile& OutputFile::operator=(OutputFile&& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  std::swap(owned_, other.owned_);
  std::swap(failed_, other.failed_);
  std::swap(buffer_, other.buffer_);
  std::swap(used_, other.used_);
  return *this;
}

void OutputFile::WriteAcross(std::string_view text) {
  Flush();
  if (!is_open()) return;
  if (text.size() > kBufferSize) return WriteOut(text.data(), text.size());
  Write(text);
}

void OutputFile::WriteOut(const char* bytes, std::size_t count) {
  while (count > 0 && !failed_) {
    const ::ssize_t written = ::write(descriptor_, bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) {
      failed_ = true;
      return Remember(errno);
    }
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
}

void OutputFile::Flush() {
  if (!is_open()) return;
  WriteOut(buffer_.get(), std::exchange(used_, 0));
}

void OutputFile::Close() {
  if (!is_open()) return;
  Flush();
  if (owned_ && ::close(descriptor_) != 0) Remember(errno);
  descriptor_ = -1;
  buffer_.reset();
  used_ = kBufferSize;
}

std::string OutputFile::TakeFailure() {
  const int failure = std::exchange(first_failure, 0);
  return failure == 0 ? std::string() : std::strerror(failure);
}

}  // namespace nvimport
