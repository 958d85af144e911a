#include "nvimport/platform/BlockReader.h"

#include <algorithm>

namespace nvimport {

void BlockReader::Begin(InputFile& file, std::uint64_t position) {
  file_ = &file;
  buffer_.Clear();
  next_ = position;
  file.Seek(position);
}

void BlockReader::Fill() {
  // No more room than the file can fill.
  const std::uint64_t rest = file_->size() > next_ ? file_->size() - next_ : 0;
  const std::size_t have = buffer_.size();
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kSize - have, rest));
  if (wanted == 0) return;
  buffer_.Fill(wanted, [this](std::span<char> into) { return file_->Read(into); });
  next_ += buffer_.size() - have;
}

void BlockReader::SkipFar(std::uint64_t count) {
  next_ += count - buffer_.size();
  buffer_.Skip(buffer_.size());
  file_->Seek(next_);
}

}  // namespace nvimport
