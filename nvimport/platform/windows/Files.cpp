#include "nvimport/platform/Files.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <random>

#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Utf8.h"
#include "nvimport/platform/windows/Begun.h"
#include "nvimport/platform/windows/Errors.h"
#include "nvimport/platform/windows/WideText.h"

namespace nvimport {

namespace {

constexpr DWORD kEverybody = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

Handle Open(const char* path, DWORD access, DWORD flags) {
  const HANDLE handle =
      ::CreateFileW(WidePath(path).c_str(), access, kEverybody, nullptr, OPEN_EXISTING,
                    FILE_ATTRIBUTE_NORMAL | FILE_FLAG_BACKUP_SEMANTICS | flags, nullptr);
  return Handle(handle != INVALID_HANDLE_VALUE ? handle : nullptr);
}

std::int64_t NanosecondsOf(const FILETIME& time) {
  constexpr std::int64_t kFrom1601 = 116'444'736'000'000'000;  // in steps of 100 ns
  const auto steps =
      static_cast<std::int64_t>(std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime);
  return (steps - kFrom1601) * 100;
}

bool IsLink(DWORD attributes, DWORD tag) {
  return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
         (tag == IO_REPARSE_TAG_SYMLINK || tag == IO_REPARSE_TAG_MOUNT_POINT);
}

PathStatus Status(const char* path, DWORD flags) {
  const Handle handle = Open(path, 0, flags);
  PathStatus status;
  if (handle == nullptr) return KeepError(), status;
  const DWORD type = ::GetFileType(handle.get());
  BY_HANDLE_FILE_INFORMATION found{};
  if (type != FILE_TYPE_DISK || ::GetFileInformationByHandle(handle.get(), &found) == 0) {
    status.kind = type == FILE_TYPE_PIPE ? PathStatus::kPipe : PathStatus::kOther;
    return status;
  }
  FILE_ATTRIBUTE_TAG_INFO tag{};
  if (flags != 0)
    ::GetFileInformationByHandleEx(handle.get(), FileAttributeTagInfo, &tag, sizeof tag);
  status.kind = IsLink(tag.FileAttributes, tag.ReparseTag)                 ? PathStatus::kLink
                : (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? PathStatus::kFolder
                                                                           : PathStatus::kFile;
  status.identity = {found.dwVolumeSerialNumber,
                     std::uint64_t{found.nFileIndexHigh} << 32 | found.nFileIndexLow};
  status.size = std::uint64_t{found.nFileSizeHigh} << 32 | found.nFileSizeLow;
  status.modified = NanosecondsOf(found.ftLastWriteTime);
  return status;
}

int Descriptor(HANDLE handle, int mode) {
  if (handle == INVALID_HANDLE_VALUE) return KeepError(), -1;
  const int file =
      ::_open_osfhandle(reinterpret_cast<std::intptr_t>(handle), mode | _O_BINARY | _O_NOINHERIT);
  if (file < 0) ::CloseHandle(handle);
  return file;
}

// Others may take it away meanwhile, as may the end of this process.
int Create(const std::string& path, DWORD disposition) {
  return Descriptor(::CreateFileW(WidePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, kEverybody,
                                  nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr),
                    _O_RDWR);
}

// Tries new names until `make` does not fail for the name.
template <typename Make>
bool MakeUnderNewName(std::string& pattern, Make make) {
  constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz0123456789";
  constexpr std::size_t kRandom = 6;
  constexpr int kTries = 100;
  std::random_device random;
  std::uniform_int_distribution<std::size_t> letter(0, kLetters.size() - 1);
  for (int i = 0; i < kTries; ++i) {
    std::generate_n(pattern.end() - kRandom, kRandom, [&] { return kLetters[letter(random)]; });
    if (make()) return true;
    if (errno != EEXIST) break;
  }
  return false;
}

// Whether another program has a file open so that it can't be taken away.
bool IsHeld(const std::wstring& path) {
  const Handle handle(::CreateFileW(path.c_str(), DELETE, kEverybody, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  if (handle.get() != INVALID_HANDLE_VALUE) return false;
  const DWORD error = ::GetLastError();
  return error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION;
}

// The pattern's part of one character, against `c`; `pattern` goes on behind it.
char32_t Folded(char32_t c) {
  if (c >= 0x10000) return c;
  const auto unit = static_cast<wchar_t>(c);
  return static_cast<char32_t>(reinterpret_cast<std::uintptr_t>(::CharLowerW(
      reinterpret_cast<LPWSTR>(static_cast<std::uintptr_t>(static_cast<std::uint16_t>(unit))))));
}

char32_t TakeFolded(std::string_view& text) { return Folded(TakeCharacter(text)); }

// A set in brackets, of which the first one is taken; none where there is no end of it.
std::optional<bool> FitsSet(std::string_view& pattern, char32_t c) {
  std::string_view rest = pattern;
  const bool is_negated = rest.starts_with('!') || rest.starts_with('^');
  if (is_negated) rest.remove_prefix(1);
  bool fits = false;
  for (bool is_first = true; !rest.empty() && (is_first || rest.front() != ']'); is_first = false) {
    const char32_t low = TakeFolded(rest);
    char32_t high = low;
    if (rest.size() > 1 && rest[0] == '-' && rest[1] != ']') {
      rest.remove_prefix(1);
      high = TakeFolded(rest);
    }
    fits = fits || (c >= low && c <= high);
  }
  if (rest.empty()) return std::nullopt;
  pattern = rest.substr(1);
  return fits != is_negated;
}

struct Match {
  PatternRules rules;

  // `at_start` where the text begins, or a folder of it that counts.
  bool Fits(std::string_view pattern, std::string_view text, bool at_start) const {
    while (!pattern.empty()) {
      const bool is_kept = at_start && rules.keeps_points && text.starts_with('.');
      const char next = pattern.front();
      if (next == '*') {
        pattern.remove_prefix(1);
        if (is_kept) return false;
        for (std::string_view rest = text;; TakeCharacter(rest)) {
          if (Fits(pattern, rest, at_start && rest.size() == text.size())) return true;
          if (rest.empty() || (rules.keeps_folders && rest.front() == '/')) return false;
        }
      }
      if (text.empty()) return false;
      const bool is_folder_end = text.front() == '/';
      const char32_t c = TakeFolded(text);
      if (next == '?' || next == '[') {
        if (is_kept || (is_folder_end && rules.keeps_folders)) return false;
        pattern.remove_prefix(1);
        const auto fits = next == '?' ? std::optional(true) : FitsSet(pattern, c);
        if (fits ? !*fits : c != U'[') return false;
      } else if (TakeFolded(pattern) != c) {
        return false;
      }
      at_start = is_folder_end && rules.keeps_folders;
    }
    return text.empty();
  }
};

}  // namespace

std::filesystem::path FilePath(std::string_view text) { return WidePath(text); }

std::string PathText(const std::filesystem::path& path) {
  constexpr std::wstring_view kLong = LR"(\\?\)";
  constexpr std::wstring_view kLongNet = LR"(\\?\UNC\)";
  std::wstring_view text = path.native();
  if (text.starts_with(kLongNet)) return R"(\\)" + Narrow(text.substr(kLongNet.size()));
  if (text.starts_with(kLong)) text.remove_prefix(kLong.size());
  return Narrow(text);
}

PathStatus StatusOf(const char* path) { return Status(path, 0); }

PathStatus LinkStatusOf(const char* path) { return Status(path, FILE_FLAG_OPEN_REPARSE_POINT); }

bool ListFolder(const char* path, const std::function<bool(const FileIdentity&)>& enters,
                const std::function<void(const FolderEntry&)>& take) {
  const PathStatus status = StatusOf(path);
  if (status.kind != PathStatus::kFolder) {
    if (status.kind != PathStatus::kNone) errno = ENOTDIR;
    return false;
  }
  WIN32_FIND_DATAW found{};
  const HANDLE search = ::FindFirstFileExW((WidePath(path) + L"\\*").c_str(), FindExInfoBasic,
                                           &found, FindExSearchNameMatch, nullptr, 0);
  if (search == INVALID_HANDLE_VALUE) {
    KeepError();
    // An empty drive has not even itself.
    return errno == ENOENT;
  }
  bool goes_on = enters(status.identity);
  if (!goes_on) ::SetLastError(ERROR_NO_MORE_FILES);
  FolderEntry entry;
  for (; goes_on; goes_on = ::FindNextFileW(search, &found) != 0) {
    entry.name = Narrow(static_cast<const wchar_t*>(found.cFileName));
    if (entry.name == "." || entry.name == "..") continue;
    entry.kind = IsLink(found.dwFileAttributes, found.dwReserved0)          ? PathStatus::kLink
                 : (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? PathStatus::kFolder
                                                                            : PathStatus::kFile;
    take(entry);
  }
  const bool is_whole = ::GetLastError() == ERROR_NO_MORE_FILES;
  if (!is_whole) KeepError();
  ::FindClose(search);
  return is_whole;
}

bool FitsPattern(const char* pattern, const char* text, PatternRules rules) {
  return Match{rules}.Fits(pattern, text, true);
}

std::string ComparableName(std::string name) {
  std::wstring wide = Wide(name);
  ::CharLowerBuffW(wide.data(), static_cast<DWORD>(wide.size()));
  std::ranges::replace(wide, L'/', L'\\');
  return Narrow(wide);
}

bool MayWriteIn(const char* folder) {
  const DWORD attributes = ::GetFileAttributesW(WidePath(folder).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return KeepError();
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return true;
  errno = ENOTDIR;
  return false;
}

std::optional<std::uint64_t> RoomIn(const char* folder) {
  ULARGE_INTEGER room{};
  if (::GetDiskFreeSpaceExW(WidePath(folder).c_str(), &room, nullptr, nullptr) == 0)
    return std::nullopt;
  return room.QuadPart;
}

int OpenDevice(const char* path) {
  return Descriptor(::CreateFileW(WidePath(path).c_str(), GENERIC_WRITE, kEverybody, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr),
                    _O_WRONLY);
}

int CreateNew(const char* path) { return Create(path, CREATE_NEW); }

int MakeTemporaryFile(std::string& pattern) {
  int file = -1;
  MakeUnderNewName(pattern, [&] {
    file = Create(pattern, CREATE_NEW);
    return file >= 0;
  });
  return file;
}

bool MakeTemporaryFolder(std::string& pattern) {
  return MakeUnderNewName(pattern, [&] {
    return ::CreateDirectoryW(WidePath(pattern).c_str(), nullptr) != 0 || KeepError();
  });
}

std::string TemporaryFolder() {
  std::wstring folder(MAX_PATH + 1, L'\0');
  folder.resize(::GetTempPathW(static_cast<DWORD>(folder.size()), folder.data()));
  while (folder.size() > 1 && folder.ends_with(L'\\')) folder.pop_back();
  return folder.empty() ? "." : Narrow(folder);
}

// What is made in a folder has its rights from there.
void GiveUsualMode(int) {}

bool RemoveFile(const char* path) {
  return ::DeleteFileW(WidePath(path).c_str()) != 0 || KeepError();
}

bool RemoveFolder(const char* path) {
  return ::RemoveDirectoryW(WidePath(path).c_str()) != 0 || KeepError();
}

bool MoveNew(const std::string& from, const std::string& to) {
  return ::MoveFileExW(WidePath(from).c_str(), WidePath(to).c_str(), MOVEFILE_WRITE_THROUGH) != 0 ||
         KeepError();
}

// What stands there keeps its rights and its other properties.
bool MoveOver(const std::string& from, const std::string& to) {
  const std::wstring wide_from = WidePath(from);
  const std::wstring wide_to = WidePath(to);
  const bool is_there = ::GetFileAttributesW(wide_to.c_str()) != INVALID_FILE_ATTRIBUTES;
  if (is_there && ::ReplaceFileW(wide_to.c_str(), wide_from.c_str(), nullptr,
                                 REPLACEFILE_IGNORE_MERGE_ERRORS | REPLACEFILE_IGNORE_ACL_ERRORS,
                                 nullptr, nullptr) != 0)
    return true;
  // Not every file system can do the former.
  if (::MoveFileExW(wide_from.c_str(), wide_to.c_str(),
                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0)
    return true;
  KeepError();
  if (is_there && IsHeld(wide_to)) errno = ETXTBSY;
  return false;
}

std::ptrdiff_t ReadSomeAt(int file, std::uint64_t position, std::span<char> into) {
  OVERLAPPED at{};
  at.Offset = static_cast<DWORD>(position);
  at.OffsetHigh = static_cast<DWORD>(position >> 32);
  DWORD got = 0;
  const auto count = static_cast<DWORD>(std::min<std::size_t>(into.size(), 1U << 30));
  if (::ReadFile(reinterpret_cast<HANDLE>(::_get_osfhandle(file)), into.data(), count, &got, &at) !=
      0)
    return static_cast<std::ptrdiff_t>(got);
  if (::GetLastError() == ERROR_HANDLE_EOF) return 0;
  return KeepError(), -1;
}

}  // namespace nvimport
