#include "nvimport/platform/System.h"

#include <fcntl.h>
#include <iconv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "nvimport/platform/Utf8.h"

namespace nvimport {

namespace {

std::ptrdiff_t Moved(::ssize_t bytes) {
  return bytes < 0 && errno == EINTR ? kInterrupted : std::ptrdiff_t{bytes};
}

std::optional<FileIdentity> Identity(int result, const struct stat& status) {
  if (result != 0) return std::nullopt;
  return FileIdentity{status.st_dev, status.st_ino};
}

}  // namespace

int OpenInput(const char* path) {
  // Without O_NONBLOCK a pipe that nobody writes to would hold the host here for ever.
  const int file = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  struct stat status {};
  if (file < 0 || (::fstat(file, &status) == 0 && S_ISREG(status.st_mode))) return file;
  ::close(file);
  errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  return -1;
}

int OpenOutput(const char* path) {
  return ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
}

int OpenTemporary(std::string& path) {
  std::error_code none;
  const std::filesystem::path folder = std::filesystem::temp_directory_path(none);
  if (none) return -1;
  int file = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (file < 0) {
    // A file system that can't do without a name.
    std::string name = (folder / "tmpXXXXXX").string();
    file = ::mkostemp(name.data(), O_CLOEXEC);
    if (file >= 0) ::unlink(name.c_str());
  }
  if (file >= 0) path = "/proc/self/fd/" + std::to_string(file);
  return file;
}

bool CloseFile(int file) { return ::close(file) == 0; }

std::ptrdiff_t ReadSome(int file, std::span<char> into) {
  return Moved(::read(file, into.data(), into.size()));
}

std::ptrdiff_t WriteSome(int file, std::span<const char> bytes) {
  return Moved(::write(file, bytes.data(), bytes.size()));
}

bool SeekTo(int file, std::uint64_t position) {
  return ::lseek(file, static_cast<::off_t>(position), SEEK_SET) >= 0;
}

std::uint64_t PositionOf(int file) {
  return static_cast<std::uint64_t>(::lseek(file, 0, SEEK_CUR));
}

std::uint64_t SizeOf(int file) {
  struct stat status {};
  return ::fstat(file, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

std::optional<FileIdentity> IdentityOf(int file) {
  struct stat status {};
  return Identity(::fstat(file, &status), status);
}

std::optional<FileIdentity> IdentityOf(const char* path) {
  struct stat status {};
  return Identity(::stat(path, &status), status);
}

std::string LastError() { return ErrorWords(errno); }

std::string ErrorWords(int error) { return std::strerror(error); }

bool FileExists(const char* path) { return ::access(path, F_OK) == 0; }

bool MoveOver(const std::string& from, const std::string& to) {
  return std::rename(from.c_str(), to.c_str()) == 0;
}

std::string SettingsFolder() {
  const char* const folder = std::getenv("XDG_CONFIG_HOME");
  if (folder != nullptr && *folder == '/') return folder;
  const char* const home = std::getenv("HOME");
  return home != nullptr && *home == '/' ? std::string(home) + "/.config" : std::string();
}

const char kFolderSeparator = ':';
const std::string_view kFolderEnds = "/";
const char* const kLibrarySuffix = ".so";

std::string Setting(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : std::string();
}

std::string ProgramName() { return program_invocation_short_name; }

unsigned ProcessNumber() { return static_cast<unsigned>(::getpid()); }

bool WorldTime(std::time_t time, std::tm& parts) { return ::gmtime_r(&time, &parts) != nullptr; }

bool PlaceTime(std::time_t time, std::tm& parts) { return ::localtime_r(&time, &parts) != nullptr; }

std::time_t TimeOfWorld(std::tm parts) { return ::timegm(&parts); }

bool AppendFromSystem(std::string& out, std::string_view bytes, int page) {
  const ::iconv_t converter = ::iconv_open("UTF-8", ("CP" + std::to_string(page)).c_str());
  // What iconv_open answers when it fails is the number -1 as a pointer.
  if (reinterpret_cast<std::intptr_t>(converter) == -1) return false;
  std::string input(bytes);
  char* from = input.data();
  std::size_t left = input.size();
  while (left > 0) {
    char buffer[256];
    char* to = buffer;
    std::size_t room = sizeof buffer;
    const std::size_t result = ::iconv(converter, &from, &left, &to, &room);
    out.append(buffer, sizeof buffer - room);
    const bool is_stuck = result == static_cast<std::size_t>(-1) && room == sizeof buffer;
    if (!is_stuck) continue;
    AppendUtf8(out, 0xfffd);
    ++from;
    --left;
  }
  ::iconv_close(converter);
  return true;
}

}  // namespace nvimport
