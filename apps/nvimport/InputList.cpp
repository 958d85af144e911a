#include "apps/nvimport/InputList.h"

#include <utility>

#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/batch/FileWalk.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

Input InputList::operator[](std::size_t index) const {
  const Slot& slot = slots_[index];
  if (slot.kind == Kind::kSpecial) return special_[slot.of];
  const std::string path = PathOf(index);
  return {{path}, "", ShownName(path)};
}

void InputList::Add(std::string path) { slots_.push_back({std::move(path)}); }

void InputList::Add(Input input) {
  slots_.push_back({"", static_cast<std::uint32_t>(special_.size()), Kind::kSpecial});
  special_.push_back(std::move(input));
}

std::size_t InputList::AddFolder(std::string path) {
  folders_.push_back(std::move(path));
  return folders_.size() - 1;
}

void InputList::AddFound(std::size_t folder, std::string below) {
  slots_.push_back({std::move(below), static_cast<std::uint32_t>(folder), Kind::kFound});
}

std::size_t InputList::FolderOf(std::size_t index) const {
  const Slot& slot = slots_[index];
  return slot.kind == Kind::kFound ? slot.of : kNone;
}

std::string InputList::PathOf(std::size_t index) const {
  const Slot& slot = slots_[index];
  if (slot.kind == Kind::kSpecial) return special_[slot.of].files.front();
  return slot.kind == Kind::kFound ? PathBelow(folders_[slot.of], slot.text) : slot.text;
}

std::string InputList::NameOf(std::size_t index) const {
  const Slot& slot = slots_[index];
  return slot.kind == Kind::kFound ? slot.text : FileName(PathOf(index));
}

}  // namespace nvimport
