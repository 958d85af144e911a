// Delimited text beside its floor, a scan of the same bytes for line feeds. The inputs are
// 1,000,000 x 20 and 2,000 x 20,000 TAB-separated mixed cells, some 150 and 230 MB.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/BesideFloor.h"
#include "bench/TouchingSink.h"
#include "nvimport/formats/text/TextFile.h"
#include "nvimport/framework/MemorySheet.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/NumberText.h"
#include "nvimport/platform/OutputFile.h"

namespace nvimport {

namespace {

struct Shape {
  const char* name;
  int rows;
  int columns;
};
constexpr Shape kLong{"long.txt", 1'000'000, 20};
constexpr Shape kWide{"wide.txt", 2'000, 20'000};

// Names, whole numbers, decimals and gaps, the same on every machine.
void MakeTable(const Shape& shape, const std::string& path) {
  constexpr const char* kWords[] = {"alpha", "batch B", "n/a", "north", "lot 12", "ok"};
  std::mt19937 random(20);
  OutputFile out(path.c_str());
  for (int r = 0; r <= shape.rows; ++r) {
    for (int c = 1; c <= shape.columns; ++c) {
      const auto draw = static_cast<std::uint32_t>(random());
      std::string cell;
      if (r == 0)
        cell = "Var" + std::to_string(c);
      else if (c % 5 == 1)
        cell = kWords[draw % std::size(kWords)];
      else if (c % 5 == 2)
        cell = std::to_string(draw % 1'000'000);
      else if (c % 7 != 3 || draw % 4 != 0)
        cell = std::to_string(draw % 100'000) + "." + std::to_string(draw / 7 % 10'000);
      cell += c < shape.columns ? '\t' : '\n';
      out.Write(cell);
    }
  }
}

std::string InputPath(const Shape& shape) {
  return BenchInput(shape.name, [&](const std::string& path) { MakeTable(shape, path); });
}

std::uint64_t CountLineFeeds(const std::string& path) {
  InputFile file(path.c_str());
  std::vector<char> block(256 * 1024);
  std::uint64_t lines = 0;
  for (std::ptrdiff_t got = file.Read(block); got > 0; got = file.Read(block)) {
    const char* const end = block.data() + got;
    for (const char* next = block.data();
         (next = static_cast<const char*>(
              std::memchr(next, '\n', static_cast<std::size_t>(end - next)))) != nullptr;
         ++next)
      ++lines;
  }
  return lines;
}

std::unique_ptr<TextFile> OpenTabs(const std::string& path) {
  auto file = std::make_unique<TextFile>();
  const std::unique_ptr<NvImportOpenOptions> tabs(TextFile::GetImportOptions("\t", false));
  file->Open(true, path.c_str(), tabs.get());
  SpreadsheetOpenOptions::FreeOpenOptions(tabs.get());
  return file;
}

// Times `work` on an opened file.
template <typename Work>
void BesideScan(benchmark::State& state, const Shape& shape, Work work) {
  const std::string path = InputPath(shape);
  BesideFloor(
      state, path, [&] { benchmark::DoNotOptimize(CountLineFeeds(path)); },
      [&] { return work(*OpenTabs(path)); });
}

void Size(benchmark::State& state, const Shape& shape) {
  BesideScan(state, shape, [&](TextFile& file) { return file.GetNumCols() == shape.columns; });
}

void SizeAndRead(benchmark::State& state, const Shape& shape) {
  BesideScan(state, shape, [&](TextFile& file) {
    TouchingSink sink;
    if (file.GetNumCols() != shape.columns || file.Read(&sink) != 0) return false;
    benchmark::DoNotOptimize(sink.Total());
    return true;
  });
}

void Store(benchmark::State& state, const Shape& shape) {
  BesideScan(state, shape, [&](TextFile& file) {
    MemorySheet sheet;
    return file.Read(&sheet) == 0 && sheet.GetNumberOfColumns() == shape.columns;
  });
}

BENCHMARK_CAPTURE(Size, long, kLong)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Size, wide, kWide)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SizeAndRead, long, kLong)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SizeAndRead, wide, kWide)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Store, long, kLong)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Store, wide, kWide)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace nvimport
