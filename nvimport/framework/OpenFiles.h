#pragma once

#include "nvimport/framework/FormatRegistry.h"
#include "nvimport/framework/NvImport.h"

namespace nvimport {

// What NvImportIsCorrectFileType and NvImportOpen do, for the formats of `registry`.
char IsCorrectFileType(FormatRegistry& registry, int format, const char* path);
char OpenFileOf(FormatRegistry& registry, int format, const char* path, char mode, long* handle,
                NvImportOpenOptions* options);

}  // namespace nvimport
