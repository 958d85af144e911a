#pragma once

#include <sys/socket.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>

#include "nvimport/platform/InputFile.h"

namespace nvimport {

// What the host and the process that reads an HDF5 file say to each other.

inline constexpr const char* kHdf5Program = "nvimport-hdf5-reader";
// What the process has open: the way to the host, and the file.
inline constexpr int kHdf5Channel = 3;
inline constexpr int kHdf5File = 4;
// What reading some of it may take.
inline constexpr int kHdf5SecondsToRead = 30;

struct Hdf5Request {
  std::uint64_t position;
  std::uint64_t count;
  std::uint64_t forgets;  // the texts that were read before
};

struct Hdf5Answer {
  std::int64_t count;   // of bytes; less than 0 where the file could not be read
  std::uint64_t texts;  // bytes of texts behind those
};

// What listing a file of that size may take.
inline int Hdf5SecondsToShow(std::uint64_t size) {
  constexpr std::uint64_t kLeast = 2;
  constexpr std::uint64_t kMost = 300;
  const std::uint64_t seconds = kLeast + (size >> 20);
  return static_cast<int>(seconds < kMost ? seconds : kMost);
}

inline bool SendHdf5(int channel, const void* bytes, std::size_t count) {
  const char* from = static_cast<const char*>(bytes);
  while (count > 0) {
    const ::ssize_t sent = ::send(channel, from, count, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    from += sent;
    count -= static_cast<std::size_t>(sent);
  }
  return true;
}

// Where MATLAB says what a file is, before what is HDF5.
inline std::string Hdf5HeaderOf(const char* path) {
  constexpr std::size_t kHeader = 128;
  std::string header(kHeader, '\0');
  InputFile file(path);
  const std::ptrdiff_t got = file.is_open() ? file.Read(header) : 0;
  header.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  return header;
}

}  // namespace nvimport
