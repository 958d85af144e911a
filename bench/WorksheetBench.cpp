// Worksheets beside their floors, the same walk through lines or records that checks nothing and
// knows no rule.

#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "bench/BesideFloor.h"
#include "bench/TouchingSink.h"
#include "nvimport/formats/text/DIFFile.h"
#include "nvimport/formats/text/LotusFile.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/OutputFile.h"

namespace nvimport {

namespace {

constexpr int kDifRows = 100'000;
constexpr int kDifColumns = 20;
constexpr int kLotusRows = 8'192;
constexpr int kLotusColumns = 256;

void MakeDif(const std::string& path) {
  OutputFile out(path.c_str());
  out.Write("TABLE\n0,1\n\"\"\nDATA\n0,0\n\"\"\n");
  for (int row = 0; row < kDifRows; ++row) {
    out.Write("-1,0\nBOT\n");
    for (int column = 0; column < kDifColumns; ++column) {
      const std::string value = std::to_string((row * 31 + column * 7) % 100'000);
      out.Write(column % 4 == 0 ? "1,0\n\"lot " + value + "\"\n" : "0," + value + ".25\nV\n");
    }
  }
  out.Write("-1,0\nEOD\n");
}

template <typename... Values>
std::string LotusRecord(int type, Values... values) {
  std::string data;
  const auto put = [&](auto value) {
    data.append(reinterpret_cast<const char*>(&value), sizeof value);
  };
  (put(values), ...);
  std::string record = {static_cast<char>(type), 0, static_cast<char>(data.size()), 0};
  return record + data;
}

void MakeLotus(const std::string& path) {
  using Short = std::int16_t;
  OutputFile out(path.c_str());
  out.Write(LotusRecord(0, Short{0x0406}));
  out.Write(LotusRecord(6, Short{0}, Short{0}, Short{kLotusColumns - 1}, Short{kLotusRows - 1}));
  for (int row = 0; row < kLotusRows; ++row)
    for (int column = 0; column < kLotusColumns; ++column)
      out.Write(LotusRecord(14, '\0', static_cast<Short>(column), static_cast<Short>(row),
                            row + column / 4.0));
  const std::string end = {1, 0, 0, 0};
  out.Write(end);
}

// Reads a file block by block; `walk` goes through a block and returns where what it left begins.
template <typename Walk>
void WalkBlocks(const std::string& path, Walk walk) {
  InputFile file(path.c_str());
  std::vector<char> block(256 * 1024);
  std::size_t have = 0;
  for (std::ptrdiff_t got = 0; (got = file.Read(std::span(block).subspan(have))) > 0;) {
    char* const end = block.data() + have + got;
    char* const next = walk(block.data(), end);
    have = static_cast<std::size_t>(end - next);
    std::memmove(block.data(), next, have);
  }
}

// Apart, so that the calls of the sink stay calls.
[[gnu::noinline]] void TouchLines(const std::string& path, ReadSpreadSheetData& sink) {
  int line = 0;
  WalkBlocks(path, [&](char* next, char* end) {
    while (auto* feed =
               static_cast<char*>(std::memchr(next, '\n', static_cast<std::size_t>(end - next)))) {
      *feed = '\0';
      if (++line % 2 == 0) sink.Set(line % 64, 1, next);
      next = feed + 1;
    }
    return next;
  });
}

[[gnu::noinline]] void TouchRecords(const std::string& path, ReadSpreadSheetData& sink) {
  constexpr int kHeader = 4;
  WalkBlocks(path, [&](char* next, char* end) {
    while (end - next >= kHeader) {
      const int size = kHeader + LoadLittle<std::uint16_t>(next + 2);
      if (end - next < size) break;
      if (*next == 14)
        sink.Set(LoadLittle<std::uint16_t>(next + 5), LoadLittle<std::uint16_t>(next + 7),
                 static_cast<float>(LoadLittle<double>(next + 9)));
      next += size;
    }
    return next;
  });
}

template <typename Reader>
void SizeAndReadSheet(benchmark::State& state, const std::string& path,
                      void (*floor)(const std::string&, ReadSpreadSheetData&)) {
  BesideFloor(
      state, path,
      [&] {
        TouchingSink sink;
        floor(path, sink);
        benchmark::DoNotOptimize(sink.Total());
      },
      [&] {
        Reader file;
        TouchingSink sink;
        if (file.Open(true, path.c_str(), nullptr) != 0 || file.GetNumRows() < 1 ||
            file.Read(&sink) != 0)
          return false;
        benchmark::DoNotOptimize(sink.Total());
        return true;
      });
}

void Dif(benchmark::State& state) {
  SizeAndReadSheet<DIFFileOEM>(state, BenchInput("sheet.dif", MakeDif), TouchLines);
}
void Lotus(benchmark::State& state) {
  SizeAndReadSheet<LotusFile>(state, BenchInput("sheet.wk1", MakeLotus), TouchRecords);
}

BENCHMARK(Dif)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Lotus)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace nvimport
