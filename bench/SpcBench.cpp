// Galactic SPC beside its floor, one call of a sink for each value of the file, decoded in blocks.
// 5,000 sub-files of 2,000 points each.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/BesideFloor.h"
#include "bench/TouchValues.h"
#include "bench/TouchingSink.h"
#include "nvimport/formats/spectra/GalacticSPCFile.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "nvimport/platform/OutputFile.h"
#include "tests/support/SpcFixture.h"

namespace nvimport {

namespace {

constexpr int kSubFiles = 5'000;
constexpr int kPoints = 2'000;

template <typename Value>
void MakeFile(const SpcFixture& header, const std::string& path) {
  OutputFile out(path.c_str());
  out.Write(header.Bytes());
  std::vector<Value> values(kPoints);
  for (int sub_file = 0; sub_file < kSubFiles; ++sub_file) {
    for (int i = 0; i < kPoints; ++i)
      values[static_cast<std::size_t>(i)] = static_cast<Value>((sub_file * 31 + i * 7) % 30'000);
    out.Write(std::string(32, '\0') + SpcFixture::Values(values));
  }
}

template <typename Value>
void ReadSpectra(benchmark::State& state, const char* name, const SpcFixture& header) {
  const std::string path =
      BenchInput(name, [&](const std::string& to) { MakeFile<Value>(header, to); });
  const std::unique_ptr<NvImportOpenOptions> options(GalacticSPCFile::GetImportOptions({}));
  BesideFloor(
      state, path,
      [&] {
        TouchingSink sink;
        TouchValues<Value>(path, sink);
        benchmark::DoNotOptimize(sink.Total());
      },
      [&] {
        GalacticSPCFile file;
        TouchingSink sink;
        if (file.Open(true, path.c_str(), options.get()) != 0 || file.Read(&sink) != 0)
          return false;
        benchmark::DoNotOptimize(sink.Total());
        return true;
      });
  SpreadsheetOpenOptions::FreeOpenOptions(options.get());
}

SpcFixture Header(unsigned char flags, int exponent) {
  return {.flags = flags,
          .exponent = exponent,
          .first_x = 1100,
          .last_x = 2099.5,
          .points = kPoints,
          .sub_files = kSubFiles};
}

void SpcFloat(benchmark::State& state) { ReadSpectra<float>(state, "float.spc", Header(0, -128)); }
void Spc32Bit(benchmark::State& state) {
  ReadSpectra<std::int32_t>(state, "32bit.spc", Header(0, 10));
}
void Spc16Bit(benchmark::State& state) {
  ReadSpectra<std::int16_t>(state, "16bit.spc", Header(1, 10));
}

BENCHMARK(SpcFloat)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Spc32Bit)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Spc16Bit)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace nvimport
