#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// What a user writes to choose from a list whose entries are numbered from 1: "2", "1,3", "2-5",
// "all", or the names of entries. The positions in that order, each once; none when something in it
// is not in the list.
NVIMPORT_API std::optional<std::vector<std::size_t>> ParseItems(
    std::string_view text, const std::vector<std::string>& items);

// The same the other way round: "1,3".
NVIMPORT_API std::string ItemNumbers(const std::vector<std::size_t>& positions);

// "FIRST,LAST" with points from 1, a last one of 0 for the end.
NVIMPORT_API std::optional<RangeChoice> ParseRange(std::string_view text);
// The same the other way round.
NVIMPORT_API std::string RangeText(const RangeChoice& range);

}  // namespace nvimport
