#include "nvimport/platform/TemporaryFile.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <climits>

#include "nvimport/platform/System.h"
#include "nvimport/platform/windows/WideText.h"

namespace nvimport {

// The file has a name, which the system takes away with the last who has it open.
TemporaryFile::TemporaryFile() {
  std::array<wchar_t, MAX_PATH + 1> folder{};
  std::array<wchar_t, MAX_PATH + 1> name{};
  if (::GetTempPathW(static_cast<DWORD>(folder.size()), folder.data()) == 0 ||
      ::GetTempFileNameW(folder.data(), L"nvi", 0, name.data()) == 0)
    return;
  const HANDLE handle =
      ::CreateFileW(name.data(), GENERIC_READ | GENERIC_WRITE | DELETE,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, CREATE_ALWAYS,
                    FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return;
  descriptor_ = ::_open_osfhandle(reinterpret_cast<std::intptr_t>(handle),
                                  _O_RDWR | _O_BINARY | _O_NOINHERIT);
  if (descriptor_ < 0)
    ::CloseHandle(handle);
  else
    path_ = Narrow(name.data());
}

TemporaryFile::~TemporaryFile() {
  if (descriptor_ >= 0) CloseFile(descriptor_);
}

bool TemporaryFile::Write(std::span<const char> bytes) {
  const std::uint64_t size = descriptor_ >= 0 ? SizeOf(descriptor_) : 0;
  return WriteAt(size, bytes);
}

bool TemporaryFile::WriteAt(std::uint64_t position, std::span<const char> bytes) {
  if (!SeekTo(descriptor_, position)) return false;
  while (!bytes.empty()) {
    const std::ptrdiff_t written = WriteSome(descriptor_, bytes);
    if (written <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

bool TemporaryFile::Read(std::uint64_t position, std::span<char> into) const {
  if (!SeekTo(descriptor_, position)) return false;
  while (!into.empty()) {
    const std::ptrdiff_t got = ReadSome(descriptor_, into);
    if (got <= 0) return false;
    into = into.subspan(static_cast<std::size_t>(got));
  }
  return true;
}

}  // namespace nvimport
