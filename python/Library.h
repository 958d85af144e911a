#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nvimport/hosting/export/CombinedColumns.h"
#include "python/DenseSheet.h"

namespace nvimport {

// What Python asks of the library, one call at a time and without the interpreter's lock. Texts are
// UTF-8, paths bytes.

// Why something was not done.
struct Refusal {
  enum class Kind { kError, kArgument, kChoice, kCancelled };

  Kind kind = Kind::kError;
  int code = 0;      // the status of a reader, 0 where none refused
  std::string text;  // what is said first
  std::string detail;
  std::string advice;                   // what can be done about it
  std::string format;                   // taken, if any
  std::string question;                 // of a choice: what has to be chosen
  std::vector<std::string> candidates;  // of a choice
};

// What is to be read, and the answers that come with it.
struct Request {
  std::vector<std::string> paths;
  std::string name;  // in messages; of the first path without one
  std::string format;
  std::string pairs;                   // of options
  std::optional<std::string> options;  // as they are stored
  std::optional<std::string> delimiter;
  bool ignore_consecutive = false;
  std::optional<std::string> sheet;
  std::optional<std::string> blocks;
  std::optional<std::string> range;
  std::string merge;
  std::optional<bool> kept_rules;
  std::optional<std::string> password;
  bool allow_query = false;
  std::optional<std::string> columns;  // as ColumnChoice has them
  int skipped_rows = 0;
  int most_rows = 0;  // that are wanted behind those skipped, 0 for all
};

// A question that a format asked, and its answer.
struct Choice {
  std::string name;
  std::string answer;
  std::string source;  // "given" or "guessed"
  std::vector<std::string> entries;
  std::vector<std::string> names;  // of these alone
};

// What came of it.
struct Import {
  std::optional<Refusal> refusal;
  std::string format;
  bool kept_rules = false;
  int rows = 0;
  int columns = 0;
  std::string options;             // that repeat it
  std::vector<std::string> pairs;  // that the format knows
  std::vector<Choice> choices;
  std::vector<std::string> notes;
  std::vector<std::string> warnings;
  int first_x_column = 0;  // of the columns whose x values are known exactly
  std::vector<double> x;   // these
  bool has_x_row = false;  // the second row holds the x values
  Description description;
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

// What the formats say of a file.
struct Detected {
  std::optional<Refusal> refusal;
  std::string format;
  std::string reason;
  std::string looks_like;
  std::vector<std::string> candidates;
  std::vector<std::pair<std::string, std::string>> answers;
};

Detected DetectSheet(const std::string& path, std::optional<bool> kept_rules);

// A format as Python lists it.
struct ListedFormat {
  int index;
  std::string name;
  std::vector<std::string> extensions;
  bool reads;
  bool writes;
  bool several;
  std::string library;
};

std::vector<ListedFormat> ListFormats();

// Writes a sheet; `format` decides where the extension can't. `notes` are told of cells that may
// not read back.
std::optional<Refusal> WriteCells(const DenseSheet& cells, const std::string& path,
                                  const std::string& format, bool overwrite,
                                  const std::string& pairs, std::vector<std::string>& notes);

}  // namespace nvimport
