#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace nvimport {

// What the system does for the files and settings of the platform, each kind of it in a set of
// sources of its own. Paths are UTF-8, where the system knows what its bytes mean. An open file is
// a number, below 0 for none; others may read, write and remove the file meanwhile.

// A regular file to be read. Others (folders, pipes, devices) don't open, and asking never blocks.
int OpenInput(const char* path);
// A file to be written, emptied or new.
int OpenOutput(const char* path);
// A new file in the folder for temporary files that is gone once it is closed, and the path by
// which this process opens it again meanwhile.
int OpenTemporary(std::string& path);
bool CloseFile(int file);

// The bytes read or written, 0 at the end; -1 where it failed, kInterrupted by a signal alone.
inline constexpr std::ptrdiff_t kInterrupted = -2;
std::ptrdiff_t ReadSome(int file, std::span<char> into);
std::ptrdiff_t WriteSome(int file, std::span<const char> bytes);

bool SeekTo(int file, std::uint64_t position);
std::uint64_t PositionOf(int file);
std::uint64_t SizeOf(int file);

// Which file of the system it is, by whatever name.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t number = 0;

  // NOLINTNEXTLINE(modernize-use-nullptr): the comparisons that it makes hold a 0
  auto operator<=>(const FileIdentity&) const = default;
};
std::optional<FileIdentity> IdentityOf(int file);
std::optional<FileIdentity> IdentityOf(const char* path);

// What failed last in this thread, and what a number of errno says, in the system's words.
std::string LastError();
std::string ErrorWords(int error);

bool FileExists(const char* path);
// Replaces `to`. False when nothing has changed.
bool MoveOver(const std::string& from, const std::string& to);

// The user's folder for settings; empty without one.
std::string SettingsFolder();
unsigned ProcessNumber();
// The name of the program, without its folders.
std::string ProgramName();
// Of the environment, in which it separates folders; empty where it is not set.
std::string Setting(const char* name);
extern const char kFolderSeparator;
// What ends the folders of a path.
extern const std::string_view kFolderEnds;
// How the files of dynamic libraries end.
extern const char* const kLibrarySuffix;

// A time as one of the world's or of the place.
bool WorldTime(std::time_t time, std::tm& parts);
bool PlaceTime(std::time_t time, std::tm& parts);
// The time of one of the world's.
std::time_t TimeOfWorld(std::tm parts);

// Appends bytes of a code page that has more than one to some characters, as UTF-8. False where the
// system does not know it.
bool AppendFromSystem(std::string& out, std::string_view bytes, int page);

}  // namespace nvimport
