#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/framework/Description.h"
#include "nvimport/hosting/Failure.h"
#include "nvimport/hosting/export/ColumnChoice.h"
#include "nvimport/hosting/export/CombinedColumns.h"
#include "nvimport/hosting/export/Export.h"
#include "nvimport/hosting/export/SheetWriters.h"
#include "nvimport/hosting/import/Import.h"
#include "nvimport/platform/Export.h"
#include "nvimport/platform/OutputFile.h"

namespace nvimport {

// Any number of files in one table. Each is read twice: first for its columns, which can be done
// anywhere and in any order; then, when the columns of all are known, for its rows, which are
// written as they come.

// A sheet that was read for its columns.
struct SurveyedSheet {
  using Stamp = std::array<std::int64_t, 4>;  // device, file, size, time of the last change

  std::string name{};  // of the worksheet, where its file has several
  int format = 0;
  std::vector<unsigned char> options{};  // that repeat its import
  std::vector<Stamp> stamps{};           // of its files
  bool is_in_order = true;               // its cells come row by row
  int rows = 0;                          // at most, from that of the names on
  SheetColumns columns{};

  // For the way to another process, and back; none of bytes that are damaged.
  NVIMPORT_API static std::string Bytes(const std::vector<SurveyedSheet>& sheets);
  NVIMPORT_API static std::optional<std::vector<SurveyedSheet>> Parse(std::string_view bytes);
};

struct Survey {
  ImportResult import;  // with notes on all sheets
  std::vector<SurveyedSheet> sheets;
};

// Reads the whole file, so that what fails does so before anything of it is written. Of a workbook
// each worksheet that is chosen is one of the sheets.
NVIMPORT_API Survey SurveyFile(const ImportRequest& request, const ColumnRules& rules);

// What the table is like.
struct CombinationRules {
  ColumnRules columns{};                 // as they were found by
  std::optional<ColumnChoice> wanted{};  // of the table
  bool has_sheets = false;               // a column says which sheet a row is of
  bool has_exact_names = false;          // x values are named by all their digits
  bool may_be_copies = false;            // the files of those surveyed, which have their size
};

// Gives a sheet the rows of the table.
class NVIMPORT_API CombinedTable {
 public:
  // All must outlive it.
  CombinedTable(const CombinedColumns& columns, const CombinationRules& rules,
                StreamingSheet& sheet);

  // Settles the columns that are wanted, or says why they can't be.
  std::optional<Failure> Settle();
  // What the table says of itself: its x values, and what its axes show where all files agree.
  const Description& description() const { return description_; }

  // Gives the names of the columns; `metadata` is told beside them.
  std::optional<Failure> Begin(bool is_sparse, SheetMetadata metadata = {});
  struct Added {
    std::optional<Failure> failure{};
    bool is_fatal = false;  // for the whole table: a part of the rows is there already
  };
  // Gives the rows of a sheet; the request is that which it was surveyed by.
  Added Add(ImportRequest request, const std::string& source, const SurveyedSheet& sheet);

  int rows() const { return rows_; }  // those without names
  int column_count() const { return column_count_; }
  std::uint64_t cells() const { return cells_; }  // that came

 private:
  class Rows;

  int PlaceOf(std::size_t position) const;
  // Those of a sheet's columns; most sheets have the same as the one before.
  const std::vector<std::size_t>& PositionsOf(SheetColumns sheet);
  void Describe();

  const CombinedColumns& columns_;
  const CombinationRules& rules_;
  StreamingSheet& sheet_;
  std::vector<std::string> names_;
  std::vector<int> places_;  // of all columns in the output, 0 for none
  int column_count_ = 0;
  int rows_ = 0;
  std::uint64_t cells_ = 0;
  Description description_;
  SheetColumns last_sheet_;
  std::vector<std::size_t> last_positions_{CombinedColumns::kNone};
};

// Writes the table.
class NVIMPORT_API CombinedFile {
 public:
  // All must outlive it. Only formats of this layer's own take a table row by row.
  CombinedFile(const CombinedColumns& columns, const CombinationRules& rules,
               const ExportRequest& output, OutputTarget& target);
  CombinedFile(const CombinedFile&) = delete;
  CombinedFile& operator=(const CombinedFile&) = delete;
  ~CombinedFile();

  // As those of the table; `head` stands before the names.
  std::optional<Failure> Settle();
  const Description& description() const { return table_.description(); }
  std::optional<Failure> Begin(std::string_view head, SheetMetadata metadata = {});
  CombinedTable::Added Add(ImportRequest request, const std::string& source,
                           const SurveyedSheet& sheet);
  // Ends the output.
  std::optional<Failure> Finish();

 private:
  Failure WhyGivenUp();

  const ExportRequest& output_;
  OutputTarget& target_;
  TextConversion conversion_;  // of what is UTF-8 already
  OutputFile stream_;
  std::unique_ptr<StreamingSheet> sheet_;
  CombinedTable table_;
};

}  // namespace nvimport
