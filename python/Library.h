#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

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
};

// A question that a format asked, and its answer.
struct Choice {
  std::string name;
  std::string answer;
  std::string source;  // "given" or "guessed"
  std::vector<std::string> entries;
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
  std::shared_ptr<DenseSheet> cells;
};

// Reads the sheet; without `with_cells` only as far as its size.
Import ReadSheet(const Request& request, bool with_cells);

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
