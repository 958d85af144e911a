#include "nvimport/platform/TemporaryFile.h"

#include "nvimport/platform/System.h"

namespace nvimport {

TemporaryFile::TemporaryFile() : descriptor_(OpenTemporary(path_)) {
  if (descriptor_ < 0) path_.clear();
}

TemporaryFile::~TemporaryFile() {
  if (descriptor_ >= 0) CloseFile(descriptor_);
}

bool TemporaryFile::Write(std::span<const char> bytes) {
  if (!WriteAt(written_, bytes)) return false;
  written_ += bytes.size();
  return true;
}

bool TemporaryFile::WriteAt(std::uint64_t position, std::span<const char> bytes) {
  if (!SeekTo(descriptor_, position)) return false;
  while (!bytes.empty()) {
    const std::ptrdiff_t written = WriteSome(descriptor_, bytes);
    if (written < 0 && written != kInterrupted) return false;
    if (written > 0) bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

bool TemporaryFile::Read(std::uint64_t position, std::span<char> into) const {
  if (!SeekTo(descriptor_, position)) return false;
  while (!into.empty()) {
    const std::ptrdiff_t got = ReadSome(descriptor_, into);
    if (got == kInterrupted) continue;
    if (got <= 0) return false;
    into = into.subspan(static_cast<std::size_t>(got));
  }
  return true;
}

}  // namespace nvimport
