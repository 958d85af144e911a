// Delimited text against the reference. Input: a byte of settings, the delimiter, the file.
//   bits 0-1 the delimiter's length   bit 2 runs count as one
//   bit 3 a long line precedes the file, which so begins at the end of a block: as far before it as
//   the next byte says

#include <algorithm>

#include "nvimport/formats/text/TextFile.h"
#include "nvimport/formats/text/TextScan.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/ReferenceSplitter.h"

namespace nvimport {

namespace {

constexpr std::size_t kBlock = 256 * 1024;

void CompareScans(std::string text, char delimiter) {
#if defined(__x86_64__)
  const std::size_t blocks = text.size() / 64 + 1;
  text.resize(blocks * 64);
  std::vector<ByteMasks> plain(blocks);
  FindBytesPlain(text.data(), blocks, delimiter, plain.data());
  for (const FindBytes find : {FindBytesSse2, HasAvx2() ? FindBytesAvx2 : FindBytesSse2}) {
    std::vector<ByteMasks> masks(blocks);
    find(text.data(), blocks, delimiter, masks.data());
    Check(std::equal(plain.begin(), plain.end(), masks.begin(),
                     [](const ByteMasks& a, const ByteMasks& b) {
                       return a.delimiter == b.delimiter && a.end == b.end;
                     }),
          "every scan finds the same");
  }
#endif
}

}  // namespace

void Fuzz(std::string_view bytes) {
  ByteReader input = InputReader(bytes);
  const unsigned settings = input.U8();
  const bool ignore_consecutive = (settings & 4) != 0;
  std::string text;
  if ((settings & 8) != 0) text = std::string(kBlock - 1 - input.U8() % 128, 'x') + '\n';
  std::string delimiter(input.Text(std::min<std::size_t>(settings & 3, input.remaining())));
  const std::string tail(input.Text(input.remaining()));
  CompareScans(tail, delimiter.empty() ? '\n' : delimiter[0]);
  text += tail;

  const MemoryFile file(text);
  OpenOptions options =
      OpenOptions::Made(TextFile::GetImportOptions(delimiter, ignore_consecutive));
  TextFile reader;
  const bool opened = reader.Open(true, file.path(), options.get()) == 0;
  Check(opened == (text.substr(0, 30768).find('\0') == std::string::npos),
        "a NUL in the head, and nothing else, refuses a file");
  TextFile any(TextRules::Off());
  if (any.Open(true, file.path(), options.get()) == 0) {
    CheckingSink sink(CheckingSink::Beyond::kForbidden, /*keeps=*/true);
    Check(any.GetNumCols() >= 0 && any.Read(&sink) == 0, "UTF-16 that opened is read");
  }
  if (!opened) return;

  delimiter = delimiter.c_str();  // a delimiter ends at its NUL
  const auto rows = ReferenceSplit(text, delimiter, ignore_consecutive);
  std::size_t columns = 0;
  for (const auto& row : rows) columns = std::max(columns, row.size());
  Check(reader.GetNumRows() == static_cast<int>(rows.size()), "the rows are counted");
  Check(reader.GetNumCols() == static_cast<int>(columns), "the columns are counted");
  CheckingSink sink(CheckingSink::Beyond::kForbidden, /*keeps=*/true);
  Check(reader.Read(&sink) == 0, "what opened and has a size is read");
  Check(sink.cells == CellsOf(rows, /*with_empty=*/true), "every cell came");
}

}  // namespace nvimport
