#pragma once

#include <cstddef>
#include <string>

namespace nvimport {

// What ends the process from outside (a signal, the console) or a fault of its own.

// Has it remove what is noted below first.
void RemoveNotedAtEnd();

// No such end comes while this lives, but for faults.
class EndHeld {
 public:
  EndHeld();
  EndHeld(const EndHeld&) = delete;
  EndHeld& operator=(const EndHeld&) = delete;
  ~EndHeld();

 private:
  static constexpr std::size_t kRoom = 128;
  alignas(std::max_align_t) unsigned char before_[kRoom] = {};
};

// The paths to be removed, which have fixed memory: who removes them may neither allocate nor wait.
// A path that finds no place there is not noted.
inline constexpr std::size_t kLongestNoted = 4096;
std::size_t NotePath(const std::string& path, bool is_folder);
void ForgetPath(std::size_t noted);
// In a copy of the process: they are the first one's to remove.
void ForgetPaths();
// Removes them.
void RemoveNoted();

}  // namespace nvimport
