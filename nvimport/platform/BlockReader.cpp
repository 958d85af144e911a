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
  const std::uint64_t end = position() + buffer_.size();
  const std::uint64_t rest = file_->size() > end ? file_->size() - end : 0;
  const auto wanted = std::min<std::uint64_t>(kSize - buffer_.size(), rest);
  if (wanted == 0) return;
  buffer_.Fill(static_cast<std::size_t>(wanted),
               [this](std::span<char> into) { return file_->Read(into); });
}

void BlockReader::SkipFar(std::uint64_t count) {
  if (!buffer_.Seek(position() + count)) file_->Seek(position());
}

}  // namespace nvimport
