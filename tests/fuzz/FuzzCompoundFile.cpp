// A compound file: every storage's elements, every stream.

#include <algorithm>

#include "nvimport/platform/CompoundFile.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

void Fuzz(std::string_view input) {
  const MemoryFile memory(input);
  CompoundFile file;
  if (!file.Open(memory.path())) return;
  std::uint64_t read = 0;
  for (std::size_t entry = 0; entry < file.entries().size(); ++entry) {
    if (auto elements = file.Elements(entry)) {
      std::ranges::sort(*elements);
      Check(std::ranges::adjacent_find(*elements) == elements->end(), "no element comes twice");
    }
    const CompoundFile::Stream* const stream = file.OpenStream(entry);
    if (stream == nullptr) continue;
    std::vector<char> block(4096);
    for (std::uint64_t at = 0; at < stream->size(); at += block.size()) {
      const std::ptrdiff_t got = file.Read(*stream, at, block);
      Check(got >= 0, "a stream whose sectors are there can be read");
      read += static_cast<std::uint64_t>(got);
    }
  }
  Check(read <= input.size(), "no byte belongs to two streams");
}

}  // namespace nvimport
