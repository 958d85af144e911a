// A sample all of whose bytes are guarded by check sums, and changes to it: another of its cells is
// told, or none. Input: which sample, then where a change is (two bytes) and what comes there.

#include "nvimport/formats/workbook/Excel2007File.h"
#include "tests/fuzz/Fuzz.h"

#ifdef NVIMPORT_HAS_PACKAGES
namespace nvimport {

namespace {

// The cells; none where the file is refused, or something is said of it.
std::optional<std::vector<CheckingSink::SeenCell>> CellsOf(const std::string& bytes) {
  const MemoryFile file(bytes);
  const LogRecorder log;
  Excel2007File reader;
  CheckingSink sink(CheckingSink::Beyond::kAllowed, /*keeps=*/true);
  OpenOptions options = OpenOptions::Made(Excel2007File::GetImportOptions({1}, true));
  if (reader.Open(true, file.path(), options.get()) != 0 || reader.Read(&sink) != 0 ||
      !log.Notes().empty())
    return std::nullopt;
  return std::move(sink.cells);
}

struct Sample {
  explicit Sample(const char* name)
      : bytes(Contents(std::string(NVIMPORT_TEST_SAMPLES "/") + name)), cells(CellsOf(bytes)) {}
  std::string bytes;
  std::optional<std::vector<CheckingSink::SeenCell>> cells;
};

}  // namespace

void Fuzz(std::string_view input) {
  static const Sample samples[] = {Sample("mill.xlsx"), Sample("sieves.xlsb")};
  const Sample& sample = samples[Setting(input, 0) % 2];
  std::string bytes = sample.bytes;
  for (std::size_t at = 1; at + 3 <= input.size(); at += 3) {
    const auto place = static_cast<std::size_t>(Setting(input, at) << 8 | Setting(input, at + 1));
    bytes[place % bytes.size()] = input[at + 2];
  }
  const auto cells = CellsOf(bytes);
  Check(sample.cells.has_value(), "the sample is sound");
  Check(!cells || cells == sample.cells, "no cell changes without a word");
}

}  // namespace nvimport

#else
void nvimport::Fuzz(std::string_view) {}
#endif
