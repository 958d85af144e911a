// Delimited text against the reference. Input: a byte of settings, the delimiter, the file.
//   bits 0-1 the delimiter's length   bit 2 runs count as one
//   bit 3 a long line precedes the file, which so begins at the end of a block: as far before it as
//   the next byte says

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "formats/text/TextFile.h"
#include "formats/text/TextScan.h"
#include "framework/SpreadsheetData.h"
#include "framework/SpreadsheetOpenOptions.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/MemoryFile.h"
#include "tests/support/ReferenceSplitter.h"

namespace {

constexpr std::size_t kBlock = 256 * 1024;

// Compares each cell with what is expected next.
class ComparingSink : public ReadSpreadSheetData {
 public:
  explicit ComparingSink(const std::vector<std::vector<std::string>>& rows) : rows_(rows) {}

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override {
    while (fields_ == Expected().size() && row_ < rows_.size()) {
      ++row_;
      fields_ = 0;
    }
    Check(row_ <= rows_.size() && static_cast<std::size_t>(row) == row_, "the row is the next one");
    Check(static_cast<std::size_t>(column) == fields_ + 1, "the column is the next one");
    Check(column <= columns_ && row <= size_rows_, "the cell lies within the announced size");
    Check(fields_ < Expected().size(), "the row has such a field");
    Check(text == Expected()[fields_++], "the text is the field's");
  }
  void Set(int, int, float) override { Check(false, "text is no number"); }
  void SetDataSize(int columns, int rows) override {
    columns_ = columns;
    size_rows_ = rows;
  }
  int GetNumberOfColumns() override { return columns_; }
  int GetNumberOfRows() override { return size_rows_; }

  // True when all expected cells came.
  bool Complete() const {
    return fields_ == Expected().size() &&
           std::all_of(rows_.begin() + static_cast<std::ptrdiff_t>(std::min(row_, rows_.size())),
                       rows_.end(), [](const auto& row) { return row.empty(); });
  }

 private:
  const std::vector<std::string>& Expected() const {
    static const std::vector<std::string> none;
    return row_ == 0 ? none : rows_[row_ - 1];
  }

  const std::vector<std::vector<std::string>>& rows_;
  std::size_t row_ = 0;
  std::size_t fields_ = 0;
  int columns_ = 0;
  int size_rows_ = 0;
};

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

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ByteReader input = InputReader(data, size);
  const unsigned settings = input.U8();
  const bool ignore_consecutive = (settings & 4) != 0;
  std::string text;
  if ((settings & 8) != 0) text = std::string(kBlock - 1 - input.U8() % 128, 'x') + '\n';
  std::string delimiter(input.Text(std::min<std::size_t>(settings & 3, input.remaining())));
  const std::string tail(input.Text(input.remaining()));
  CompareScans(tail, delimiter.empty() ? '\n' : delimiter[0]);
  text += tail;

  const MemoryFile file(text);
  const std::unique_ptr<NvImportOpenOptions> options(
      TextFile::GetImportOptions(delimiter, ignore_consecutive));
  TextFile reader;
  const bool opened = reader.Open(true, file.path(), options.get()) == 0;
  SpreadsheetOpenOptions::FreeOpenOptions(options.get());
  Check(opened == (text.substr(0, 30768).find('\0') == std::string::npos),
        "a NUL in the head, and nothing else, refuses a file");
  if (!opened) return 0;

  delimiter = delimiter.c_str();  // a delimiter ends at its NUL
  const auto rows = ReferenceSplit(text, delimiter, ignore_consecutive);
  std::size_t columns = 0;
  for (const auto& row : rows) columns = std::max(columns, row.size());
  Check(reader.GetNumRows() == static_cast<int>(rows.size()), "the rows are counted");
  Check(reader.GetNumCols() == static_cast<int>(columns), "the columns are counted");
  ComparingSink sink(rows);
  Check(reader.Read(&sink) == 0, "what opened and has a size is read");
  Check(sink.Complete(), "every cell came");
  return 0;
}
