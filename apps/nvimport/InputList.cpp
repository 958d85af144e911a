#include "apps/nvimport/InputList.h"

#include <utility>

#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/batch/FileWalk.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/ByteWriter.h"
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

std::string InputList::Text() const {
  ByteWriter writer;
  const auto count = [&](std::size_t size) { writer.WriteFourBytes(static_cast<int>(size)); };
  count(folders_.size());
  for (const std::string& folder : folders_) writer.WriteBinaryString(folder);
  count(special_.size());
  for (const Input& input : special_) {
    count(input.files.size());
    for (const std::string& file : input.files) writer.WriteBinaryString(file);
    writer.WriteBinaryString(input.name);
    writer.WriteBinaryString(input.shown);
  }
  count(slots_.size());
  for (const Slot& slot : slots_) {
    writer.WriteBinaryString(slot.text);
    writer.WriteFourBytes(static_cast<std::int32_t>(slot.of));
    writer.WriteByte(static_cast<unsigned char>(slot.kind));
  }
  return writer.bytes();
}

InputList InputList::FromText(std::string_view text) {
  InputList list;
  ByteReader reader({text.data(), text.size()});
  const auto string = [&] { return std::string(reader.Text(reader.U32())); };
  for (std::uint32_t left = reader.U32(); left > 0 && reader.ok(); --left)
    list.folders_.push_back(string());
  for (std::uint32_t left = reader.U32(); left > 0 && reader.ok(); --left) {
    Input& input = list.special_.emplace_back();
    for (std::uint32_t files = reader.U32(); files > 0 && reader.ok(); --files)
      input.files.push_back(string());
    input.name = string();
    input.shown = string();
  }
  for (std::uint32_t left = reader.U32(); left > 0 && reader.ok(); --left) {
    Slot& slot = list.slots_.emplace_back();
    slot.text = string();
    slot.of = reader.U32();
    slot.kind = Kind{reader.U8()};
  }
  return list;
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
