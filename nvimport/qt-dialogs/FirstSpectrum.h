#pragma once

#include <string>

#include "nvimport/qt-dialogs/Questions.h"

namespace nvimport {

// The first spectrum of a file, all its points; `format` 0 has it detected. Empty where there is
// none.
Spectrum ReadFirstSpectrum(const std::string& path, int format);

}  // namespace nvimport
