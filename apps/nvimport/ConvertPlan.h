#pragma once

#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "apps/nvimport/FileRun.h"
#include "nvimport/framework/Description.h"
#include "nvimport/hosting/Failure.h"
#include "nvimport/hosting/export/ColumnChoice.h"
#include "nvimport/hosting/export/CombinedColumns.h"
#include "nvimport/hosting/export/Export.h"
#include "nvimport/hosting/export/ShapedSheet.h"

namespace nvimport {

// What is written of each file, and how; and what all ways to write one share.
struct ConvertPlan {
  OutputFormat format;
  bool force = false;
  bool is_sparse = false;
  bool describes_in_output = false;
  std::string write_options{};  // "key=value;key=value", of the output format
  SheetShape shape;
  std::optional<ColumnChoice> columns;  // as they were given
  // Of tables that are made of several sheets.
  CombinedColumns::Grid grid = CombinedColumns::Grid::kUnion;
  std::optional<bool> has_header;
  // Where files go of which each sheet goes into one of its own.
  std::unordered_set<std::string> outputs;
};

// How the input's sheet goes to `output`; what there is to note of that goes to `notes`, which must
// outlive it.
ExportRequest OutputOf(FileTurn& turn, const ConvertPlan& plan, const std::string& output,
                       std::vector<std::string>& notes);

// What stands before the rows.
std::string DescriptionHead(const ConvertPlan& plan, const Description& description,
                            const TextDecoder& decoder);

// What the output is to say of the file, if it has room for that. `source` is its name.
SheetMetadata MetadataOf(const ConvertPlan& plan, const Description& description,
                         const TextDecoder& decoder, const std::string& source);

// A description beside the output: whether it can be written to `path` (empty for none), and that.
std::optional<Failure> CheckDescription(const std::string& path, const ConvertPlan& plan);
std::optional<Failure> WriteDescription(const std::string& path, const ConvertPlan& plan,
                                        const Description& description, const TextDecoder& decoder);

}  // namespace nvimport
