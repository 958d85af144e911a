#pragma once

#include <string_view>

namespace nvimport {

// The delimiter of comma-separated values by their first lines: of comma, semicolon, TAB and bar
// the one that stands most often in the first line that has any, outside quotes; of those that
// stand there equally often the one that the next lines agree on most. A comma that is only ever
// the decimal mark of numbers is none. Comma where there is nothing to go by.
char GuessCsvDelimiter(std::string_view head, char quote);

}  // namespace nvimport
