#pragma once

#include <functional>
#include <optional>
#include <string>

#include "nvimport/hosting/export/ColumnChoice.h"
#include "nvimport/hosting/export/Export.h"
#include "nvimport/hosting/export/ShapedSheet.h"
#include "nvimport/hosting/import/Import.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// A file that is read and written as another one. Rows are written as they come, and none is kept,
// where the output is a format of this layer's own and the cells come in order; else the sheet is
// in memory meanwhile. What is written is the same.
struct ConversionRequest {
  ImportRequest import;
  ExportRequest output;  // its `head` and `metadata` come from what follows
  SheetShape shape{};    // what of the sheet is written, and how it lies
  // Which columns, where that takes their names: in place of the shape's numbers.
  std::optional<ColumnChoice> columns{};
  // What stands before the rows, once the import has told the size and the description.
  std::function<std::string(const ImportResult& result)> head{};
  // Likewise what is said beside them.
  std::function<SheetMetadata(const ImportResult& result)> metadata{};
  std::function<void()> begins_writing{};  // is called when a sheet in memory is to be written
};

struct ConversionResult {
  ImportResult import;
  std::optional<Failure> failure{};  // of the import or of the output
};

// Finds the numbers of columns for a shape: reads the row of names behind the rows that this skips,
// and the x values. `import` then repeats what was asked, and `found` is what came of it.
NVIMPORT_API std::optional<Failure> FindColumns(const ColumnChoice& columns,
                                                const TextDecoder& decoder, SheetShape& shape,
                                                ImportRequest& import, ImportResult& found);

// Converts into a target that was checked before, in place of the output's path.
NVIMPORT_API ConversionResult ConvertFile(const ConversionRequest& request, OutputTarget& target);

}  // namespace nvimport
