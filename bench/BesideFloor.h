#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

namespace nvimport {

// The path of a large input, made by `make` on first use in $NVIMPORT_BENCH_DATA, or in a folder
// "nvimport-bench" among the temporary files.
inline std::string BenchInput(const std::string& name,
                              const std::function<void(const std::string& path)>& make) {
  namespace fs = std::filesystem;
  const char* given = std::getenv("NVIMPORT_BENCH_DATA");
  const fs::path folder =
      given != nullptr ? fs::path(given) : fs::temp_directory_path() / "nvimport-bench";
  fs::create_directories(folder);
  const fs::path path = folder / name;
  if (!fs::exists(path)) {
    make(path.string() + ".part");
    fs::rename(path.string() + ".part", path);
  }
  return path.string();
}

template <typename Work>
double Seconds(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Times `own`, which returns whether it did its work, in turn with `floor`, the least that could do
// it. The counter "x_floor" is the ratio of the sums.
template <typename Floor, typename Own>
void BesideFloor(benchmark::State& state, const std::string& path, Floor floor, Own own) {
  floor();  // so that the file is in the page cache
  double floor_seconds = 0;
  double own_seconds = 0;
  for (auto _ : state) {
    floor_seconds += Seconds(floor);
    const double seconds = Seconds([&] {
      if (!own()) state.SkipWithError("the file was not read");
    });
    own_seconds += seconds;
    state.SetIterationTime(seconds);
  }
  state.counters["x_floor"] = own_seconds / floor_seconds;
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(std::filesystem::file_size(path)));
}

}  // namespace nvimport
