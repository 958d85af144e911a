#pragma once

#include <optional>
#include <string>

#include "nvimport/hosting/Failure.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// NvImport Complete: the library whose formats leave out no cells for old habits' sake. It lies in
// a folder of its own and serves only where it is asked for.

// Has its formats take the place of the built-in ones. To be called before the formats are listed.
NVIMPORT_API std::optional<Failure> UseComplete();

// Whether it would read more than the format that is used does.
NVIMPORT_API bool CompleteWouldServe(int format);
// Whether of the same file, not only of others.
NVIMPORT_API bool CompleteHasMoreCells(int format);

}  // namespace nvimport
