#pragma once

namespace nvimport {

// Removes what is noted (Ending.h), and ends the process, by any thread of it.
[[noreturn]] void EndFromOutside(unsigned long status);

}  // namespace nvimport
