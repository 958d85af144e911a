// Galactic SPC, little-endian. New layout (version K), a header of 512 bytes:
//   0 uint8  flags   1 char  version   3 int8 exponent   4 int32 points   8 double first x
//   16 double last x   24 int32 sub-files
// then, with flag 0x80, a float32 x for each point, then the sub-files: a header of 32 bytes, whose
// byte 1 is its own exponent in a multifile (flag 0x04), and the y values. With flag 0x40 as well
// each sub-file has its own number of points, int32 at 16 in its header, and as many float32 x
// between header and values instead. Version L is the same, big-endian.
// Old layout (version M), a header of 256 bytes:
//   0 uint8  flags   1 char  version   2 int16 exponent   4 float32 points   8 float32 first x
//   12 float32 last x   224 the header of the first sub-file
// then the y values, 32-bit integers with their high half first; further sub-files follow as above.
// A y value is a float32 when the exponent is -128, else an integer of 16 (flag 0x01) or 32 bits,
// whose point stands before its first bit and is moved right by the exponent.

#include "nvimport/formats/spectra/SpcLayout.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>

#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/ByteReader.h"

namespace nvimport {

namespace {

enum Flag : unsigned { k16Bit = 0x01, kMultifile = 0x04, kOwnXArrays = 0x40, kXArray = 0x80 };
constexpr char kNewVersion = 'K';
constexpr char kOldVersion = 'M';
constexpr char kOtherOrderVersion = 'L';
constexpr std::size_t kNewHeaderSize = 512;
constexpr std::size_t kOldHeaderSize = 256;
constexpr std::size_t kSubHeaderSize = 32;

bool IsValidGalacticCPCFile(char version) {
  return version == kNewVersion || version == kOldVersion || version == kOtherOrderVersion;
}

// Reads x values, whose number the file's length backs.
bool ReadX(BlockReader& reader, std::endian order, int points, std::vector<float>& x) {
  x.clear();
  x.reserve(static_cast<std::size_t>(points));
  const auto take = [&](int, float value) { x.push_back(value); };
  return order == std::endian::little
             ? TakeStoredValues<float, std::endian::little>(reader, points, take)
             : TakeStoredValues<float, std::endian::big>(reader, points, take);
}

int TakeNewHeader(ByteReader reader, unsigned flags, SpcFile& layout) {
  reader.Seek(3);
  layout.exponent = reader.I8();
  layout.axis.points = reader.I32();
  layout.axis.first = reader.F64();
  layout.axis.last = reader.F64();
  layout.sub_files = reader.I32();
  layout.data = reader.Seek(kNewHeaderSize).position();
  if (!reader.ok()) return kSpcCutShort;
  layout.flags_own_x = (flags & kOwnXArrays) != 0;
  layout.has_own_x = layout.flags_own_x && (flags & kXArray) != 0;
  layout.has_x_array = !layout.flags_own_x && (flags & kXArray) != 0;
  if (layout.axis.points < 0 || layout.sub_files < 0) return kSpcCutShort;
  // With x arrays of their own it is the place of a list of the sub-files.
  if (layout.has_own_x) layout.axis.points = 0;
  if (!layout.has_x_array) return kGood;
  layout.data += static_cast<std::uint64_t>(layout.axis.points) * sizeof(float);
  if (layout.size < layout.data) return kSpcCutShort;
  return kGood;
}

int TakeOldHeader(ByteReader reader, unsigned flags, SpcFile& layout) {
  reader.Seek(2);
  layout.exponent = reader.I16();
  const float points = reader.F32();
  layout.axis.first = reader.F32();
  layout.axis.last = reader.F32();
  layout.first_exponent = reader.Seek(kOldHeaderSize - kSubHeaderSize + 1).I8();
  layout.data = reader.Seek(kOldHeaderSize).position();
  if (!reader.ok()) return kSpcCutShort;
  if ((flags & kXArray) != 0) return kSpcUnevenX;
  if (!(points >= 0 && points < 0x1p31F)) return kSpcCutShort;
  layout.axis.points = static_cast<int>(points);
  layout.sub_files = 1;
  // The header doesn't say how many follow.
  const std::uint64_t spectrum =
      static_cast<std::uint64_t>(layout.axis.points) * layout.ValueSize(layout.exponent);
  if (layout.is_multifile && spectrum > 0 && layout.size >= kOldHeaderSize + spectrum)
    layout.sub_files += static_cast<int>(std::min<std::uint64_t>(
        (layout.size - kOldHeaderSize - spectrum) / (kSubHeaderSize + spectrum), INT_MAX - 1));
  return kGood;
}

}  // namespace

double SpcSpacing(const SpectrumGrid& grid) {
  return (grid.last - grid.first) /
         static_cast<double>(static_cast<std::uint32_t>(grid.points) - 1U);
}

int ReadSpcLayout(InputFile& file, BlockReader& reader, SpcFile& layout, Budget& budget) {
  std::array<char, kNewHeaderSize> buffer;
  const std::ptrdiff_t got = file.Read(buffer);
  const auto bytes = std::span(buffer).first(got > 0 ? static_cast<std::size_t>(got) : 0);
  if (bytes.size() < 2 || !IsValidGalacticCPCFile(bytes[1])) return kSpcNotThisFormat;
  if (bytes[1] == kOtherOrderVersion) layout.byte_order = std::endian::big;
  const auto flags = static_cast<unsigned char>(bytes[0]);
  layout.is_old = bytes[1] == kOldVersion;
  layout.is_16_bit = (flags & k16Bit) != 0;
  layout.is_multifile = (flags & kMultifile) != 0;
  layout.size = file.size();
  const auto take_header = layout.is_old ? TakeOldHeader : TakeNewHeader;
  if (const int status = take_header(ByteReader(bytes, layout.byte_order), flags, layout))
    return status;
  layout.axis.spacing = SpcSpacing(layout.axis);
  layout.axis.State(layout.axis.last, std::max(layout.axis.points - 1, 0));
  if (!layout.has_x_array) return kGood;
  if (!budget.Take(static_cast<std::uint64_t>(layout.axis.points) * sizeof(float)))
    return kOverBudget;
  reader.Begin(file, kNewHeaderSize);
  if (!ReadX(reader, layout.byte_order, layout.axis.points, layout.x)) return kSpcCutShort;
  return kGood;
}

bool SpcFile::HoldsAll() const {
  constexpr std::uint64_t kMostPerPoint = 4;
  const auto points = static_cast<std::uint64_t>(axis.points);
  const std::uint64_t heads = static_cast<std::uint64_t>(sub_files) - (is_old ? 1 : 0);
  if (has_own_x || data > size) return false;
  // Neither product is beyond 64 bits: both factors are ints.
  const std::uint64_t room = size - data;
  const std::uint64_t values = points * kMostPerPoint;
  return heads * kSubHeaderSize <= room &&
         (values == 0 ||
          static_cast<std::uint64_t>(sub_files) <= (room - heads * kSubHeaderSize) / values);
}

bool SpcFile::ClaimsTooMuch() const {
  const auto is_backed = [&](std::uint64_t count, std::uint64_t item_size) {
    return count <= kMostUnbacked || data + count * item_size <= size;
  };
  return (!has_own_x && !is_backed(static_cast<std::uint64_t>(axis.points), 2)) ||
         !is_backed(static_cast<std::uint64_t>(sub_files), kSubHeaderSize);
}

SpcSubFiles::SpcSubFiles(const SpcFile& layout, InputFile& file, BlockReader& reader,
                         Budget& budget)
    : layout_(layout), reader_(reader), budget_(budget), size_(file.size()), end_(layout.data) {
  reader_.Begin(file, layout.data);
}

SpcSubFiles::~SpcSubFiles() { budget_.Return(own_x_.capacity() * sizeof(float)); }

bool SpcSubFiles::Next() {
  reader_.Skip(end_ - reader_.position());
  exponent_ = layout_.exponent;
  points_ = layout_.axis.points;
  if (layout_.is_old && number_ == 0) {
    if (layout_.is_multifile) exponent_ = layout_.first_exponent;
  } else {
    const auto bytes = reader_.Ahead(kSubHeaderSize);
    if (bytes.size() < kSubHeaderSize) return false;
    std::copy_n(bytes.begin(), kSubHeaderSize, header_.begin());
    ByteReader header(header_, layout_.byte_order);
    if (layout_.is_multifile) exponent_ = header.Seek(1).I8();
    if (layout_.has_own_x) points_ = header.Seek(16).I32();
    reader_.Skip(kSubHeaderSize);
  }
  ++number_;
  if (layout_.has_own_x && !ReadOwnX()) return false;
  end_ = reader_.position() + static_cast<std::uint64_t>(points_) * layout_.ValueSize(exponent_);
  return true;
}

bool SpcSubFiles::ReadOwnX() {
  // The y values take two bytes at least.
  constexpr std::uint64_t kLeastPerPoint = 6;
  if (points_ < 0 ||
      reader_.position() + static_cast<std::uint64_t>(points_) * kLeastPerPoint > layout_.size)
    return false;
  const auto points = static_cast<std::size_t>(points_);
  if (points > own_x_.capacity()) {
    budget_.Return(own_x_.capacity() * sizeof(float));
    own_x_ = {};
    if (!budget_.Take(points * sizeof(float))) return false;
  }
  return ReadX(reader_, layout_.byte_order, points_, own_x_);
}

// An exponent beyond what a float could show is cut, so that zero stays zero.
double SpcSubFiles::Scale(int bits) const {
  constexpr int kBeyondFloats = 400;
  return std::ldexp(1.0, std::clamp(exponent_ - bits, -kBeyondFloats, kBeyondFloats));
}

}  // namespace nvimport
