// JCAMP-DX beside its floor: a scan of the same bytes for line feeds, and one call of a sink for
// each point and each name. One block of 1,000,000 points in plain numbers, also with x values that
// are no whole numbers, and in differences with counts; a link of 2,000 blocks of 3,000 points.

#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "bench/BesideFloor.h"
#include "bench/TouchingSink.h"
#include "nvimport/formats/spectra/JCAMPFile.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/OutputFile.h"

namespace nvimport {

namespace {

struct Shape {
  const char* name;
  int blocks;
  int points;
  const char* first_x;
  const char* delta_x;
  bool differences;
};
constexpr Shape kPlain{"plain.dx", 1, 1'000'000, "0", "1", false};
constexpr Shape kBetween{"between.dx", 1, 1'000'000, "399.23", "0.4822", false};
constexpr Shape kDifferences{"differences.dx", 1, 1'000'000, "0", "1", true};
constexpr Shape kLink{"link.dx", 2'000, 3'000, "0", "1", true};

int Ordinate(int block, int n) {
  return static_cast<int>(1e6 * (1.2 + std::sin(n * 0.01 + block)));
}

std::string Coded(int value, const char* letters, const char* negative) {
  std::string text = std::to_string(std::abs(value));
  const char* const used = value < 0 ? negative : letters;
  text[0] = used[text[0] - '0'];
  return text;
}

std::string Line(const Shape& shape, int block, int& n) {
  constexpr int kPerLine = 9;
  std::string line = std::to_string(n);
  for (int i = 0; i < kPerLine && n < shape.points; ++i, ++n) {
    const int y = Ordinate(block, n);
    if (!shape.differences)
      line += " " + std::to_string(y);
    else if (i == 0 || i == kPerLine - 1)
      line += Coded(y, "@ABCDEFGHI", "@abcdefghi");
    else
      line += Coded(y - Ordinate(block, n - 1), "%JKLMNOPQR", "%jklmnopqr");
    // A level stretch now and then.
    if (shape.differences && i == kPerLine - 1 && n + 3 < shape.points) {
      line += "V";
      n += 3;
    }
  }
  return line + "\n";
}

void MakeFile(const Shape& shape, const std::string& path) {
  OutputFile out(path.c_str());
  if (shape.blocks > 1) out.Write("##TITLE= link\n##DATA TYPE= LINK\n");
  for (int block = 0; block < shape.blocks; ++block) {
    out.Write("##TITLE= block " + std::to_string(block) + "\n##DATA TYPE= INFRARED SPECTRUM\n" +
              "##YFACTOR= 1E-6\n##FIRSTX= " + shape.first_x + "\n##DELTAX= " + shape.delta_x +
              "\n##NPOINTS= " + std::to_string(shape.points) + "\n##XYDATA= (X++(Y..Y))\n");
    for (int n = 0; n < shape.points;) out.Write(Line(shape, block, n));
    out.Write("##END=\n");
  }
  if (shape.blocks > 1) out.Write("##END=\n");
}

[[gnu::noinline]] void TouchCells(const Shape& shape, const std::string& path,
                                  ReadSpreadSheetData& sink) {
  InputFile file(path.c_str());
  std::vector<char> bytes(256 * 1024);
  int lines = 0;
  for (std::ptrdiff_t got = file.Read(bytes); got > 0; got = file.Read(bytes)) {
    const char* const end = bytes.data() + got;
    for (const char* next = bytes.data();
         (next = static_cast<const char*>(
              std::memchr(next, '\n', static_cast<std::size_t>(end - next)))) != nullptr;
         ++next)
      ++lines;
  }
  for (int n = 0; n < shape.points; ++n) sink.Set(n, 1, "t 1");
  for (int block = 0; block < shape.blocks; ++block)
    for (int n = 0; n < shape.points; ++n) sink.Set(n, block, static_cast<float>(lines));
}

void ReadBlocks(benchmark::State& state, const Shape& shape) {
  const std::string path =
      BenchInput(shape.name, [&](const std::string& to) { MakeFile(shape, to); });
  JCAMPImportOptions layout;
  layout.blocks.resize(static_cast<std::size_t>(shape.blocks));
  std::iota(layout.blocks.begin(), layout.blocks.end(), 1);
  const std::unique_ptr<NvImportOpenOptions> options(JCAMPFile::GetImportOptions(layout));
  BesideFloor(
      state, path,
      [&] {
        TouchingSink sink;
        TouchCells(shape, path, sink);
        benchmark::DoNotOptimize(sink.Total());
      },
      [&] {
        JCAMPFile file;
        TouchingSink sink;
        if (file.Open(true, path.c_str(), options.get()) != 0 || file.Read(&sink) != 0 ||
            file.JCAMPWarning())
          return false;
        benchmark::DoNotOptimize(sink.Total());
        return true;
      });
  SpreadsheetOpenOptions::FreeOpenOptions(options.get());
}

BENCHMARK_CAPTURE(ReadBlocks, plain, kPlain)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadBlocks, between, kBetween)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadBlocks, differences, kDifferences)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadBlocks, link, kLink)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace nvimport
