#pragma once

#include <string>
#include <unordered_set>
#include <vector>

namespace nvimport {

// Where the sheets of a file go whose output would be `path`: "out/book.csv" becomes
// "out/book.Runs.csv", a name for each, none of which is among those `taken` by other files. What a
// file name can't hold, or other systems' can't, is "_" there.
std::vector<std::string> SheetPaths(const std::string& path, const std::vector<std::string>& names,
                                    const std::unordered_set<std::string>& taken);

}  // namespace nvimport
