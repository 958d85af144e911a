#include "nvimport/platform/Rehearsal.h"

namespace nvimport {

// The system makes no copies of processes.
bool Returns(const std::function<void()>&) { return true; }

}  // namespace nvimport
