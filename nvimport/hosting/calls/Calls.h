#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "nvimport/framework/Description.h"
#include "nvimport/framework/MemorySheet.h"
#include "nvimport/hosting/Failure.h"
#include "nvimport/hosting/import/Import.h"
#include "nvimport/hosting/import/Sheets.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// What the package of a language asks of the library, one call at a time and in plain values.
// Texts are UTF-8, paths bytes.

// Why something was not done.
struct Refusal {
  enum class Kind { kError, kArgument, kChoice, kCancelled };

  Kind kind = Kind::kError;
  int code = 0;        // the status of a reader, 0 where none refused
  std::string text{};  // what is said first
  std::string detail{};
  std::string advice{};                   // what can be done about it
  std::string format{};                   // taken, if any
  std::string question{};                 // of a choice: what has to be chosen
  std::vector<std::string> candidates{};  // of a choice
};

// What is to be read, and the answers that come with it.
struct Request {
  std::vector<std::string> paths{};
  std::string name{};  // in messages; of the first path without one
  std::string format{};
  std::string pairs{};                   // of options
  std::optional<std::string> options{};  // as they are stored
  std::optional<std::string> delimiter{};
  bool ignore_consecutive = false;
  std::optional<std::string> sheet{};
  std::optional<std::string> blocks{};
  std::optional<std::string> range{};
  std::string merge{};
  std::optional<bool> kept_rules{};
  std::optional<std::string> password{};
  bool allow_query = false;  // that a file holds
  // What a database named in place of a file is asked, and what its question marks stand for, as
  // the option "params" of database queries has that.
  std::optional<std::string> query{};
  std::vector<std::string> parameters{};
  std::optional<std::string> columns{};  // as ColumnChoice has them
  int skipped_rows = 0;
  int most_rows = 0;  // that are wanted behind those skipped, 0 for all
};

// A question that a format asked, and its answer.
struct Choice {
  std::string name{};
  std::string answer{};
  std::string source{};  // "given" or "guessed"
  std::vector<std::string> entries{};
  std::vector<std::string> names{};  // of these alone
};

// What came of a read, but its cells.
struct ReadResult {
  std::optional<Refusal> refusal{};
  std::string format{};
  bool kept_rules = false;
  int rows = 0;
  int columns = 0;
  std::string options{};             // that repeat it
  std::vector<std::string> pairs{};  // that the format knows
  std::vector<Choice> choices{};
  std::vector<std::string> notes{};
  std::vector<std::string> warnings{};
  int first_x_column = 0;   // of the columns whose x values are known exactly
  std::vector<double> x{};  // these
  bool has_x_row = false;   // the second row holds the x values
  Description description{};
};

// A sheet that a call reads into.
class CallSheet : public ReadOnlySheet {
 public:
  // Wants no rows behind that one of the file.
  void EndBehind(int row) { last_wanted_ = row; }
  int GetNextIndex(int previous) override { return previous < last_wanted_ ? previous + 1 : -1; }

 private:
  int last_wanted_ = 0x7fffffff;
};

// What the host brings along.
struct CallHost {
  HostWords words{};                // the ways out of failures as it has them
  std::function<bool()> goes_on{};  // false stops the work
  // Is told the sheet's size and x values as far as they are known, before the first cell comes.
  std::function<void(const ReadResult& result)> begins{};
  bool leaves_size_open = true;  // else the size is always known by then
};

// Reads the sheet; without one only as far as its size.
NVIMPORT_API ReadResult ReadSheet(const Request& request, const CallHost& host, CallSheet* sheet);

// The parts of that, for calls of a host's own. The formats as the command has them:
NVIMPORT_API std::optional<Refusal> PrepareFormats(std::optional<bool> kept_rules = std::nullopt);
// A request as imports take it:
NVIMPORT_API std::optional<Refusal> TakeRequest(const Request& request, const HostWords& words,
                                                ImportRequest& import);
// Why an import came to nothing:
NVIMPORT_API Refusal WhyNot(const Failure& failure, const ImportResult& result);
// The same of what is said of a file beside the library:
NVIMPORT_API Refusal WhyNot(const Failure& failure);

// What the formats say of a file.
struct Detected {
  std::optional<Refusal> refusal{};
  std::string format{};
  std::string reason{};
  std::string looks_like{};
  std::vector<std::string> candidates{};
  std::vector<std::pair<std::string, std::string>> answers{};
};

NVIMPORT_API Detected DetectSheet(const std::string& path, std::optional<bool> kept_rules);

// A format as it is listed.
struct ListedFormat {
  int index = 0;
  std::string name{};
  std::vector<std::string> extensions{};
  bool reads = false;
  bool writes = false;
  bool several = false;
  std::string library{};
};

NVIMPORT_API std::vector<ListedFormat> ListFormats();

// Writes a sheet; `format` decides where the extension can't. `notes` are told of cells that may
// not read back.
NVIMPORT_API std::optional<Refusal> WriteSheetTo(const std::string& path, MemorySheet& sheet,
                                                 const std::string& format, bool overwrite,
                                                 const std::string& pairs, const CallHost& host,
                                                 std::vector<std::string>& notes);

}  // namespace nvimport
