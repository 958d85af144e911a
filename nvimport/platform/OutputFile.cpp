#include "nvimport/platform/OutputFile.h"

#include <utility>

#include "nvimport/platform/System.h"

namespace nvimport {

namespace {

thread_local std::string first_failure;

void Remember(std::string words) {
  if (first_failure.empty()) first_failure = std::move(words);
}

}  // namespace

OutputFile::OutputFile(const char* path) : OutputFile(OpenOutput(path), true) {}

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
  std::swap(is_untouched_, other.is_untouched_);
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
    is_untouched_ = false;
    const std::ptrdiff_t written = WriteSome(descriptor_, {bytes, count});
    if (written == kInterrupted) continue;
    if (written < 0) return Fail(LastError());
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
}

void OutputFile::Flush() {
  if (!is_open()) return;
  WriteOut(buffer_.get(), std::exchange(used_, 0));
}

void OutputFile::Fail(std::string words) {
  failed_ = true;
  Remember(std::move(words));
}

void OutputFile::Close() {
  if (!is_open()) return;
  Flush();
  if (owned_ && !CloseFile(descriptor_)) Remember(LastError());
  descriptor_ = -1;
  buffer_.reset();
  used_ = kBufferSize;
}

bool OutputFile::Abandon() {
  if (is_open()) used_ = 0;
  Close();
  return is_untouched_;
}

std::string OutputFile::TakeFailure() { return std::exchange(first_failure, {}); }

}  // namespace nvimport
