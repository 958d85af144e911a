// The parts of an Excel 2007 workbook, in an archive that is made around them. Input: a byte of
// settings, then rows, strings, formats and styles, each up to a line of "--" where there is one.
//   bit 0 binary parts   bit 1 dates since 1904
//
// XML rows are read a second time in UTF-16, in which nothing is taken without the parser.

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/workbook/Excel2007File.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/Utf8.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/MemoryFile.h"
#include "tests/support/PackageFixture.h"

namespace nvimport {

namespace {

// Keeps what comes, as text.
class RecordingSink final : public ReadSpreadSheetData {
 public:
  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override { Add(column, row, text); }
  void Set(int column, int row, float value) override {
    Add(column, row, std::to_string(std::bit_cast<std::uint32_t>(value)));
  }
  void SetDataSize(int, int) override {}
  int GetNumberOfColumns() override { return columns_; }
  int GetNumberOfRows() override { return rows_; }

  std::vector<std::string> cells;

 private:
  void Add(int column, int row, std::string value) {
    Check(column >= 1 && row >= 1, "indices begin at 1");
    columns_ = std::max(columns_, column);
    rows_ = std::max(rows_, row);
    cells.push_back(std::to_string(column) + ' ' + std::to_string(row) + ' ' + std::move(value));
  }

  int columns_ = 0;
  int rows_ = 0;
};

struct Outcome {
  int status = 0;
  std::vector<std::string> cells;
  bool operator==(const Outcome&) const = default;
};

Outcome Read(const std::string& bytes) {
  const MemoryFile workbook(bytes);
  Excel2007File file;
  RecordingSink sink;
  if (file.Open(true, workbook.path(), nullptr) == 0) {
    const int columns = file.GetNumCols();
    const int rows = file.GetNumRows();
    file.Read(&sink);
    Check(sink.GetNumberOfColumns() <= columns && sink.GetNumberOfRows() <= rows,
          "no cell lies beyond the size");
    Check(file.GetStatus() != 0 ||
              (sink.GetNumberOfColumns() == columns && sink.GetNumberOfRows() == rows),
          "the size is that of the cells");
  }
  return {file.GetStatus(), std::move(sink.cells)};
}

std::string InUtf16(std::string_view ascii) {
  std::string wide = "\xFF\xFE";
  for (const char c : ascii) (wide += c) += '\0';
  return wide;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ByteReader input = InputReader(data, size);
  const unsigned settings = input.U8();
  std::string_view rest = input.Text(input.remaining());
  constexpr std::string_view kEnd = "\n--\n";
  std::array<std::string, 4> pieces;
  for (std::string& piece : pieces) {
    const std::size_t end = std::min(rest.find(kEnd), rest.size());
    piece = rest.substr(0, end);
    rest.remove_prefix(std::min(end + kEnd.size(), rest.size()));
  }
  PackageFixture workbook{{{pieces[0]}}, pieces[1], pieces[2], pieces[3]};
  workbook.is_binary = (settings & 1) != 0;
  if ((settings & 2) != 0) workbook.properties = "date1904=\"1\"";
  std::vector<ZipPart> parts = workbook.Parts();
  for (ZipPart& part : parts) part.is_packed = false;
  const Outcome outcome = Read(ZipArchive(parts));
  if (workbook.is_binary || !IsAscii(pieces[0])) return 0;

  const auto sheet = std::ranges::find(parts, "xl/worksheets/sheet1.xml", &ZipPart::name);
  sheet->bytes = InUtf16(std::string_view(sheet->bytes).substr(std::strlen(PackageFixture::kHead)));
  Check(Read(ZipArchive(parts)) == outcome, "the parser alone comes to the same");
  return 0;
}

}  // namespace nvimport
