#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "nvimport/platform/System.h"

namespace nvimport {

// What the system does for files that are found, made and given their names; as in System.h. What
// fails leaves its reason in errno.

struct PathStatus {
  enum Kind { kNone, kFile, kFolder, kLink, kPipe, kOther };

  Kind kind = kNone;
  FileIdentity identity;
  std::uint64_t size = 0;
  std::int64_t modified = 0;  // in nanoseconds since 1970
};
// Of what a path leads to, and of what stands there, which may be a link.
PathStatus StatusOf(const char* path);
PathStatus LinkStatusOf(const char* path);

struct FolderEntry {
  std::string name;
  // That of a link is kLink; none where only a look at it tells.
  std::optional<PathStatus::Kind> kind;
  std::uint64_t number = 0;  // of FileIdentity; 0 where only a look tells
};
// Lists what a folder holds, unless `enters` does not want that one. False when it can't be read.
bool ListFolder(const char* path, const std::function<bool(const FileIdentity&)>& enters,
                const std::function<void(const FolderEntry&)>& take);

// Whether the text fits a pattern of shells (*, ?, [a-z]), by the system's view of case.
struct PatternRules {
  bool keeps_points = false;   // a point at the beginning is only for one in the pattern
  bool keeps_folders = false;  // a / too, and the beginning of each folder counts
};
bool FitsPattern(const char* pattern, const char* text, PatternRules rules = {});

// A name of its own for all that the system takes for one.
std::string ComparableName(std::string name);

bool MayWriteIn(const char* folder);
// What is free there for this user.
std::optional<std::uint64_t> RoomIn(const char* folder);

// Something to be written to that is no file.
int OpenDevice(const char* path);
// A file that must be new, and that nobody else may read.
int CreateNew(const char* path);
// The same under a new name: `pattern` ends in XXXXXX.
int MakeTemporaryFile(std::string& pattern);
bool MakeTemporaryFolder(std::string& pattern);
std::string TemporaryFolder();
// Lets others read such a file, as they may read what this user makes.
void GiveUsualMode(int file);

// Both as a handler of signals may.
bool RemoveFile(const char* path);
bool RemoveFolder(const char* path);
// To a name that must be new.
bool MoveNew(const std::string& from, const std::string& to);

// As ReadSome, and as if alone with the file.
std::ptrdiff_t ReadSomeAt(int file, std::uint64_t position, std::span<char> into);

}  // namespace nvimport
