// Brimrose DAT, little-endian: a header of 512 bytes, then the observations. Of the header:
//   29 float32 first wavelength   37 float32 step         45 uint16 observations
//   33 float32 last wavelength    41 uint16 points (P)
// Each observation takes 120 + 4 * P bytes: an int32 time, in seconds since 1970 began, the text of
// the sample, NUL-terminated, and from byte 120 on P values as float32.

#include "nvimport/formats/spectra/BrimroseLayout.h"

#include <cmath>

#include "nvimport/platform/ByteReader.h"

namespace nvimport {

namespace {

constexpr std::size_t kHeaderSize = 512;
constexpr std::size_t kHeadSize = 120;  // of an observation

}  // namespace

std::optional<BrimroseLayout> ReadBrimroseLayout(InputFile& file) {
  char bytes[kHeaderSize];
  if (!file.Seek(0) || file.Read(bytes) != static_cast<std::ptrdiff_t>(kHeaderSize))
    return std::nullopt;
  ByteReader reader(bytes);
  BrimroseLayout layout;
  reader.Seek(29);
  layout.axis.first = reader.F32();
  layout.axis.last = reader.F32();
  layout.axis.spacing = reader.F32();
  SpectrumGrid& axis = layout.axis;
  axis.points = reader.U16();
  // The spacing is rounded to a float; where it is that of the ends, these say more.
  const int steps = axis.points - 1;
  if (steps > 0 &&
      static_cast<double>(static_cast<float>((axis.last - axis.first) / steps)) == axis.spacing)
    axis.State(axis.last, steps);
  layout.observations = reader.Seek(45).U16();
  return layout;
}

bool BrimroseLayout::IsFinite() const {
  return std::isfinite(axis.first) && std::isfinite(axis.last) && std::isfinite(axis.spacing);
}

std::optional<BrimroseHead> ReadBrimroseHead(BlockReader& reader) {
  const auto bytes = reader.Ahead(kHeadSize);
  if (bytes.size() < kHeadSize) return std::nullopt;
  ByteReader fields(bytes.first(kHeadSize));
  BrimroseHead head{fields.I32(), fields.Text(fields.remaining())};
  head.sample = head.sample.substr(0, head.sample.find('\0'));
  reader.Skip(kHeadSize);
  return head;
}

std::uint64_t BrimroseLayout::ObservationSize() const {
  return kHeadSize + static_cast<std::uint64_t>(axis.points) * sizeof(float);
}

std::uint64_t BrimroseLayout::Observation(int number) const {
  return kHeaderSize + static_cast<std::uint64_t>(number) * ObservationSize();
}

bool BrimroseLayout::IsWhole(std::uint64_t file_size) const {
  if (!IsFinite() || axis.first < 100 || axis.first >= axis.last || axis.last > 100'000 ||
      axis.spacing <= 0 || axis.points < 2)
    return false;
  const double steps = (axis.last - axis.first) / axis.spacing;
  return steps >= axis.points - 1.01 && steps <= axis.points + 0.01 &&
         file_size == Observation(observations);
}

}  // namespace nvimport
