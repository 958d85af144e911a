#include "nvimport/platform/BlockReader.h"

#include <algorithm>

namespace nvimport {

void BlockReader::Begin(InputFile& file, std::uint64_t position) {
  file_ = &file;
  source_ = nullptr;
  buffer_.Clear(position);
  file.Seek(position);
}

void BlockReader::Begin(ByteSource& source, std::uint64_t position) {
  source_ = &source;
  buffer_.Clear(position);
}

void BlockReader::Fill() {
  // No more room than the file can fill.
  const std::uint64_t end = position() + buffer_.size();
  const std::uint64_t size = source_ != nullptr ? source_->size() : file_->size();
  const std::uint64_t rest = size > end ? size - end : 0;
  const auto wanted = std::min<std::uint64_t>(kSize - buffer_.size(), rest);
  if (wanted == 0) return;
  buffer_.Fill(static_cast<std::size_t>(wanted), [&](std::span<char> into) {
    return source_ != nullptr ? source_->ReadAt(end, into) : file_->Read(into);
  });
}

void BlockReader::SkipFar(std::uint64_t count) {
  if (!buffer_.Seek(position() + count) && source_ == nullptr) file_->Seek(position());
}

}  // namespace nvimport
