// What the plug-in serves by its functions.

#include "nvimport/framework/ServedFormats.h"

#include "plugins/odbc/OdbcFormats.h"

namespace nvimport {

FormatRegistry& ServedFormats() { return OdbcFormats(); }

}  // namespace nvimport
