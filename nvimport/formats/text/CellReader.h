#pragma once

#include <climits>
#include <cstddef>
#include <string>
#include <string_view>

#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Log.h"

namespace nvimport {

// Of a text whose size is left open, what is looked at for its columns.
inline constexpr std::size_t kSizedHead = 256 * 1024;

// Hands the rows that the sink asks for to it, within bounds.
class CellReader {
 public:
  static constexpr bool kCountsOnly = false;

  CellReader(ReadSpreadSheetData* sink, int last_column, int last_row, int first_row,
             int first_column, int row = 1)
      : sink_(sink),
        columns_(last_column),
        last_column_(last_row == SpreadsheetFile::kOpenSize ? INT_MAX : last_column),
        last_row_(last_row),
        first_row_(first_row),
        first_column_(first_column),
        row_(row) {}

  // Asks for the next row; false when no row is wanted any more.
  bool AskForRow() {
    // A sink can't go back. One that keeps asking for rows gone by wants nothing more.
    constexpr int kPatience = 16;
    for (int asked = 0; asked < kPatience; ++asked) {
      wanted_ = sink_->GetNextIndex(wanted_);
      if (wanted_ < 0 || wanted_ > last_row_) return false;
      if (wanted_ > row_ - 1) break;
    }
    if (wanted_ < row_) return false;
    delivers_ = wanted_ == row_ && row_ >= first_row_;
    return true;
  }

  void Field(const char* text, std::size_t length) {
    if (column_ >= last_column_) return;
    ++column_;
    if (delivers_ && column_ >= first_column_) sink_->Set(column_, row_, text, length);
  }

  // A field without a text, whose cell is not set.
  void SkipField() {
    if (column_ < last_column_) ++column_;
  }

  // Lines walked so far.
  int lines() const { return lines_; }
  // The columns of the widest of them, or as many as there were to be.
  int columns() const { return columns_; }

  bool EndLine() {
    if (column_ > columns_) Widen();
    column_ = 0;
    ++lines_;
    const bool was_wanted = row_ == wanted_;
    if (row_ >= last_row_) return false;
    ++row_;
    if (was_wanted) return AskForRow();
    delivers_ = wanted_ == row_ && row_ >= first_row_;
    return true;
  }

 private:
  // Of a size that was left open. A line that is no row counts for nothing.
  void Widen() {
    if (row_ < 1) return;
    columns_ = column_;
    sink_->SetDataSize(columns_, row_);
  }

  ReadSpreadSheetData* sink_;
  int columns_;
  int last_column_;
  int last_row_;
  int first_row_;
  int first_column_;
  int row_;         // the line now being walked; 0 for one that is no row of the sheet
  int wanted_ = 0;  // the sink's last answer
  int column_ = 0;
  int lines_ = 0;
  bool delivers_ = false;
};

// The note on a file of which fewer rows came than its size had said.
inline void NoteMissingRows(std::string_view source, int delivered, int rows) {
  Log::WriteNote(source,
                 "the file has become shorter while it was read: " + std::to_string(delivered) +
                     " of " + std::to_string(rows) + " rows were delivered");
}

}  // namespace nvimport
