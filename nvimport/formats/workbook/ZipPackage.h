#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "nvimport/platform/Budget.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/RefillBuffer.h"

namespace nvimport {

// A zip archive that is one document: parts with names, of which one at a time is unpacked as it is
// asked for. Names differ neither by case nor by the kind of slash. Where a part lies and what it
// unpacks to is what the directory says: nothing is unpacked beyond that, and a part that is stated
// to unpack to more than its bytes can is not begun.
class ZipPackage {
 public:
  ZipPackage();
  ~ZipPackage();

  // Reads the directory. False when there is none, when it is not whole, or when it overdraws the
  // budget.
  bool Open(const char* path);
  // Takes any file for a package of one part, which has no name and is the file as it stands.
  bool OpenAsPart(const char* path);

  bool Has(std::string_view name) const { return parts_.contains(KeyOf(name)); }

  // Begins to read a part. False when there is none where the directory has it, when it states more
  // than it can unpack to or when it is packed in a way that is not known.
  bool OpenPart(std::string_view name);
  // The last OpenPart failed for what the part states.
  bool is_too_large() const { return is_too_large_; }
  // What the part last opened states to unpack to, in bytes.
  std::uint64_t part_size() const { return part_size_; }

  // What lies ahead in the part, at least `least` bytes (up to kMostAhead) unless it ends or is
  // damaged; valid until the next call.
  std::span<const char> Ahead(std::size_t least) {
    if (buffer_.size() < least) Fill(least);
    return {buffer_.data(), buffer_.size()};
  }
  // Goes on in the part, also past its end.
  void Skip(std::uint64_t count);
  // Goes on to the part's end. False when it is damaged anywhere.
  bool PassRest();

  // The part is damaged, or could not be read, somewhere before its end.
  bool failed() const { return failed_; }

  // What reading the file may take.
  Budget& budget() { return budget_; }

  static constexpr std::size_t kMostAhead = std::size_t{1} << 20;

 private:
  // A part as the directory has it.
  struct Place {
    std::uint64_t header;  // where its own header stands in the file
    std::uint64_t packed;  // bytes
    std::uint64_t size;    // of what they unpack to
    std::uint32_t sum;     // CRC-32 of that
    std::uint16_t method;
    bool is_encrypted;
    bool is_file = false;  // as it stands, without a header
  };
  struct Directory {
    std::uint64_t begin;
    std::uint64_t end;
    std::uint64_t base;   // added to the places that it has
    std::uint64_t parts;  // how many it has, of which the plain end keeps 16 bits
    bool has_all_bits;
  };
  struct Unpacker;

  static std::string KeyOf(std::string_view name);
  bool ReadAt(std::uint64_t position, std::span<char> into);
  bool FindDirectory(Directory& directory);
  bool ReadDirectory(const Directory& directory);
  bool FindBytes(std::string_view key, const Place& place, std::uint64_t& position);
  void EndPart(bool is_good);
  void Fill(std::size_t least);
  std::ptrdiff_t Unpack(std::span<char> into);

  InputFile file_;
  std::uint64_t size_ = 0;
  Budget budget_;
  std::map<std::string, Place, std::less<>> parts_;
  std::unique_ptr<Unpacker> unpacker_;  // of the part that is open
  std::uint64_t part_size_ = 0;
  RefillBuffer buffer_;
  bool is_too_large_ = false;
  bool failed_ = false;
};

}  // namespace nvimport
