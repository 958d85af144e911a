#include "nvimport/platform/Ending.h"

#include <array>
#include <csignal>

#include "nvimport/platform/Files.h"

namespace nvimport {

namespace {

struct Slot {
  volatile std::sig_atomic_t used = 0;
  bool is_folder = false;
  char path[kLongestNoted] = {};
};
std::array<Slot, 8> slots;

}  // namespace

std::size_t NotePath(const std::string& path, bool is_folder) {
  std::size_t place = 0;
  while (place < slots.size() && slots[place].used) ++place;
  if (place == slots.size()) return place;
  Slot& slot = slots[place];
  slot.path[path.copy(slot.path, sizeof slot.path - 1)] = '\0';
  slot.is_folder = is_folder;
  slot.used = 1;
  return place;
}

void ForgetPath(std::size_t noted) {
  if (noted < slots.size()) slots[noted].used = 0;
}

void ForgetPaths() {
  for (Slot& slot : slots) slot.used = 0;
}

void RemoveNoted() {
  // Backwards: a file goes before the folder that it lies in.
  for (std::size_t i = slots.size(); i-- > 0;) {
    if (!slots[i].used) continue;
    slots[i].is_folder ? RemoveFolder(slots[i].path) : RemoveFile(slots[i].path);
  }
}

}  // namespace nvimport
