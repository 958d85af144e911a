#include "nvimport/platform/System.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>

#include "nvimport/platform/TextTables.h"
#include "nvimport/platform/windows/Errors.h"
#include "nvimport/platform/windows/WideText.h"

namespace nvimport {

namespace {

constexpr DWORD kEverybody = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

HANDLE HandleOf(int file) { return reinterpret_cast<HANDLE>(::_get_osfhandle(file)); }

int Descriptor(HANDLE handle, int mode) {
  if (handle == INVALID_HANDLE_VALUE) return KeepError(), -1;
  const int file = ::_open_osfhandle(reinterpret_cast<std::intptr_t>(handle), mode | _O_NOINHERIT);
  if (file < 0) ::CloseHandle(handle);
  return file;
}

HANDLE Open(const char* path, DWORD access, DWORD disposition) {
  return ::CreateFileW(WidePath(path).c_str(), access, kEverybody, nullptr, disposition,
                       FILE_ATTRIBUTE_NORMAL | FILE_FLAG_BACKUP_SEMANTICS, nullptr);
}

std::optional<FileIdentity> Identity(HANDLE handle) {
  BY_HANDLE_FILE_INFORMATION found{};
  if (::GetFileInformationByHandle(handle, &found) == 0) return std::nullopt;
  return FileIdentity{found.dwVolumeSerialNumber,
                      std::uint64_t{found.nFileIndexHigh} << 32 | found.nFileIndexLow};
}

// The C library counts bytes in unsigned numbers of 32 bits.
unsigned Some(std::size_t bytes) {
  return static_cast<unsigned>(std::min<std::size_t>(bytes, INT_MAX));
}

}  // namespace

int OpenInput(const char* path) {
  const HANDLE handle = Open(path, GENERIC_READ, OPEN_EXISTING);
  if (handle == INVALID_HANDLE_VALUE) return KeepError(), -1;
  BY_HANDLE_FILE_INFORMATION found{};
  const bool is_file = ::GetFileType(handle) == FILE_TYPE_DISK &&
                       ::GetFileInformationByHandle(handle, &found) != 0 &&
                       (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
  if (is_file) return Descriptor(handle, _O_RDONLY | _O_BINARY);
  ::CloseHandle(handle);
  errno = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? EISDIR : EINVAL;
  return -1;
}

int OpenOutput(const char* path) {
  return Descriptor(Open(path, GENERIC_WRITE, CREATE_ALWAYS), _O_WRONLY | _O_BINARY);
}

// The file has a name, which the system takes away with the last who has it open.
int OpenTemporary(std::string& path) {
  std::array<wchar_t, MAX_PATH + 1> folder{};
  std::array<wchar_t, MAX_PATH + 1> name{};
  if (::GetTempPathW(static_cast<DWORD>(folder.size()), folder.data()) == 0 ||
      ::GetTempFileNameW(folder.data(), L"nvi", 0, name.data()) == 0)
    return -1;
  path = Narrow(name.data());
  return Descriptor(
      ::CreateFileW(name.data(), GENERIC_READ | GENERIC_WRITE | DELETE, kEverybody, nullptr,
                    CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr),
      _O_RDWR | _O_BINARY);
}

bool CloseFile(int file) { return ::_close(file) == 0; }

std::ptrdiff_t ReadSome(int file, std::span<char> into) {
  return ::_read(file, into.data(), Some(into.size()));
}

std::ptrdiff_t WriteSome(int file, std::span<const char> bytes) {
  return ::_write(file, bytes.data(), Some(bytes.size()));
}

bool SeekTo(int file, std::uint64_t position) {
  return ::_lseeki64(file, static_cast<long long>(position), SEEK_SET) >= 0;
}

std::uint64_t PositionOf(int file) { return static_cast<std::uint64_t>(::_telli64(file)); }

std::uint64_t SizeOf(int file) {
  LARGE_INTEGER size{};
  return ::GetFileSizeEx(HandleOf(file), &size) != 0 ? static_cast<std::uint64_t>(size.QuadPart)
                                                     : 0;
}

std::optional<FileIdentity> IdentityOf(int file) { return Identity(HandleOf(file)); }

std::optional<FileIdentity> IdentityOf(const char* path) {
  const HANDLE handle = Open(path, 0, OPEN_EXISTING);
  if (handle == INVALID_HANDLE_VALUE) return std::nullopt;
  const auto identity = Identity(handle);
  ::CloseHandle(handle);
  return identity;
}

bool FileExists(const char* path) {
  return ::GetFileAttributesW(WidePath(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::string SettingsFolder() { return Setting("APPDATA"); }

const char kFolderSeparator = ';';
const std::string_view kFolderEnds = "/\\:";
const char* const kLibrarySuffix = ".dll";

std::string Setting(const char* name) {
  const wchar_t* const value = ::_wgetenv(Wide(name).c_str());
  return value != nullptr ? Narrow(value) : std::string();
}

std::string ProgramName() {
  constexpr std::size_t kLongest = 32'768;
  std::wstring path(kLongest, L'\0');
  path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  const std::filesystem::path program(path);
  return Narrow(program.stem().native());
}

unsigned ProcessNumber() { return ::GetCurrentProcessId(); }

bool WorldTime(std::time_t time, std::tm& parts) { return ::gmtime_s(&parts, &time) == 0; }

bool PlaceTime(std::time_t time, std::tm& parts) { return ::localtime_s(&parts, &time) == 0; }

std::time_t TimeOfWorld(std::tm parts) { return ::_mkgmtime(&parts); }

bool AppendFromSystem(std::string& out, std::string_view bytes, int page) {
  const TextTables tables("UTF-8", "CP" + std::to_string(page));
  if (!tables.is_known()) return false;
  tables.Append(out, bytes, "\xef\xbf\xbd");
  return true;
}

}  // namespace nvimport
