// The pieces that readers are made of, each over a megabyte or so that lies in memory.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/CompoundFileAround.h"
#include "bench/Sums.h"
#include "nvimport/formats/spectra/JCAMPValues.h"
#include "nvimport/formats/text/FieldScanner.h"
#include "nvimport/formats/workbook/ExcelStream.h"
#include "nvimport/framework/DLLReadSpreadSheetData.h"
#include "nvimport/framework/MemorySheet.h"
#include "nvimport/platform/CompoundFile.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/NumberText.h"
#include "tests/support/BiffFixture.h"
#include "tests/support/MemoryFile.h"

namespace nvimport {

namespace {

constexpr int kItems = 100'000;

std::string Repeated(std::string_view text, int times = kItems) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

void SetItems(benchmark::State& state, std::int64_t each = kItems) {
  state.SetItemsProcessed(state.iterations() * each);
}

struct FieldSums {
  static constexpr bool kCountsOnly = false;
  void Field(const char* text, std::size_t) { sums.Text(++column, 1, text); }
  static bool EndLine() { return true; }
  LaneSums sums;
  int column = 0;
};

void Splitter(benchmark::State& state, std::string_view delimiter, FindBytes find_bytes) {
  const MemoryFile text(Repeated("north\t-123.4567\t\tS-104711\t0.5\n"));
  TextInput file(text.path());
  while (state.KeepRunning()) {
    file.Rewind();
    FieldSums fields;
    FieldScanner(file, delimiter, false, find_bytes).Walk(fields);
    benchmark::DoNotOptimize(fields.sums.Total());
  }
  SetItems(state, std::int64_t{5} * kItems);
}
BENCHMARK_CAPTURE(Splitter, best, "\t", BestFindBytes());
BENCHMARK_CAPTURE(Splitter, plain, "\t", FindBytesPlain);
BENCHMARK_CAPTURE(Splitter, two_characters, "\t-", BestFindBytes());

// Names of columns: whole wavelengths, and those with decimals.
void GeneralText(benchmark::State& state, double first, double step) {
  while (state.KeepRunning())
    for (int i = 0; i < kItems; ++i) {
      FloatText text;
      benchmark::DoNotOptimize(FormatGeneral(first + step * i, text));
    }
  SetItems(state);
}
BENCHMARK_CAPTURE(GeneralText, whole, 1'100, 1);
BENCHMARK_CAPTURE(GeneralText, decimals, 399.23, 0.4822);
BENCHMARK_CAPTURE(GeneralText, exponents, 1e-7, 1e-9);

void ShortestText(benchmark::State& state) {
  while (state.KeepRunning())
    for (int i = 0; i < kItems; ++i) {
      FloatText text;
      benchmark::DoNotOptimize(FormatFloat(0.312F + static_cast<float>(i) * 1e-4F, text));
    }
  SetItems(state);
}
BENCHMARK(ShortestText);

void NumberOfText(benchmark::State& state) {
  while (state.KeepRunning())
    for (int i = 0; i < kItems; ++i) benchmark::DoNotOptimize(ParseNumber("-1234.5678"));
  SetItems(state);
}
BENCHMARK(NumberOfText);

// Ten ordinates a line.
void Ordinates(benchmark::State& state, std::string_view line) {
  while (state.KeepRunning())
    for (int i = 0; i < kItems / 10; ++i) {
      const char* at = line.data();
      JCAMPValue value{.count = 1};
      while (value.count != 0) {
        ReadNextValue(at, {}, value);
        benchmark::DoNotOptimize(std::as_const(value));
      }
    }
  SetItems(state);
}
BENCHMARK_CAPTURE(Ordinates, plain, "10021 10034 10055 10021 10000 9987 9954 9932 9912 9900\n");
BENCHMARK_CAPTURE(Ordinates, decimals, "1.21 -1.34 0.55E-3 1.21 1.5 .987 9.54 9.32 9.12 9\n");
BENCHMARK_CAPTURE(Ordinates, differences, "A0021J3K1l4kJ3nOpT\n");

void WholeOrdinates(benchmark::State& state) {
  constexpr std::string_view kLine = "10021 10034 10055 10021 10000 9987 9954 9932 9912 9900\n";
  while (state.KeepRunning())
    for (int i = 0; i < kItems / 10; ++i) {
      const char* at = kLine.data();
      std::int64_t number = 0;
      bool is_difference = false;
      while (TakeWhole(at, number, is_difference)) benchmark::DoNotOptimize(std::as_const(number));
    }
  SetItems(state);
}
BENCHMARK(WholeOrdinates);

template <typename Stream>
void WalkRecords(benchmark::State& state, const std::string& bytes) {
  const MemoryFile file(bytes);
  while (state.KeepRunning()) {
    Stream stream(file.path());
    std::uint64_t sum = 0;
    for (BiffRecord record; stream.ReadRecord(8'224, record);) sum += record.U16(2);
    benchmark::DoNotOptimize(std::as_const(sum));
  }
  SetItems(state);
}
void RecordWalk(benchmark::State& state) {
  WalkRecords<BaseStream>(state, Repeated(Number(1, 2, 0.5)));
}
void RecordWalkInCompoundFile(benchmark::State& state) {
  WalkRecords<ExcelStgStream>(state, CompoundFileAround(Repeated(Number(1, 2, 0.5))));
}
BENCHMARK(RecordWalk);
BENCHMARK(RecordWalkInCompoundFile);

// From opening the file to the stream's last byte, an item each sector.
void CompoundFileChain(benchmark::State& state) {
  constexpr int kSectors = 20'000;
  const MemoryFile bytes(CompoundFileAround(std::string(512 * kSectors, 'x')));
  std::vector<char> block(256 * 1024);
  while (state.KeepRunning()) {
    CompoundFile file;
    file.Open(bytes.path());
    const CompoundFile::Stream* const stream = file.OpenStream(1);
    if (stream == nullptr) return state.SkipWithError("no stream");
    std::uint64_t position = 0;
    for (std::ptrdiff_t got; (got = file.Read(*stream, position, block)) > 0;)
      position += static_cast<std::uint64_t>(got);
    if (position != 512 * kSectors) return state.SkipWithError("the stream was cut");
  }
  SetItems(state, kSectors);
}
BENCHMARK(CompoundFileChain);

// A host of the plain C functions.
struct CountingHost : NvImportReadData {
  CountingHost() : NvImportReadData{} {
    set_number = [](NvImportReadData* data, int row, int column, float value) {
      static_cast<CountingHost*>(data)->sums.Number(column, row, value);
    };
    set_text = [](NvImportReadData* data, int row, int column, const char* text) {
      static_cast<CountingHost*>(data)->sums.Text(column, row, text);
    };
  }
  LaneSums sums;
};

// Apart, so that the calls stay calls.
template <typename Value>
[[gnu::noinline]] void SetCells(ReadSpreadSheetData& sink, Value value) {
  for (int i = 0; i < kItems; ++i) sink.Set(i, 1, value);
}

template <typename Value>
void Adapter(benchmark::State& state, Value value) {
  CountingHost host;
  DLLReadSpreadSheetData adapter(&host);
  while (state.KeepRunning()) SetCells(adapter, value);
  benchmark::DoNotOptimize(host.sums.Total());
  SetItems(state);
}
BENCHMARK_CAPTURE(Adapter, floats, 0.5F);
BENCHMARK_CAPTURE(Adapter, doubles, 0.5);
BENCHMARK_CAPTURE(Adapter, large_wholes, 1e9);
BENCHMARK_CAPTURE(Adapter, texts, "north");

template <typename Value>
void FillSheet(benchmark::State& state, Value value) {
  constexpr int kColumns = 100;
  while (state.KeepRunning()) {
    MemorySheet sheet;
    sheet.SetDataSize(kColumns, kItems / kColumns);
    for (int i = 0; i < kItems; ++i) sheet.Set(i % kColumns + 1, i / kColumns + 1, value);
    benchmark::DoNotOptimize(sheet.GetNumberOfRows());
  }
  SetItems(state);
}
BENCHMARK_CAPTURE(FillSheet, floats, 0.5F);
BENCHMARK_CAPTURE(FillSheet, short_texts, "north");
BENCHMARK_CAPTURE(FillSheet, long_texts, "north by northwest");

void CellsOfSheet(benchmark::State& state) {
  constexpr int kColumns = 100;
  MemorySheet sheet;
  for (int i = 0; i < kItems; ++i) sheet.Set(i % kColumns + 1, i / kColumns + 1, 0.5F);
  while (state.KeepRunning())
    for (int i = 0; i < kItems; ++i)
      benchmark::DoNotOptimize(sheet.GetCell(i % kColumns + 1, i / kColumns + 1));
  SetItems(state);
}
BENCHMARK(CellsOfSheet);

}  // namespace

}  // namespace nvimport
