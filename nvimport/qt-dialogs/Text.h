#pragma once

#include <QString>
#include <string_view>

#include "nvimport/hosting/CellText.h"

namespace nvimport {

// The library's bytes as they are shown: UTF-8 where they are, else Windows-1252.
inline QString FromBytes(std::string_view bytes) { return QString::fromStdString(ToUtf8(bytes)); }

}  // namespace nvimport
