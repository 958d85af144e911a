#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace nvimport {

// What the delimited text reader must deliver, said as plainly as possible: the fields of each row
// of a whole file. Rows may be empty.
inline std::vector<std::string> ReferenceFields(std::string line, const std::string& delimiter,
                                                bool ignore_consecutive) {
  line = line.substr(0, line.find('\0'));
  std::vector<std::string> fields;
  for (std::size_t at = 0; at < line.size();) {
    const std::size_t found = delimiter.empty() ? std::string::npos : line.find(delimiter, at);
    fields.push_back(line.substr(at, found - at));
    if (found == std::string::npos) break;
    at = found + delimiter.size();
    while (ignore_consecutive && line.compare(at, delimiter.size(), delimiter) == 0)
      at += delimiter.size();
  }
  return fields;
}

inline std::vector<std::vector<std::string>> ReferenceSplit(const std::string& bytes,
                                                            const std::string& delimiter,
                                                            bool ignore_consecutive) {
  std::vector<std::vector<std::string>> rows;
  for (std::size_t at = 0; at <= bytes.size();) {
    const std::size_t end = std::min(bytes.find('\n', at), bytes.size());
    std::string line = bytes.substr(at, end - at);
    if (line.ends_with('\r')) line.pop_back();
    rows.push_back(ReferenceFields(line, delimiter, ignore_consecutive));
    at = end + 1;
  }
  // What follows the last line feed is a row only if it has a field.
  if (rows.back().empty()) rows.pop_back();
  return rows;
}

}  // namespace nvimport
