#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>

#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/BlockReader.h"
#include "nvimport/platform/ByteReader.h"

namespace nvimport {

// Sets `count` cells of `row`, from `column` on, to the `Stored` values, in that byte order, that
// lie ahead in `reader`, each through `convert`. False when the file ends before them.
template <typename Stored, std::endian kOrder, typename Convert>
bool SetStoredValues(BlockReader& reader, ReadSpreadSheetData& sink, int column, int row, int count,
                     Convert convert) {
  while (count > 0) {
    const auto bytes = reader.Ahead(sizeof(Stored));
    const int ready =
        static_cast<int>(std::min(bytes.size() / sizeof(Stored), static_cast<std::size_t>(count)));
    if (ready == 0) return false;
    for (int i = 0; i < ready; ++i)
      sink.Set(column + i, row,
               convert(Load<Stored>(bytes.data() + static_cast<std::size_t>(i) * sizeof(Stored),
                                    kOrder)));
    reader.Skip(static_cast<std::size_t>(ready) * sizeof(Stored));
    column += ready;
    count -= ready;
  }
  return true;
}

// The same for numbers that are stored as floats.
inline bool SetStoredFloats(BlockReader& reader, ReadSpreadSheetData& sink, int column, int row,
                            int count) {
  return SetStoredValues<float, std::endian::little>(reader, sink, column, row, count,
                                                     [](float value) { return value; });
}

}  // namespace nvimport
