#pragma once

namespace nvimport {

// Puts what failed last in this thread into errno, as C's own functions do. False.
bool KeepError();

}  // namespace nvimport
