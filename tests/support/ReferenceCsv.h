#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "nvimport/platform/Utf16.h"

namespace nvimport {

// What the CSV reader must deliver, said as plainly as possible.

// The text of a file without its mark, as UTF-8 where that says UTF-16.
inline std::string ReferenceText(std::string bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) return bytes.substr(3);
  const bool is_big = bytes.starts_with("\xFE\xFF");
  if (!is_big && !bytes.starts_with("\xFF\xFE")) return bytes;
  for (std::size_t at = 0; is_big && at + 2 <= bytes.size(); at += 2)
    std::swap(bytes[at], bytes[at + 1]);
  std::string text;
  AppendUtf16(text, std::string_view(bytes).substr(2));
  return text;
}

struct ReferenceTable {
  std::vector<std::vector<std::string>> rows;  // which may be empty
  std::size_t open_line = 0;                   // of the field that is not closed; 0 for none

  std::size_t columns() const {
    std::size_t most = 0;
    for (const auto& row : rows) most = std::max(most, row.size());
    return most;
  }
};

// The line on which the byte at `at` stands.
inline std::size_t ReferenceLine(const std::string& text, std::size_t at) {
  std::size_t line = 1;
  for (std::size_t i = 0; i < at; ++i)
    if (text[i] == '\n' || (text[i] == '\r' && text.compare(i, 2, "\r\n") != 0)) ++line;
  return line;
}

inline ReferenceTable ReferenceCsv(const std::string& text, char delimiter,
                                   std::optional<char> quote) {
  const std::string stops = std::string("\r\n") + delimiter;
  std::size_t at = 0;
  const auto until = [&](std::size_t end) {
    std::string taken = text.substr(at, end - at);
    at = std::min(end, text.size());
    return taken;
  };
  const auto end_line = [&] {
    if (at < text.size()) at += text.compare(at, 2, "\r\n") == 0 ? 2 : 1;
  };
  ReferenceTable table;

  const std::string first = text.substr(0, text.find_first_of("\r\n"));
  if ((first.size() == 5 && first.starts_with("sep=")) ||
      (first.size() == 7 && first.starts_with("\"sep=") && first.ends_with("\""))) {
    at = first.size();
    end_line();
  }

  const auto next_field = [&] {
    std::string field;
    if (quote && at < text.size() && text[at] == *quote) {
      const std::size_t begin = at++;
      while (true) {
        field += until(text.find(*quote, at));
        if (at == text.size()) {
          table.open_line = ReferenceLine(text, begin);
          return field;
        }
        ++at;
        if (at == text.size() || text[at] != *quote) break;
        field += text[at++];
      }
    }
    return field + until(text.find_first_of(stops, at));
  };
  while (at < text.size() && table.open_line == 0) {
    auto& row = table.rows.emplace_back();
    for (bool more = text[at] != '\n' && text[at] != '\r'; more && table.open_line == 0;) {
      row.emplace_back(next_field().c_str());  // up to a NUL
      more = at < text.size() && text[at] == delimiter;
      if (more) ++at;
    }
    end_line();
  }
  return table;
}

}  // namespace nvimport
