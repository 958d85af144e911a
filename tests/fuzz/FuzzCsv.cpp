// Comma-separated values against the reference. Input: a byte of settings, the file.
//   bits 0-1 the delimiter   bits 2-3 the quote   bit 4 the first row is left out
//   bit 6 the delimiter is guessed   0xA in the upper half: a long line precedes the file, which so
//   begins at the end of a block, as far before it as the next byte says

#include <algorithm>

#include "nvimport/formats/text/CsvFile.h"
#include "nvimport/formats/text/TextScan.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/ReferenceCsv.h"

namespace nvimport {

namespace {

constexpr std::size_t kBlock = 256 * 1024;

void CompareScans(std::string text, char delimiter, char quote) {
#if defined(__x86_64__)
  const std::size_t blocks = text.size() / 64 + 1;
  text.resize(blocks * 64 + 1);
  std::vector<CsvMasks> plain(blocks);
  FindCsvBytesPlain(text.data(), blocks, delimiter, quote, plain.data());
  for (const FindCsvBytes find : {FindCsvBytesSse2, BestFindCsvBytes()}) {
    std::vector<CsvMasks> masks(blocks);
    find(text.data(), blocks, delimiter, quote, masks.data());
    Check(plain == masks, "every scan finds the same");
  }
#endif
}

void OpenAndCompare(CsvFile& reader, const MemoryFile& file, NvImportOpenOptions* options,
                    const ReferenceTable* expected) {
  if (reader.Open(true, file.path(), options) != 0) {
    Check(expected == nullptr, "a file without a NUL, or in UTF-16, opens");
    return;
  }
  CheckingSink sink(CheckingSink::Beyond::kForbidden, /*keeps=*/true);
  const bool read = reader.Read(&sink) == 0;
  if (expected == nullptr) return;
  Check(read == (expected->open_line == 0), "an open quote, and nothing else, is refused");
  if (!read) {
    Check(ErrorText(reader) == "The quoted field that begins in line " +
                                   std::to_string(expected->open_line) + " is not closed.",
          "the line is named");
    return;
  }
  Check(reader.GetNumRows() == static_cast<int>(expected->rows.size()), "the rows are counted");
  Check(reader.GetNumCols() == static_cast<int>(expected->columns()), "the columns are counted");
  Check(sink.cells == CellsOf(expected->rows, /*with_empty=*/false), "every cell came");
}

}  // namespace

void Fuzz(std::string_view input_bytes) {
  constexpr struct {
    const char* name;
    char byte;
  } kDelimiters[] = {{"comma", ','}, {"semicolon", ';'}, {"tab", '\t'}, {"x", 'x'}};
  constexpr struct {
    const char* name;
    std::optional<char> byte;
  } kQuotes[] = {{"double", '"'}, {"single", '\''}, {"none", std::nullopt}, {"q", 'q'}};

  ByteReader input = InputReader(input_bytes);
  const unsigned settings = input.U8();
  const auto& delimiter = kDelimiters[settings & 3];
  const auto& quote = kQuotes[settings >> 2 & 3];
  const bool header = (settings & 16) == 0;
  const bool guesses = (settings & 64) != 0;
  std::string bytes;
  if (settings >> 4 == 0xA) bytes = std::string(kBlock - 1 - input.U8() % 128, 'a') + '\n';
  const std::string tail(input.Text(input.remaining()));
  CompareScans(tail, delimiter.byte, quote.byte.value_or(kNoQuote));
  bytes += tail;

  const std::string text = ReferenceText(bytes);
  const bool is_utf16 = bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF");
  ReferenceTable table = ReferenceCsv(text, delimiter.byte, quote.byte);
  if (!header && !table.rows.empty()) table.rows.erase(table.rows.begin());
  const bool is_utf32 = bytes.starts_with(std::string_view("\xFF\xFE\0\0", 4));
  const bool opens = is_utf16 ? !is_utf32 : bytes.substr(0, 30768).find('\0') == std::string::npos;

  const MemoryFile file(bytes);
  CsvFile reader;
  if (guesses) {
    NvImportOpenOptions choice{0, nullptr};
    OpenAndCompare(reader, file, &choice, nullptr);
    CsvFile second;
    if (choice.data != nullptr)
      Check(second.Open(true, file.path(), &choice) == 0, "the choice is taken again");
    return;
  }
  OpenOptions options =
      OpenOptions::Made(CsvFile::GetImportOptions(delimiter.name, quote.name, header));
  OpenAndCompare(reader, file, options.get(), opens ? &table : nullptr);
}

}  // namespace nvimport
