#pragma once

#include <functional>

namespace nvimport {

// Whether `work` returns: it is tried in a copy of the process, where an exit, a crash, or more
// than ten seconds harm nobody. True where no copy can be made.
bool Returns(const std::function<void()>& work);

}  // namespace nvimport
