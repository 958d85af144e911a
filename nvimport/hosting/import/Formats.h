#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// The formats of all libraries as hosts list and name them. One is known by its position, from 1.

// How many there are.
NVIMPORT_API int FormatCount();
// The description of one.
NVIMPORT_API const NvImportFormatInfo& FormatAt(int format);

// The format of that name or position; of that extension (with or without its point) the first that
// can be read or written; else the one whose name alone begins so. 0 for none.
NVIMPORT_API int FindFormat(const std::string& name, bool for_writing);

// The format that a filter of the open dialog stands for, from 1; 0 where it has all detected.
NVIMPORT_API int FormatOfFilter(int filter);

// The options that the format of that name takes, none where nothing is known of it.
NVIMPORT_API std::span<const FormatOption> OptionsOf(std::string_view format);
// Whether one of them is called `key`.
NVIMPORT_API bool HasOption(std::string_view format, std::string_view key);
// Those that are "key=value" and that no question gives, "xrow=0|1".
NVIMPORT_API std::vector<std::string> UnaskedOptionsOf(std::string_view format);

// Whether the format has a reader: some keep a place and have none.
NVIMPORT_API bool HasReader(int format);
// Whether the kept rules know it; those that came with NvImport Complete are later.
NVIMPORT_API bool HasKeptReader(int format);
// Whether it has a writer.
NVIMPORT_API bool HasWriter(int format);

}  // namespace nvimport
