#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/InputFile.h"

// A zip archive that is one document: parts with names, of which one at a time is unpacked as it is
// asked for. Names differ neither by case nor by the kind of slash.
//
// What a part unpacks to is stated before it; nothing is unpacked beyond that, and one that states
// more than is allowed is not begun.
class ZipPackage {
 public:
  ZipPackage();
  ~ZipPackage();

  // Reads the directory. False when there is none.
  bool Open(const char* path);

  bool Has(std::string_view name) const { return parts_.contains(KeyOf(name)); }

  // Begins to read a part that is stated to unpack to `most` bytes or less. False when there is
  // none, when it states more or when it is packed in a way that is not known.
  bool OpenPart(std::string_view name, std::uint64_t most);
  // The last OpenPart failed for what the part states.
  bool is_too_large() const { return is_too_large_; }
  // What the part last opened states to unpack to, in bytes.
  std::uint64_t part_size() const { return part_size_; }

  // What lies ahead in the part, at least `least` bytes (up to kMostAhead) unless it ends or is
  // damaged; valid until the next call.
  std::span<const char> Ahead(std::size_t least) {
    if (end_ - begin_ < least) Fill(least);
    return {buffer_.data() + begin_, end_ - begin_};
  }
  // Goes on in the part, also past its end.
  void Skip(std::uint64_t count);

  // The part is damaged, or could not be read, somewhere before its end.
  bool failed() const { return failed_; }

  // Of the file, in bytes.
  std::uint64_t size() const { return size_; }

  static constexpr std::size_t kMostAhead = std::size_t{1} << 20;

 private:
  struct Place {
    std::uint64_t offset;  // of the part's entry in the directory
    std::uint64_t number;  // of the entry
  };
  struct Access;  // the archive as its library reads it

  static std::string KeyOf(std::string_view name);
  bool ReadDirectory();
  void ClosePart();
  void Fill(std::size_t least);

  std::unique_ptr<Access> access_;
  void* archive_ = nullptr;
  std::uint64_t size_ = 0;
  std::uint64_t part_size_ = 0;
  std::map<std::string, Place, std::less<>> parts_;
  std::vector<char> buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool is_open_ = false;
  bool is_too_large_ = false;
  bool failed_ = false;
};
