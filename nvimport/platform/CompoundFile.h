#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "nvimport/platform/Export.h"
#include "nvimport/platform/InputFile.h"

namespace nvimport {

// A compound file (OLE structured storage, versions 3 and 4 of [MS-CFB]): storages and streams
// within one file. The directory is held in memory, the streams are read where they lie.
//
// No sector and no directory entry belongs to two chains or stands twice in a tree: one that loops
// or runs into another fails at the first step that does.
class NVIMPORT_API CompoundFile {
 public:
  enum class Kind : unsigned char { kUnused = 0, kStorage = 1, kStream = 2, kRoot = 5 };

  struct Entry {
    std::string name;  // UTF-8
    Kind kind = Kind::kUnused;
    std::uint64_t size = 0;  // of a stream, in bytes, as the file claims it
    std::uint32_t first_sector = 0;
    std::uint32_t left = 0;  // entries beside this one in the tree of their storage
    std::uint32_t right = 0;
    std::uint32_t child = 0;  // the top of a storage's tree
  };

  // Where the bytes of a stream lie: in runs of units (sectors, or the smaller ones of the mini
  // stream) that follow one another in the file.
  class Stream {
   public:
    // In bytes; the chain has been seen to hold them.
    std::uint64_t size() const { return size_; }

   private:
    friend class CompoundFile;
    struct Run {
      std::uint32_t first;  // the unit of the stream that it begins with
      std::uint32_t place;  // that unit's place in the file, in units
    };

    void Append(std::uint32_t place);

    unsigned shift_ = 0;  // a unit has 1 << shift_ bytes
    std::uint32_t units_ = 0;
    std::uint64_t size_ = 0;
    std::vector<Run> runs_;
  };

  // True when the file begins as a compound file does.
  static bool IsCompoundFile(const char* path);

  // Opens the file and reads its directory. False when it can't be read or is none.
  bool Open(const char* path);
  void Close();

  // The directory in stored order, unused entries included; entry 0 is the root storage. Entries
  // are known by their position here.
  const std::vector<Entry>& entries() const { return entries_; }

  // The elements of a storage in their natural order, that of its tree; none when that is damaged.
  std::optional<std::vector<std::size_t>> Elements(std::size_t storage) const;

  // The stream that entry `entry` is, or null when it is none or its sectors don't hold its size.
  // It lives until Close.
  const Stream* OpenStream(std::size_t entry);

  // Fills `into` from `position` of the stream, less only where that ends or the file has been cut.
  // Returns the number of bytes, or -1 when the read failed or the user cancelled.
  std::ptrdiff_t Read(const Stream& stream, std::uint64_t position, std::span<char> into);

 private:
  // A table of sector numbers, of which the block last asked for is kept.
  struct Table {
    Stream stream;
    std::vector<char> block;
    std::uint64_t block_number = ~std::uint64_t{0};
  };

  std::uint32_t Next(Table& table, std::uint32_t sector);
  bool Take(std::uint32_t sector);
  bool FollowSectors(std::uint32_t first, std::uint64_t wanted, Stream& stream);
  bool FollowMiniSectors(std::uint32_t first, std::uint64_t wanted, Stream& stream);
  bool OpenMiniStream();
  bool ReadHeader();
  bool ReadSectorList(std::span<const char> header);
  bool ReadDirectory(std::uint32_t first);

  InputFile file_;
  unsigned shift_ = 0;         // a sector has 1 << shift_ bytes
  std::uint32_t sectors_ = 0;  // in the file, the last one perhaps cut
  std::vector<bool> taken_;    // sectors that belong to a chain already
  std::vector<bool> mini_taken_;
  Table fat_;
  Table mini_fat_;
  std::uint32_t mini_fat_first_ = 0;
  std::uint32_t mini_cutoff_ = 0;  // streams shorter than this lie in the mini stream
  std::optional<Stream> mini_stream_;
  std::vector<Entry> entries_;
  std::map<std::size_t, Stream> streams_;
};

}  // namespace nvimport
