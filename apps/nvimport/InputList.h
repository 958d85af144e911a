#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace nvimport {

// A file to read, or several that become one sheet.
struct Input {
  std::vector<std::string> files;
  std::string name;   // in place of the first file's
  std::string shown;  // in messages
};

// The inputs of a run. There may be ever so many, so each is kept as one text.
class InputList {
 public:
  static constexpr std::size_t kNone = SIZE_MAX;

  std::size_t size() const { return slots_.size(); }
  Input operator[](std::size_t index) const;

  void Add(std::string path);
  void Add(Input input);
  // Folders are known by their positions.
  std::size_t AddFolder(std::string path);
  void AddFound(std::size_t folder, std::string below);
  // Folders keep their positions.
  void Clear() {
    slots_.clear();
    special_.clear();
  }

  // The folder that the input was found in, kNone where it was named itself.
  std::size_t FolderOf(std::size_t index) const;
  const std::string& Folder(std::size_t folder) const { return folders_[folder]; }
  // All of it, for a process that has none of its own.
  std::string Text() const;
  static InputList FromText(std::string_view text);
  // The first file's path.
  std::string PathOf(std::size_t index) const;
  // The same below the folder that it was found in; the bare name of one that was named itself.
  std::string NameOf(std::size_t index) const;

 private:
  enum class Kind : std::uint8_t { kNamed, kFound, kSpecial };
  struct Slot {
    std::string text;      // its path, or that below the folder
    std::uint32_t of = 0;  // the folder, or the place among those that are special
    Kind kind = Kind::kNamed;
  };

  std::deque<Slot> slots_;
  std::vector<std::string> folders_;
  std::vector<Input> special_;
};

}  // namespace nvimport
