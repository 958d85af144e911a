/* What the tests call of POSIX, where there is no such system. Each test file is compiled behind
   it. */
#pragma once

#ifdef __cplusplus
#include <fcntl.h>
#include <io.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

// The folder for temporary files has another name.
inline int setenv(const char* name, const char* value, int) {
  return ::_putenv_s(std::strcmp(name, "TMPDIR") == 0 ? "TMP" : name, value);
}
inline int unsetenv(const char* name) { return setenv(name, "", 1); }

// No pipe lies in a folder: what is told of one is told of what is not there.
inline int mkfifo(const char*, int) { return 0; }

// What is freed as all else has no greater alignment.
namespace std {
inline void* aligned_alloc(size_t alignment, size_t size) {
  return alignment <= 16 ? malloc(size) : nullptr;
}
}  // namespace std

inline std::size_t malloc_usable_size(void* memory) {
  return memory != nullptr ? ::_msize(memory) : 0;
}
#endif
