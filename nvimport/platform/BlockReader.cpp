#include "nvimport/platform/BlockReader.h"

#include <algorithm>
#include <cstring>

namespace nvimport {

void BlockReader::Begin(InputFile& file, std::uint64_t position) {
  file_ = &file;
  failed_ = false;
  begin_ = end_ = 0;
  next_ = position;
  file.Seek(position);
}

void BlockReader::Fill() {
  // No more room than the file can fill.
  const std::uint64_t rest = file_->size() > next_ ? file_->size() - next_ : 0;
  const std::size_t have = end_ - begin_;
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kSize, have + rest));
  if (have > 0) std::memmove(buffer_.data(), buffer_.data() + begin_, have);
  if (buffer_.size() < wanted) buffer_.resize(wanted);
  begin_ = 0;
  end_ = have;
  if (wanted <= have) return;
  const std::ptrdiff_t got = file_->Read(std::span(buffer_).subspan(have, wanted - have));
  failed_ = got < 0;
  if (got > 0) {
    end_ += static_cast<std::size_t>(got);
    next_ += static_cast<std::uint64_t>(got);
  }
}

void BlockReader::SkipFar(std::uint64_t count) {
  next_ += count - (end_ - begin_);
  begin_ = end_ = 0;
  file_->Seek(next_);
}

}  // namespace nvimport
