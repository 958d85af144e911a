#pragma once

#include <string>

namespace nvimport {

// Why somebody other than this user and the system's could decide what code lies at `path`, a
// folder or a file, as the end of a sentence; null for no reason. Every folder and link on the way
// counts.
const char* DangerOf(const std::string& path);

}  // namespace nvimport
