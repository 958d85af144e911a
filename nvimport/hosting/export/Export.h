#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "nvimport/framework/MemorySheet.h"
#include "nvimport/hosting/Failure.h"
#include "nvimport/hosting/export/SheetWriters.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class OutputTarget;

// What a sheet is written as: a format of this layer's own or a registered one.
struct OutputFormat {
  std::optional<SheetFormat> own{};  // one of those of this layer, or none
  int registered = 0;                // else the position of the format
  std::string extension{};           // with its point
  std::string name{};                // for the user
};

// The format that `name` (or an extension without its point) names, if it can be written.
NVIMPORT_API std::optional<OutputFormat> FindOutputFormat(const std::string& name);

// Whether the format has room for what is said of a sheet beside its cells: Arrow, and MATLAB,
// where it is the struct "description".
NVIMPORT_API bool HasMetadata(const OutputFormat& format);

// Those of this layer.
NVIMPORT_API std::vector<OutputFormat> OwnOutputFormats();

// All that a sheet can be written as: those of this layer, then the registered ones.
NVIMPORT_API std::vector<OutputFormat> OutputFormats();

// Where a sheet goes, and how.
struct ExportRequest {
  std::string path;             // of the file, "-" for standard output
  OutputFormat format{};        // what it is written as
  TextConversion conversion{};  // of the texts; without one they become UTF-8
  bool replaces = false;        // a file that is there
  std::string head{};           // what stands before the rows, in a format of this layer's own
  SheetMetadata metadata{};     // in a format that has room for it, see HasMetadata
  std::string pairs{};          // "key=value;key=value", for formats that take such when they write
  bool kept_rules = false;      // of a registered format, as it was written years ago
  bool is_sparse = false;       // however few cells stand among however many delimiters
  std::function<bool(std::uint64_t row, std::uint64_t rows)> progress{};  // false stops
  std::function<void(const std::string& note)> note{};  // told of cells that may not read back
  HostWords words{};                                    // how failures call the ways out of them
};

// Writes the whole sheet. A file is there only when it is whole; what was there before stays when
// that fails or is stopped.
NVIMPORT_API std::optional<Failure> ExportSheet(MemorySheet& sheet, const ExportRequest& request);
// The same to a target that was checked before, in place of the request's path.
NVIMPORT_API std::optional<Failure> ExportSheet(MemorySheet& sheet, const ExportRequest& request,
                                                OutputTarget& target);

// Tells the host of so many cells of TSV that stand in quotes, or texts of a workbook that are cut,
// and of characters that the output's encoding lacks.
NVIMPORT_API void NoteChanges(std::size_t cells, const ExportRequest& request);

}  // namespace nvimport
