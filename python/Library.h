#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nvimport/hosting/calls/Calls.h"
#include "nvimport/hosting/export/CombinedColumns.h"
#include "python/DenseSheet.h"

namespace nvimport {

// The calls of Python, without the interpreter's lock.

// What came of a read.
struct Import : ReadResult {
  std::shared_ptr<DenseSheet> cells;
};

// Reads the sheet; without `with_cells` only as far as its size.
Import ReadSheet(const Request& request, bool with_cells);

// The columns of any number of files, by name and x value, so far.
struct TableColumns {
  CombinedColumns columns;
  bool has_sheets = false;  // some have several

  // For the way to another process, and back; none of bytes that are damaged.
  std::string Bytes() const;
  static std::optional<TableColumns> Parse(std::string_view bytes);
};

// Adds the columns of a file; `sheets` become what GatherRows reads its rows by.
std::optional<Refusal> SurveySheets(const Request& request, const ColumnRules& rules,
                                    TableColumns& columns, std::string& sheets);

// The rows of files under the columns of all.
struct GatheredRows {
  std::shared_ptr<DenseSheet> cells;
  int rows = 0;
  std::vector<int> rows_of;  // by file
  std::vector<std::optional<Refusal>> refusals;
};

// Reads them. A file that is refused has the rows that came before.
GatheredRows GatherRows(const std::vector<std::pair<Request, std::string>>& surveyed,
                        const ColumnRules& rules, const TableColumns& columns);

// Writes a sheet; `format` decides where the extension can't. `notes` are told of cells that may
// not read back.
std::optional<Refusal> WriteCells(const DenseSheet& cells, const std::string& path,
                                  const std::string& format, bool overwrite,
                                  const std::string& pairs, std::vector<std::string>& notes);

}  // namespace nvimport
