#pragma once

#include <optional>

#include "nvimport/hosting/Failure.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// Hosts of this layer read by NvImport Complete: the library whose formats leave out no cells by
// the kept rules. It lies in a folder of its own. The built-in readers, which have those rules,
// stand beside it for whoever wants a file as it was read years ago.

// Has its readers serve, to be called when a host begins. Unless `kept_rules` are asked for it is a
// failure when it is not there.
NVIMPORT_API std::optional<Failure> UseComplete(bool kept_rules = false,
                                                const HostWords& words = {});

// Whether the environment asks for the kept rules (NVIMPORT_RULES is "kept", and not "complete" or
// nothing). Fails for any other word.
NVIMPORT_API std::optional<Failure> TakeRulesOfEnvironment(bool& kept_rules);

// Whether it reads files that the kept rules don't, or more of a file.
NVIMPORT_API bool ReadsMoreThanKept(int format);
// Whether it reads more of a file.
NVIMPORT_API bool HasMoreCellsThanKept(int format);

}  // namespace nvimport
