#include "nvimport/platform/InputFile.h"

#include "nvimport/platform/Progress.h"
#include "nvimport/platform/System.h"

namespace nvimport {

thread_local InputContinuation* InputContinuation::current_ = nullptr;

InputContinuation::InputContinuation(const char* path, int descriptor)
    : before_(std::exchange(current_, this)), descriptor_(descriptor) {
  if (const auto identity = IdentityOf(path)) {
    device_ = identity->device;
    file_ = identity->number;
  }
}

InputContinuation::~InputContinuation() { current_ = before_; }

InputFile::InputFile(const char* path) : descriptor_(OpenInput(path)) {}

std::uint64_t InputFile::size() const { return SizeOf(descriptor_); }

std::ptrdiff_t InputFile::Read(std::span<char> into) {
  std::size_t filled = 0;
  while (filled < into.size()) {
    const std::ptrdiff_t got = ReadSome(descriptor_, into.subspan(filled));
    if (got == 0) break;
    if (got == kInterrupted) continue;
    if (got < 0) return -1;
    filled += static_cast<std::size_t>(got);
  }
  std::uint64_t position = PositionOf(descriptor_);
  InputContinuation* const on = InputContinuation::current_;
  const bool goes_on = on != nullptr && filled < into.size() && Precedes(*on);
  while (goes_on && filled < into.size()) {
    const std::ptrdiff_t got = ReadSome(on->descriptor_, into.subspan(filled));
    if (got == 0) break;
    if (got == kInterrupted && Progress::Poll()) continue;
    if (got < 0) return -1;
    filled += static_cast<std::size_t>(got);
    on->taken_ += static_cast<std::uint64_t>(got);
  }
  if (goes_on) position += on->taken_;
  if (!Progress::Report(position, goes_on ? 0 : size())) return -1;
  return static_cast<std::ptrdiff_t>(filled);
}

bool InputFile::Precedes(const InputContinuation& other) const {
  return IdentityOf(descriptor_) == FileIdentity{other.device_, other.file_};
}

bool InputFile::Seek(std::uint64_t position) {
  const InputContinuation* const on = InputContinuation::current_;
  if (on != nullptr && on->taken_ > 0 && Precedes(*on)) return false;
  return SeekTo(descriptor_, position);
}

void InputFile::Close() {
  if (descriptor_ >= 0) CloseFile(std::exchange(descriptor_, -1));
}

}  // namespace nvimport
