#include "tests/support/MemoryFile.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

namespace nvimport {

MemoryFile::MemoryFile(std::string_view bytes) : descriptor_(::memfd_create("file", MFD_CLOEXEC)) {
  path_ = "/proc/self/fd/" + std::to_string(descriptor_);
  Put(bytes);
}

MemoryFile::~MemoryFile() { ::close(descriptor_); }

void MemoryFile::Resize(std::uint64_t size) const {
  if (::ftruncate(descriptor_, static_cast<::off_t>(size)) != 0) std::abort();
}

void MemoryFile::Append(std::string_view bytes) const {
  const ::off_t end = ::lseek(descriptor_, 0, SEEK_END);
  if (::pwrite(descriptor_, bytes.data(), bytes.size(), end) !=
      static_cast<::ssize_t>(bytes.size()))
    std::abort();
}

}  // namespace nvimport
