#pragma once

#include <string>
#include <string_view>

#include "nvimport/platform/Export.h"

namespace nvimport {

// How a database is connected to, "DSN=lab;UID=reader"; a value in braces may hold semicolons.

// The value of a key, whatever its case; empty for none.
NVIMPORT_API std::string ConnectionValue(std::string_view connection, std::string_view key);

// The connection as it may be shown and kept: without passwords.
NVIMPORT_API std::string WithoutSecrets(std::string_view connection);

}  // namespace nvimport
