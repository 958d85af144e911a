#include "nvimport/formats/workbook/SpooledStrings.h"

#include <algorithm>
#include <cstring>

namespace nvimport {

namespace {

// Of the budget, for what is read beside the texts and after them.
constexpr std::uint64_t kSpared = std::uint64_t{16} << 20;

template <typename T>
std::span<char> BytesOf(T& value) {
  return {reinterpret_cast<char*>(&value), sizeof value};
}

}  // namespace

bool Spool::Write(std::span<const char> bytes) {
  constexpr std::size_t kAtOnce = std::size_t{64} << 10;
  unwritten_.append(bytes.data(), bytes.size());
  size_ += bytes.size();
  return unwritten_.size() < kAtOnce || Flush();
}

bool Spool::Flush() {
  const bool is_there = size_ > unwritten_.size() || !file_.path().empty();
  const bool is_written = is_there && file_.Write(unwritten_);
  unwritten_.clear();
  return is_written;
}

const char* Spool::Block(std::uint64_t number) {
  const std::size_t place = number % kBlocks;
  char* const block = blocks_.get() + place * kBlock;
  if (numbers_[place] == number + 1) return block;
  const std::uint64_t begin = number * kBlock;
  const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, size_ - begin));
  const bool is_read = file_.Read(begin, {block, length});
  numbers_[place] = is_read ? number + 1 : 0;
  return is_read ? block : nullptr;
}

bool Spool::Read(std::uint64_t position, std::span<char> into) {
  if (!unwritten_.empty() && !Flush()) return false;
  if (!blocks_) {
    blocks_ = std::make_unique_for_overwrite<char[]>(kKept);
    numbers_.resize(kBlocks);
  }
  while (!into.empty()) {
    if (position >= size_) return false;
    const char* const block = Block(position / kBlock);
    if (block == nullptr) return false;
    const auto at = static_cast<std::size_t>(position % kBlock);
    const std::size_t count =
        std::min<std::uint64_t>(std::min(into.size(), kBlock - at), size_ - position);
    std::memcpy(into.data(), block + at, count);
    into = into.subspan(count);
    position += count;
  }
  return true;
}

bool SpooledStrings::Add(std::string_view text) {
  if (!spools_ && Keep(text)) return true;
  failed_ = failed_ || !PutInSpool(text);
  return !failed_;
}

bool SpooledStrings::PutInSpool(std::string_view text) {
  if (!spools_) {
    if (!budget_.Take(2 * Spool::kKept)) return false;
    spools_ = std::make_unique<Spools>();
    std::uint64_t begin = 0;
    if (!spools_->begins.Write(BytesOf(begin))) return false;
  }
  if (text.size() > longest_) {
    if (!budget_.Take(text.size() - longest_)) return false;
    longest_ = text.size();
  }
  std::uint64_t end = spools_->texts.size() + text.size();
  return spools_->texts.Write(text) && spools_->begins.Write(BytesOf(end));
}

// False when there is no room in memory.
bool SpooledStrings::Keep(std::string_view text) {
  constexpr std::size_t kNumbersAtOnce = 8192;
  const std::size_t size = text.size() + 1;
  if (texts_.size() == paid_numbers_) {
    if (!budget_.TakeIfSpare(kNumbersAtOnce * sizeof(char*), kSpared)) return false;
    paid_numbers_ += kNumbersAtOnce;
  }
  if (size > room_) {
    const std::size_t chunk = std::max(kChunk, size);
    if (!budget_.TakeIfSpare(chunk, kSpared)) return false;
    chunks_.push_back(std::make_unique_for_overwrite<char[]>(chunk));
    free_ = chunks_.back().get();
    room_ = chunk;
  }
  if (!text.empty()) std::memcpy(free_, text.data(), text.size());
  free_[text.size()] = '\0';
  texts_.push_back(free_);
  free_ += size;
  room_ -= size;
  return true;
}

const char* SpooledStrings::FromSpool(std::uint64_t number) {
  std::uint64_t ends[2];
  if (!spools_ || spools_->begins.size() < (number + 2) * sizeof ends[0]) return nullptr;
  if (spools_->begins.Read(number * sizeof ends[0], BytesOf(ends))) {
    from_spool_.resize(static_cast<std::size_t>(ends[1] - ends[0]));
    if (spools_->texts.Read(ends[0], from_spool_)) return from_spool_.c_str();
  }
  failed_ = true;
  return "";
}

}  // namespace nvimport
