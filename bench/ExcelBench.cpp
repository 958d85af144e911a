// A workbook beside its floor, one call of a sink for each cell of its records in place. 65,536 x
// 100 cells: numbers, RK values alone and in runs, texts out of 100,000 shared strings.

#include <algorithm>
#include <bit>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "bench/BesideFloor.h"
#include "bench/TouchingSink.h"
#include "nvimport/formats/workbook/ExcelFile.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/OutputFile.h"
#include "tests/support/BiffFixture.h"

namespace nvimport {

namespace {

constexpr unsigned kRows = 65'536;
constexpr unsigned kColumns = 100;
constexpr unsigned kStrings = 100'000;

// The shared strings, records of at most 8,224 bytes of whole strings.
std::string SharedStrings() {
  std::string records;
  std::string data = U32(kRows * 20) + U32(kStrings);
  unsigned id = 0x00FC;
  for (unsigned i = 0; i < kStrings; ++i) {
    data += Text8("string-" + std::to_string(i));
    if (data.size() < 8'100 && i + 1 < kStrings) continue;
    records += Record(id, data);
    data.clear();
    id = 0x003C;
  }
  return records;
}

std::string RkOf(unsigned value) { return U32(value << 2 | 2); }

void MakeWorkbook(const std::string& path) {
  const std::string start = WorkbookFixture{{{}}, SharedStrings()}.Stream();
  OutputFile out(path.c_str());
  out.Write(std::string_view(start).substr(0, start.size() - Eof().size()));
  for (unsigned r = 0; r < kRows; ++r) {
    std::string row;
    for (unsigned c = 0; c < kColumns; c += 10) {
      row += Number(r, c, r * 0.37 + c) + Number(r, c + 1, c * 1.1 - r);
      row += Record(0x00BD, At(r, c + 2) + U16(0) + RkOf(r) + U16(0) + RkOf(c) + U16(0) +
                                RkOf(r + c) + U16(0) + RkOf(7) + U16(0) + RkOf(9) + U16(c + 6));
      row += Record(0x027E, Cell(r, c + 7) + RkOf(r * 3));
      for (unsigned i = 8; i < 10; ++i)
        row += Record(0x00FD, Cell(r, c + i) + U32((r * 7'919 + c + i) % kStrings));
    }
    out.Write(row);
  }
  out.Write(Eof());
}

// Every value where its record has it, a text for each shared string. Apart, so that the calls stay
// calls.
[[gnu::noinline]] void TouchRecords(const std::string& path, ReadSpreadSheetData& sink) {
  InputFile file(path.c_str());
  std::vector<char> block(256 * 1024);
  std::size_t have = 0;
  for (std::ptrdiff_t got = 1; got > 0;) {
    got = file.Read(std::span(block).subspan(have));
    have += static_cast<std::size_t>(std::max<std::ptrdiff_t>(got, 0));
    const char* next = block.data();
    const char* const end = next + have;
    while (end - next >= 4 && end - next >= 4 + LoadLittle<std::uint16_t>(next + 2)) {
      const auto id = LoadLittle<std::uint16_t>(next);
      const int length = LoadLittle<std::uint16_t>(next + 2);
      const char* const data = next + 4;
      next = data + length;
      const int row = LoadLittle<std::uint16_t>(data) + 1;
      const int column = LoadLittle<std::uint16_t>(data + 2) + 1;
      if (id == 0x0203)
        sink.Set(column, row, std::bit_cast<double>(LoadLittle<std::uint64_t>(data + 6)));
      if (id == 0x027E)
        sink.Set(column, row, static_cast<double>(LoadLittle<std::int32_t>(data + 6) >> 2));
      if (id == 0x00FD) sink.Set(column, row, data);
      for (int i = 0; id == 0x00BD && i < (length - 6) / 6; ++i)
        sink.Set(column + i, row,
                 static_cast<double>(LoadLittle<std::int32_t>(data + 6 + 6 * i) >> 2));
    }
    have = static_cast<std::size_t>(end - next);
    std::copy(next, end, block.data());
  }
}

void Workbook(benchmark::State& state) {
  const std::string path = BenchInput("workbook.xls", MakeWorkbook);
  BesideFloor(
      state, path,
      [&] {
        TouchingSink sink;
        TouchRecords(path, sink);
        benchmark::DoNotOptimize(sink.Total());
      },
      [&] {
        ExcelFile file;
        TouchingSink sink;
        if (file.Open(true, path.c_str(), nullptr) != 0 || file.Read(&sink) != 0) return false;
        return sink.Total().cells == std::uint64_t{kRows} * kColumns;
      });
}

BENCHMARK(Workbook)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace nvimport
