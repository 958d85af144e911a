#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "nvimport/framework/Description.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/hosting/Failure.h"
#include "nvimport/hosting/import/Answers.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// How far an import is.
struct ImportProgress {
  // What is done: the size is found (the file opened, questions asked), the cells are read.
  enum Stage { kSizing, kReading };

  Stage stage = kSizing;       // what is done now
  bool begins = false;         // the first call of a stage
  int format = 0;              // that the file is read as, 0 while it is detected
  std::uint64_t position = 0;  // in the file, in bytes
  std::uint64_t size = 0;      // of the file, 0 when it is not known
};

// What is asked of a file besides its cells.
enum class Describing {
  kNothing,
  kX,   // the x values of spectra
  kAll  // everything that it says of itself
};

class DatabaseSource;
struct ImportResult;

// What is to be read, and how.
struct ImportRequest {
  std::vector<std::string> files;  // a path, or several files that become one sheet
  std::string name{};              // of the whole in messages; by the files where empty
  int format = 0;                  // a position in the list of formats, 0 to have it detected
  std::string pairs{};             // "key=value;key=value", for formats that take such options
  std::vector<unsigned char> options{};  // those of an earlier import: asks nothing, and repeats it
  GivenAnswers answers{};                // to questions that may be asked
  Dialogs* dialogs = nullptr;  // asked what nothing above answers; without them the usual answer is
                               // taken, where there is one
  bool asks_format = true;     // else they are not asked for the format: one that is not certain is
                               // a failure
  RememberedAnswers* remembered = nullptr;  // what they answered to earlier imports is not asked
                                            // again, and what they answer now is kept there
  CWnd* parent = nullptr;                   // the host's window, passed to the dialogs
  std::function<bool(const ImportProgress& progress)> progress{};  // false stops the import
  // Is told the result so far before the first cell comes: size, choices, description.
  std::function<void(const ImportResult& result)> begins{};
  bool leaves_size_open = false;  // reads without a pass for the size, where the reader can:
                                  // `begins` then knows no rows, and the columns of the first ones
  int continues = -1;  // a pipe in which the one file goes on, from a reader that leaves the size
                       // open; -1 for none
  Describing describing = Describing::kNothing;  // the result's description
  HostWords words{};                             // how failures call the ways out of them
  std::optional<bool> kept_rules{};  // reads as years ago, numbers of 32 bits included; not said:
                                     // as the options do, else as the environment says
  std::shared_ptr<const DatabaseSource> database{};  // whose query the one file holds
};

// What came of it.
struct ImportResult {
  std::optional<Failure> failure{};           // none when it was done
  std::vector<std::string> files{};           // in the order in which they were taken
  int format = 0;                             // in the list of formats, 0 while it is not settled
  int rows = -1;                              // of the sheet, -1 while its size is not known
  int columns = -1;                           // likewise
  bool kept_rules = false;                    // were read by
  std::vector<unsigned char> options{};       // that repeat the import: StoredImport's bytes
  std::vector<AnsweredQuestion> questions{};  // that were asked, with their answers
  std::vector<std::string> warnings{};        // of the reader
  std::vector<std::string> notes{};           // on cells that were left out
  Description description{};                  // as far as it was asked for
  std::string log_entry{};                    // the last one of a reader, notes apart

  // True when it was done.
  explicit operator bool() const { return !failure; }
};

// Reads into `sheet`. Dialogs, log and progress installed by the host serve again afterwards.
NVIMPORT_API ImportResult ImportFile(const ImportRequest& request, SpreadsheetData& sheet);

// The same as far as it goes without reading cells.
NVIMPORT_API ImportResult MeasureFile(const ImportRequest& request);

// The name that messages call the files by.
NVIMPORT_API std::string NameOf(const ImportRequest& request);

// Why the files can't be read at all, whatever their format.
NVIMPORT_API std::optional<Failure> CheckFiles(const std::vector<std::string>& files,
                                               const HostWords& words = {});

// The name of the format that was taken, empty while it is not settled.
NVIMPORT_API std::string FormatName(int format);

}  // namespace nvimport
