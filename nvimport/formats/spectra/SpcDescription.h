#pragma once

#include <string>

#include "nvimport/formats/spectra/SpcLayout.h"
#include "nvimport/formats/spectra/SpectraStatements.h"

namespace nvimport {

// States what a file says of itself and of its sub-files, which are the rows of the sheet from
// the one below `above` on. What is said of all of them is said of the sheet where the file is
// `alone` in it.
void DescribeSpc(const std::string& path, const SpcFile& layout, int above, bool alone,
                 SpectraStatements& statements);

}  // namespace nvimport
