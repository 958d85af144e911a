// The parts of an Excel 2007 workbook, in an archive that is made around them. Input: a byte of
// settings, then rows, strings, formats and styles, each up to a line of "--" where there is one.
//   bit 0 binary parts   bit 1 dates since 1904
//
// XML rows are read a second time in UTF-16, in which nothing is taken without the parser.

#include "tests/fuzz/Fuzz.h"

#ifdef NVIMPORT_HAS_PACKAGES

#include <algorithm>
#include <array>

#include "nvimport/formats/workbook/Excel2007File.h"
#include "nvimport/platform/Utf8.h"
#include "tests/support/PackageFixture.h"

namespace nvimport {

namespace {

// The status, and the cells.
std::pair<int, std::vector<CheckingSink::SeenCell>> Read(const std::string& bytes) {
  const MemoryFile workbook(bytes);
  Excel2007File file;
  CheckingSink sink(CheckingSink::Beyond::kAllowed, /*keeps=*/true);
  if (file.Open(true, workbook.path(), nullptr) == 0) {
    const std::pair size(file.GetNumRows(), file.GetNumCols());
    file.Read(&sink);
    std::pair extent(0, 0);
    for (const auto& cell : sink.cells)
      extent = {std::max(extent.first, cell.row), std::max(extent.second, cell.column)};
    Check((extent.first <= size.first && extent.second <= size.second) || sink.cells.empty(),
          "no cell lies beyond the size");
    Check(file.GetStatus() != 0 || extent == size, "the size is that of the cells");
  }
  return {file.GetStatus(), std::move(sink.cells)};
}

std::string InUtf16(std::string_view ascii) {
  std::string wide = "\xFF\xFE";
  for (const char c : ascii) (wide += c) += '\0';
  return wide;
}

}  // namespace

void Fuzz(std::string_view input) {
  const int settings = Setting(input, 0);
  std::string_view rest = input.substr(std::min<std::size_t>(1, input.size()));
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
  const auto outcome = Read(ZipArchive(parts));
  if (workbook.is_binary || !IsAscii(pieces[0])) return;

  const auto sheet = std::ranges::find(parts, "xl/worksheets/sheet1.xml", &ZipPart::name);
  sheet->bytes = InUtf16(std::string_view(sheet->bytes).substr(std::strlen(PackageFixture::kHead)));
  Check(Read(ZipArchive(parts)) == outcome, "the parser alone comes to the same");
}

}  // namespace nvimport

#else
void nvimport::Fuzz(std::string_view) {}
#endif
