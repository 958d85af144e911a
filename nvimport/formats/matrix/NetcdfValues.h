#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "nvimport/formats/matrix/NetcdfLayout.h"

namespace nvimport {

class ReadSpreadSheetData;

// Where the values of some rows stand in the file.
struct NetcdfSlab {
  std::uint64_t begin = 0;
  std::uint64_t rows = 1;
  std::uint64_t row_stride = 0;  // bytes from row to row
  std::uint64_t columns = 1;
  std::uint64_t column_stride = 0;  // likewise
  std::uint64_t size = 0;           // bytes of a value

  // The bytes from the first value of a row to the end of its last one.
  std::uint64_t window() const { return (columns - 1) * column_stride + size; }
  // Its columns as rows of one value, of one of its rows.
  NetcdfSlab Turned(std::uint64_t row) const {
    return {begin + row * row_stride, columns, column_stride, 1, size, size};
  }
};

// Has rows of slabs in memory, as many as fit into some blocks. What lies together in the file is
// read together, so that variables that take turns there are gone through once.
class NetcdfRows {
 public:
  static constexpr std::uint64_t kMostAtOnce = 1024 * 1024;  // bytes of a row

  NetcdfRows(NetcdfSource& source, const std::vector<NetcdfSlab>& slabs);

  // Makes sure that a row is there. False when the file could not be read, or has become shorter.
  [[nodiscard]] bool Load(std::uint64_t row) {
    return (row >= first_ && row - first_ < count_) || Fill(row);
  }
  bool cannot_read() const { return cannot_read_; }
  // How many are there from `row` on, which is.
  std::uint64_t Ready(std::uint64_t row) const { return first_ + count_ - row; }
  // The first value of a row that is there.
  const char* At(std::size_t slab, std::uint64_t row) const {
    const Place& place = places_[slab];
    const Stream& stream = streams_[place.stream];
    return stream.bytes.data() + (row - first_) * stream.kept_stride + place.offset;
  }
  // From row to row in memory.
  std::size_t Stride(std::size_t slab) const {
    return static_cast<std::size_t>(streams_[places_[slab].stream].kept_stride);
  }

 private:
  struct Stream {
    std::uint64_t begin;
    std::uint64_t rows;
    std::uint64_t row_stride;
    std::uint64_t window;
    std::uint64_t kept_stride = 0;
    std::vector<char> bytes{};
  };
  struct Place {
    std::size_t stream = 0;
    std::uint64_t offset = 0;
  };

  bool Fill(std::uint64_t row);
  bool ReadAt(std::uint64_t position, char* to, std::uint64_t bytes);

  NetcdfSource& source_;
  std::vector<Stream> streams_;
  std::vector<Place> places_;
  std::uint64_t rows_ = 0;
  std::uint64_t most_ = 1;  // rows at once
  std::uint64_t first_ = 0;
  std::uint64_t count_ = 0;
  bool cannot_read_ = false;
};

// Makes cells of the stored values of a variable, by what its attributes say: by which factor and
// offset they are packed, which of them are missing.
class NetcdfCells {
 public:
  virtual ~NetcdfCells() = default;
  // Sets the cells of `count` values in a row, but for missing ones.
  virtual void Set(const char* first, std::size_t stride, int count, ReadSpreadSheetData& sink,
                   int column, int row) const = 0;
  // The same values as doubles, NaN where they are missing.
  virtual void Get(const char* first, std::size_t stride, std::span<double> values) const = 0;
};

// Whether the values of the variable stand for themselves, but for those that nobody wrote.
bool IsPlain(const NetcdfVariable& variable);

// Of a variable of numbers. `missing` are further values that stand for none.
std::unique_ptr<NetcdfCells> NumbersOf(const NetcdfVariable& variable,
                                       std::initializer_list<double> missing = {});
// Of texts, which of characters have so many bytes.
std::unique_ptr<NetcdfCells> TextsOf(const NetcdfVariable& variable, std::size_t length,
                                     const NetcdfSource& source);

// The values of a variable along one dimension, or the only one of it. 0 or a status.
int ReadDoubles(NetcdfSource& source, const NetcdfContents& contents,
                const NetcdfVariable& variable, Budget& budget, std::vector<double>& values,
                std::initializer_list<double> missing = {});

// The slab of a variable of one dimension or none.
NetcdfSlab SlabOf(const NetcdfContents& contents, const NetcdfVariable& variable);

}  // namespace nvimport
