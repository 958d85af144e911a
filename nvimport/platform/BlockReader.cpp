#include "nvimport/platform/BlockReader.h"

#include <algorithm>

namespace nvimport {

void BlockReader::Begin(InputFile& file, std::uint64_t position) {
  file_ = &file;
  buffer_.Clear(position);
  file.Seek(position);
}

void BlockReader::Fill() {
  // No more room than the file can fill.
  const std::size_t have = buffer_.size();
  const std::uint64_t next = position() + have;
  const std::uint64_t rest = file_->size() > next ? file_->size() - next : 0;
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kSize - have, rest));
  if (wanted == 0) return;
  buffer_.Fill(wanted, [this](std::span<char> into) { return file_->Read(into); });
}

void BlockReader::SkipFar(std::uint64_t count) {
  buffer_.Seek(position() + count);
  file_->Seek(position());
}

}  // namespace nvimport
