#include "tests/support/MemoryFile.h"

#include <io.h>

#include "nvimport/platform/System.h"

namespace nvimport {

MemoryFile::MemoryFile(std::string_view bytes) : descriptor_(OpenTemporary(path_)) { Put(bytes); }

MemoryFile::~MemoryFile() { CloseFile(descriptor_); }

void MemoryFile::Resize(std::uint64_t size) const {
  if (::_chsize_s(descriptor_, static_cast<long long>(size)) != 0) std::abort();
}

void MemoryFile::Append(std::string_view bytes) const {
  if (!SeekTo(descriptor_, SizeOf(descriptor_))) std::abort();
  while (!bytes.empty()) {
    const std::ptrdiff_t written = WriteSome(descriptor_, bytes);
    if (written <= 0) std::abort();
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace nvimport
