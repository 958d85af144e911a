// NSAS and Brimrose beside their floor, one call of a sink for each float of the file, decoded in
// blocks. 10,000 spectra of 1,050 values with three constituents, and of 1,000 values.

#include <cstdint>
#include <string>
#include <vector>

#include "bench/BesideFloor.h"
#include "bench/TouchValues.h"
#include "bench/TouchingSink.h"
#include "nvimport/formats/spectra/BrimroseFile.h"
#include "nvimport/formats/spectra/NsasFile.h"
#include "nvimport/platform/OutputFile.h"
#include "tests/support/BrimroseFixture.h"
#include "tests/support/NsasFixture.h"

namespace nvimport {

namespace {

constexpr int kSpectra = 10'000;

void MakeDa(const std::string& path) {
  const std::string spectrum =
      NsasSpectrum{.points = 1050, .first = 400, .end = 2500, .constituents = 3}.Bytes();
  OutputFile out(path.c_str());
  for (int i = 0; i < kSpectra; ++i) out.Write(spectrum);
}

void MakeCn(const std::string& path) {
  OutputFile out(path.c_str());
  out.Write(NsasConstituents("Protein", std::vector(kSpectra, std::vector<float>{1, 2, 3})));
}

void MakeBrimrose(const std::string& path) {
  constexpr std::uint16_t kPoints = 1000;
  constexpr std::size_t kObservation = 120 + 4 * kPoints;
  OutputFile out(path.c_str());
  const std::string one = BrimroseFixture{.last = 2099,
                                          .step = 1,
                                          .points = kPoints,
                                          .observations = kSpectra,
                                          .size = 512 + kObservation}
                              .Bytes();
  out.Write(one);
  for (int i = 1; i < kSpectra; ++i) out.Write(one.substr(512));
}

template <typename Reader>
void ReadSpectra(benchmark::State& state, const std::string& path) {
  BesideFloor(
      state, path,
      [&] {
        TouchingSink sink;
        TouchValues<float>(path, sink);
        benchmark::DoNotOptimize(sink.Total());
      },
      [&] {
        Reader file;
        TouchingSink sink;
        if (file.Open(true, path.c_str(), nullptr) != 0 || file.Read(&sink) != 0) return false;
        benchmark::DoNotOptimize(sink.Total());
        return true;
      });
}

void Nsas(benchmark::State& state) {
  BenchInput("nsas.cn", MakeCn);
  ReadSpectra<NsasFile>(state, BenchInput("nsas.da", MakeDa));
}
void Brimrose(benchmark::State& state) {
  ReadSpectra<BrimroseFile>(state, BenchInput("brimrose.dat", MakeBrimrose));
}

BENCHMARK(Nsas)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Brimrose)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace nvimport
