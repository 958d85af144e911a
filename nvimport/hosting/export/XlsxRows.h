#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "nvimport/hosting/export/SheetWriters.h"
#include "nvimport/hosting/export/ZipStream.h"

namespace nvimport {

// Writes rows as the one worksheet of an Excel 2007 workbook. Numbers, and texts that are such,
// keep all their digits; other texts are never formulas; missing cells are not there. What a
// worksheet has no room for fails the file; only a text that is too long is cut.
class XlsxRows {
 public:
  // Rows may be wider than those before them.
  static constexpr bool kTakesWiderRows = true;

  XlsxRows(int columns, const TextConversion& conversion, OutputFile& file)
      : conversion_(conversion), file_(file) {
    SetColumns(columns);
  }
  void SetColumns(int columns);

  // The column that the next cell will have.
  int next() const { return next_; }

  void BeginRow();
  void Put(const MemoryCell& cell);
  void PutText(const char* text, std::size_t length) { PutText({text, length}); }
  void PutText(std::string_view text);
  void SkipTo(int column) { next_ = column; }
  void EndRow();
  void End();

  // The texts that were cut.
  std::size_t broken() const { return broken_; }

 private:
  void Begin();
  // Begins the next cell.
  void BeginCell(std::string_view kind);
  void PutDigits(std::string_view number);
  void PutWords(std::string_view text);
  void Flush();

  const TextConversion& conversion_;
  OutputFile& file_;
  std::optional<ZipStream> zip_;
  int row_ = 0;
  int next_ = 1;
  bool has_cells_ = false;  // the row
  std::string xml_;         // not compressed yet
  std::string decoded_;
  std::size_t broken_ = 0;
};

}  // namespace nvimport
