#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/platform/Budget.h"
#include "nvimport/platform/Fetch.h"
#include "nvimport/platform/TemporaryFile.h"

namespace nvimport {

// Bytes that are written one behind the other and then read anywhere, from a temporary file.
class Spool {
 public:
  bool Write(std::span<const char> bytes);

  // After the last Write.
  bool Read(std::uint64_t position, std::span<char> into);

  std::uint64_t size() const { return size_; }

  // What it keeps in memory, at most.
  static constexpr std::size_t kKept = std::size_t{2} << 20;

 private:
  static constexpr std::size_t kBlock = 4096;
  static constexpr std::size_t kBlocks = kKept / kBlock;

  bool Flush();
  const char* Block(std::uint64_t number);

  TemporaryFile file_;
  std::uint64_t size_ = 0;
  std::string unwritten_;
  std::unique_ptr<char[]> blocks_;
  std::vector<std::uint64_t> numbers_;  // from 1, of the blocks that are there
};

// Texts by number, from 0. Those for which the budget has no room wait in temporary files.
class SpooledStrings {
 public:
  explicit SpooledStrings(Budget& budget) : budget_(budget) {}

  // False when the text finds no room anywhere.
  bool Add(std::string_view text);

  // The text with its NUL, valid until the next call; null where there is none. All must have been
  // added.
  const char* At(std::uint32_t number) {
    return number < texts_.size() ? texts_[number] : FromSpool(number - texts_.size());
  }

  // Say that the text will be asked for: first of many where each lies, then of each its bytes.
  void FetchPlace(std::uint32_t number) const {
    if (number < texts_.size()) Fetch(&texts_[number]);
  }
  void FetchText(std::uint32_t number) const {
    if (number < texts_.size()) Fetch(texts_[number]);
  }

  // A text found no room, or one that is there could not be read.
  bool failed() const { return failed_; }

 private:
  struct Spools {
    Spool begins;  // of each text, and the end of the last
    Spool texts;
  };

  bool Keep(std::string_view text);
  bool PutInSpool(std::string_view text);
  const char* FromSpool(std::uint64_t number);

  static constexpr std::size_t kChunk = std::size_t{256} << 10;

  Budget& budget_;
  std::deque<const char*> texts_;
  std::size_t paid_numbers_ = 0;
  std::vector<std::unique_ptr<char[]>> chunks_;
  char* free_ = nullptr;
  std::size_t room_ = 0;
  std::unique_ptr<Spools> spools_;
  std::string from_spool_;
  std::size_t longest_ = 0;  // that from_spool_ may become
  bool failed_ = false;
};

}  // namespace nvimport
