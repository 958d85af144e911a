// A matrix of a MATLAB file, 2,000 x 5,000 doubles as they stand and packed, beside its floor: one
// call of a sink for each value, decoded in blocks, of a packed one behind zlib.

#ifdef NVIMPORT_HAS_PACKAGES

#include <zlib.h>

#include <algorithm>
#include <span>
#include <string>
#include <vector>

#include "bench/BesideFloor.h"
#include "bench/TouchingSink.h"
#include "nvimport/formats/matrix/MatFile.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/OutputFile.h"
#include "tests/support/MatFixture.h"

namespace nvimport {

namespace {

constexpr int kRows = 2'000;
constexpr int kColumns = 5'000;

// Absorbances of an instrument of 16 bits, which leave little to pack.
void MakeFile(const std::string& path, bool is_packed) {
  std::vector<double> values(std::size_t{kRows} * kColumns);
  std::uint32_t noise = 1;
  for (std::size_t i = 0; i < values.size(); ++i) {
    noise = noise * 1'664'525 + 1'013'904'223;
    values[i] = static_cast<double>(i / kRows % 700 + (noise >> 24)) / 65'536;
  }
  const MatFixture mat;
  const std::string variable = mat.Doubles({kRows, kColumns}, values, "spectra");
  OutputFile out(path.c_str());
  out.Write(mat.Header());
  out.Write(is_packed ? mat.Packed(variable) : variable);
}

// Column by column, as the reader does, since the sums of a column wait for each other.
void Touch(std::span<const char> bytes, int& cell, ReadSpreadSheetData& sink) {
  int column = cell / kRows + 1;
  int row = cell % kRows;
  for (std::size_t at = 0; at + sizeof(double) <= bytes.size(); at += sizeof(double)) {
    sink.SetExact(column, ++row, LoadLittle<double>(bytes.data() + at));
    if (row == kRows) {
      row = 0;
      ++column;
    }
  }
  cell += static_cast<int>(bytes.size() / sizeof(double));
}

void TouchFile(const std::string& path, bool is_packed, ReadSpreadSheetData& sink) {
  InputFile file(path.c_str());
  file.Seek(is_packed ? 136 : 128);
  std::vector<char> block(256 * 1024);
  std::vector<char> unpacked(64 * 1024);
  z_stream stream{};
  inflateInit(&stream);
  int cell = 0;
  std::size_t have = 0;  // of a value that has only begun
  for (std::ptrdiff_t got = file.Read(block); got > 0; got = file.Read(block)) {
    if (!is_packed) {
      Touch(std::span(block).first(static_cast<std::size_t>(got)), cell, sink);
      continue;
    }
    stream.next_in = reinterpret_cast<Bytef*>(block.data());
    stream.avail_in = static_cast<uInt>(got);
    do {
      stream.next_out = reinterpret_cast<Bytef*>(unpacked.data() + have);
      stream.avail_out = static_cast<uInt>(unpacked.size() - have);
      inflate(&stream, Z_NO_FLUSH);
      const std::size_t size = unpacked.size() - stream.avail_out;
      have = size % sizeof(double);
      Touch(std::span(unpacked).first(size - have), cell, sink);
      std::copy_n(unpacked.begin() + static_cast<std::ptrdiff_t>(size - have), have,
                  unpacked.begin());
    } while (stream.avail_out == 0);
  }
  inflateEnd(&stream);
}

void ReadMatrix(benchmark::State& state, const char* name, bool is_packed) {
  const std::string path =
      BenchInput(name, [&](const std::string& to) { MakeFile(to, is_packed); });
  BesideFloor(
      state, path,
      [&] {
        TouchingSink sink({}, /*takes_exact=*/true);
        ReadSpreadSheetData* called = &sink;
        benchmark::DoNotOptimize(called);  // so that its calls stay calls
        TouchFile(path, is_packed, *called);
        benchmark::DoNotOptimize(sink.Total());
      },
      [&] {
        MatFile file;
        TouchingSink sink({}, /*takes_exact=*/true);
        if (file.Open(true, path.c_str(), nullptr) != 0 || file.Read(&sink) != 0) return false;
        benchmark::DoNotOptimize(sink.Total());
        return true;
      });
}

void MatPlain(benchmark::State& state) { ReadMatrix(state, "plain.mat", false); }
void MatPacked(benchmark::State& state) { ReadMatrix(state, "packed.mat", true); }

BENCHMARK(MatPlain)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(MatPacked)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace nvimport

#endif
