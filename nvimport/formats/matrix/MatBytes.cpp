#include "nvimport/formats/matrix/MatBytes.h"

#include <algorithm>
#include <utility>

namespace nvimport {

MatBytes::MatBytes(const char* path) : file_(path) {
  if (file_.is_open()) file_size_ = file_.size();
}

MatBytes::MatBytes(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {
  if (source_) file_size_ = source_->size();
}

void MatBytes::Begin(std::uint64_t position) {
  inflater_.reset();
  damaged_ = false;
  if (source_)
    reader_.Begin(*source_, position);
  else
    reader_.Begin(file_, position);
}

void MatBytes::BeginPacked(std::uint64_t position, std::uint64_t packed) {
  Begin(position);
  packed_left_ = packed;
  inflater_.emplace(Inflater::Wrap::kZlib);
  unpacked_.Clear(0);
}

void MatBytes::Unpack(std::size_t least) {
  constexpr std::size_t kBlock = std::size_t{64} << 10;
  least = std::min(least, kMostAhead);
  const auto unpack = [this](std::span<char> into) {
    std::span<const char> packed = reader_.Ahead(packed_left_ > 0 ? 1 : 0);
    packed = packed.first(std::min<std::uint64_t>(packed.size(), packed_left_));
    const std::size_t before = packed.size();
    const std::size_t count = inflater_->Inflate(packed, into);
    reader_.Skip(before - packed.size());
    packed_left_ -= before - packed.size();
    damaged_ = inflater_->failed();
    return static_cast<std::ptrdiff_t>(count);
  };
  while (unpacked_.size() < least && !damaged_ && !inflater_->at_end())
    unpacked_.Fill(kBlock, unpack);
}

void MatBytes::SkipPacked(std::uint64_t count) {
  while (count > unpacked_.size()) {
    count -= unpacked_.size();
    unpacked_.Skip(unpacked_.size());
    Unpack(1);
    if (unpacked_.size() == 0) {
      damaged_ = true;
      return;
    }
  }
  unpacked_.Skip(static_cast<std::size_t>(count));
}

bool MatBytes::EndsHere() {
  return Ahead(1).empty() && !failed() && inflater_ && inflater_->at_end() && packed_left_ == 0;
}

}  // namespace nvimport
