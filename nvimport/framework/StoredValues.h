#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>

#include "nvimport/platform/BlockReader.h"
#include "nvimport/platform/ByteReader.h"

namespace nvimport {

// Gives `take` each of the `count` values that lie ahead in `reader`, in that byte order, with its
// number from 0. False when the file ends before them.
template <typename Stored, std::endian kOrder, typename Take>
bool TakeStoredValues(BlockReader& reader, int count, Take take) {
  for (int done = 0; done < count;) {
    const auto bytes = reader.Ahead(sizeof(Stored));
    const int ready = static_cast<int>(
        std::min(bytes.size() / sizeof(Stored), static_cast<std::size_t>(count - done)));
    if (ready == 0) return false;
    for (int i = 0; i < ready; ++i)
      take(done + i,
           Load<Stored>(bytes.data() + static_cast<std::size_t>(i) * sizeof(Stored), kOrder));
    reader.Skip(static_cast<std::size_t>(ready) * sizeof(Stored));
    done += ready;
  }
  return true;
}

}  // namespace nvimport
