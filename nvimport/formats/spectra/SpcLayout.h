#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <span>
#include <vector>

#include "nvimport/formats/spectra/SpectrumAxis.h"
#include "nvimport/framework/StoredValues.h"
#include "nvimport/platform/BlockReader.h"
#include "nvimport/platform/Budget.h"
#include "nvimport/platform/InputFile.h"

namespace nvimport {

// The statuses of SPC files. Their texts stand in GalacticSPCFile.cpp.
enum SpcStatus : int {
  kSpcNoFile = 2560,
  kSpcNotOpened = 2561,
  kSpcNotThisFormat = 2562,
  kSpcOtherByteOrder = 2563,
  kSpcCutShort = 2564,
  kSpcUnevenX = 2565,
  kSpcNoFilesSelected = 2566,
  kSpcSpacingDiffers = 2567,
  kSpcMassSpectra = 2568,
  kSpcXArraysDiffer = 2569
};

// What the header of a file says, and the x array behind it.
struct SpcFile {
  static constexpr int kFloats = -128;  // an exponent

  SpectrumGrid axis;     // of all its sub-files, but where they have their own
  std::vector<float> x;  // that of the axis, where the file has an x array
  int sub_files = 0;
  bool is_old = false;
  bool is_16_bit = false;
  bool is_multifile = false;  // each sub-file has its own exponent
  bool has_x_array = false;   // else the axis is even
  bool has_own_x = false;     // each sub-file has an x array, and its own number of points
  bool flags_own_x = false;   // which is so only where x arrays are flagged too
  std::endian byte_order = std::endian::little;
  int exponent = 0;
  int first_exponent = 0;  // of an old multifile, whose header has that of its first sub-file in it
  std::uint64_t data = 0;  // where the first sub-file begins
  std::uint64_t size = 0;  // of the file

  // The x of a point of sub-files that have none of their own.
  double X(int point) const {
    return has_x_array ? static_cast<double>(x[static_cast<std::size_t>(point)])
                       : axis.ExactX(point);
  }
  std::size_t ValueSize(int of_exponent) const {
    return is_16_bit && of_exponent != kFloats ? 2 : 4;
  }
  // Whether it is certain to hold all of its sub-files, whatever their exponents are.
  bool HoldsAll() const;
  // True when it claims more than it holds by so much that trying to read it would only cost.
  bool ClaimsTooMuch() const;
};

// (last - first) / (points - 1). The divisor is unsigned: no points make it 4294967295, one point
// divides by zero.
double SpcSpacing(const SpectrumGrid& grid);

// Returns a status. The byte order is known unless it is kSpcNotThisFormat, the flags where the
// main header is whole.
int ReadSpcLayout(InputFile& file, BlockReader& reader, SpcFile& layout, Budget& budget);

// Goes through the sub-files of a file.
class SpcSubFiles {
 public:
  SpcSubFiles(const SpcFile& layout, InputFile& file, BlockReader& reader, Budget& budget);
  SpcSubFiles(SpcSubFiles&&) = delete;
  ~SpcSubFiles();

  // Goes to the values of the next sub-file. False at the end of them, and of the file, and of the
  // budget.
  bool Next();

  // Of the sub-file: its number from 1, its points and, where it has its own, their x values.
  int number() const { return number_; }
  int points() const { return points_; }
  // Its own header, which the first of the old layout has not.
  std::span<const char> header() const { return header_; }
  const std::vector<float>& own_x() const { return own_x_; }
  // Whether the file holds all of its values.
  bool is_whole() const { return end_ <= size_; }

  // Gives `take` each of `count` values, from point `first` on, with its number from 0 there: a
  // float, or of fixed-point values a double. False when the file ends before them.
  template <typename Take>
  bool TakeValues(int first, int count, Take take) {
    return layout_.byte_order == std::endian::little
               ? TakeOrdered<std::endian::little>(first, count, take)
               : TakeOrdered<std::endian::big>(first, count, take);
  }

 private:
  bool ReadOwnX();
  // Of fixed-point values of so many bits.
  double Scale(int bits) const;

  template <std::endian kOrder, typename Take>
  bool TakeOrdered(int first, int count, Take take) {
    reader_.Skip(static_cast<std::uint64_t>(first) * layout_.ValueSize(exponent_));
    if (exponent_ == SpcFile::kFloats) return TakeStoredValues<float, kOrder>(reader_, count, take);
    const auto take_scaled = [scale = Scale(layout_.is_16_bit ? 16 : 32), &take](int i, int value) {
      take(i, value * scale);
    };
    if (layout_.is_16_bit)
      return TakeStoredValues<std::int16_t, kOrder>(reader_, count, take_scaled);
    if (!layout_.is_old) return TakeStoredValues<std::int32_t, kOrder>(reader_, count, take_scaled);
    return TakeStoredValues<std::uint32_t, kOrder>(reader_, count, [&](int i, std::uint32_t value) {
      take_scaled(i, static_cast<std::int32_t>(std::rotl(value, 16)));
    });
  }

  const SpcFile& layout_;
  BlockReader& reader_;
  Budget& budget_;
  std::uint64_t size_;  // of the file now
  std::uint64_t end_;   // of the sub-file
  int number_ = 0;
  std::array<char, 32> header_{};
  int exponent_ = 0;
  int points_ = 0;
  std::vector<float> own_x_;
};

}  // namespace nvimport
