// Brimrose DAT: a header of 512 bytes, then the observations. Of the header:
//   29 float32 first wavelength   37 float32 step     45 uint16 observations (N)
//   33 float32 last wavelength    41 uint16 points (P)
// Each observation takes 120 + 4 * P bytes.

#include "formats/spectra/BrimroseFile.h"

#include <cmath>
#include <memory>
#include <span>

#include "platform/ByteReader.h"
#include "platform/InputFile.h"

namespace {
constexpr std::size_t kHeaderSize = 512;
constexpr std::size_t kWavelengths = 29;
}  // namespace

bool BrimroseFile::IsBrimroseFile(const char* path) {
  InputFile file(path);
  char bytes[kHeaderSize];
  if (!file.is_open() || file.Read(bytes) != static_cast<std::ptrdiff_t>(kHeaderSize)) return false;

  ByteReader header(std::as_bytes(std::span(bytes)));
  header.Skip(kWavelengths);
  const double first = header.F32();
  const double last = header.F32();
  const double step = header.F32();
  const std::uint64_t points = header.U16();
  header.Skip(2);
  const std::uint64_t observations = header.U16();

  if (!std::isfinite(first) || !std::isfinite(last) || !std::isfinite(step)) return false;
  if (first < 100 || first >= last || last > 100'000 || step <= 0 || points < 2) return false;
  const double steps = (last - first) / step;
  const auto p = static_cast<double>(points);
  return steps >= p - 1.01 && steps <= p + 0.01 &&
         file.size() == kHeaderSize + observations * (120 + 4 * points);
}

BrimroseFileFactory::BrimroseFileFactory()
    : SprFileFactory("Brimrose File", "Brimrose Files (*.dat)", nullptr, 1, ".dat",
                     /*can_write=*/false, /*can_read=*/true, /*several_at_once=*/false, true,
                     false) {}

int BrimroseFileFactory::IsCorrectFileType(const char* path) {
  return BrimroseFile::IsBrimroseFile(path) ? kCertain : kNotThis;
}

SpreadsheetFile* BrimroseFileFactory::Create() {
  return std::make_unique<BrimroseFile>().release();
}
