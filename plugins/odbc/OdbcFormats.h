#pragma once

#include "nvimport/framework/FormatRegistry.h"

namespace nvimport {

// Those of the plug-in, made on first use.
FormatRegistry& OdbcFormats();

}  // namespace nvimport
