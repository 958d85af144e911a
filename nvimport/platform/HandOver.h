#pragma once

#include <functional>
#include <string>

#include "nvimport/platform/Export.h"

namespace nvimport {

// A worker is a copy of this process where the system makes such. Elsewhere it is the command begun
// anew, which comes to the same place by what the first one hands over to it.

// Whether this process was begun so.
NVIMPORT_API bool IsBegunAnew();
// Names what the workers will want to know; nobody asks for the text where they are copies.
NVIMPORT_API void HandOver(const std::string& name, std::function<std::string()> text);
// What this process was handed; empty for nothing.
NVIMPORT_API std::string HandedOver(const std::string& name);

}  // namespace nvimport
