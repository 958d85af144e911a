#include "apps/nvimport/OutputPaths.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <string_view>

#include "nvimport/hosting/batch/FileWalk.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Files.h"

namespace nvimport {

namespace {

using Path = std::filesystem::path;

std::string WithoutLinks(const std::string& path) {
  std::error_code none;
  return PathText(
      std::filesystem::weakly_canonical(std::filesystem::absolute(FilePath(path), none), none));
}

Path Normal(const std::string& path) {
  std::error_code none;
  return std::filesystem::absolute(FilePath(path), none).lexically_normal();
}

// The folder above both.
Path Common(const Path& a, const Path& b) {
  Path common;
  for (auto i = a.begin(), j = b.begin(); i != a.end() && j != b.end() && *i == *j; ++i, ++j)
    common /= *i;
  return common;
}

}  // namespace

std::vector<std::vector<std::size_t>> FindSame(
    std::size_t count, const std::function<std::string(std::size_t)>& name) {
  // Hashes take less room than names.
  std::vector<std::pair<std::size_t, std::size_t>> hashes(count);
  for (std::size_t i = 0; i < count; ++i) hashes[i] = {std::hash<std::string>()(name(i)), i};
  std::ranges::sort(hashes);
  std::vector<std::vector<std::size_t>> groups;
  for (std::size_t i = 0; i < count; ++i) {
    if (i + 1 == count || hashes[i].first != hashes[i + 1].first) continue;
    std::vector<std::size_t> group = {hashes[i].second};
    while (++i < count && hashes[i].first == hashes[i - 1].first)
      if (name(hashes[i].second) == name(group.front())) group.push_back(hashes[i].second);
    --i;
    if (group.size() > 1) groups.push_back(std::move(group));
  }
  return groups;
}

OutputPaths::OutputPaths(const InputList& inputs, std::string folder, std::string extension)
    : inputs_(&inputs),
      path_(std::move(folder)),
      extension_(std::move(extension)),
      settled_folder_(WithoutLinks(path_)),
      levels_(inputs.size(), kStem) {}

OutputPaths OutputPaths::In(std::string folder, std::string extension) const {
  OutputPaths other = *this;
  other.path_ = std::move(folder);
  other.extension_ = std::move(extension);
  other.settled_folder_ = WithoutLinks(other.path_);
  return other;
}

std::string OutputPaths::operator[](std::size_t index) const {
  return is_tree() ? PathBelow(path_, Below(index)) : path_;
}

std::string OutputPaths::Settled(std::size_t index) const {
  if (path_ == "-") return path_;
  return is_tree() ? PathBelow(settled_folder_, Below(index)) : WithoutLinks(path_);
}

std::string OutputPaths::Below(std::size_t index) const {
  const Level level = levels_[index];
  const bool has_folder = level == kStemWithFolder || level == kNameWithFolder;
  Path name = has_folder ? Normal(inputs_->PathOf(index)).lexically_relative(FilePath(common_))
                         : FilePath(inputs_->NameOf(index));
  if (level != kName && level != kNameWithFolder) name.replace_extension();
  return PathText(name) + extension_;
}

bool OutputPaths::Raise(const std::vector<std::size_t>& same) {
  std::set<std::string> extensions;
  for (const std::size_t index : same)
    extensions.insert(PathText(FilePath(inputs_->PathOf(index)).extension()));
  const bool extensions_help = extensions.size() == same.size();
  bool has_risen = false;
  for (const std::size_t index : same) {
    Level& level = levels_[index];
    has_risen = has_risen || level != kNameWithFolder;
    level = level != kStem ? kNameWithFolder : extensions_help ? kName : kStemWithFolder;
  }
  return has_risen;
}

std::optional<std::pair<std::size_t, std::size_t>> OutputPaths::TellApart(
    const std::function<bool(std::size_t)>& counted) {
  const auto name = [this](std::size_t i) {
    return levels_[i] == kNoOutput ? "/" + std::to_string(i) : ComparableName(Below(i));
  };
  for (auto groups = FindSame(levels_.size(), name); !groups.empty();
       groups = FindSame(levels_.size(), name)) {
    for (std::vector<std::size_t>& same : groups) {
      std::erase_if(same, [&](std::size_t index) {
        if (counted(index)) return false;
        levels_[index] = kNoOutput;
        return true;
      });
      if (same.size() > 1 && !Raise(same)) return std::pair(same[0], same[1]);
    }
    std::optional<Path> common;
    for (std::size_t i = 0; i < levels_.size(); ++i) {
      if (levels_[i] != kStemWithFolder && levels_[i] != kNameWithFolder) continue;
      const Path folder = Normal(inputs_->PathOf(i)).parent_path();
      common = common ? Common(*common, folder) : folder;
    }
    if (common) common_ = PathText(*common);
  }
  return std::nullopt;
}

}  // namespace nvimport
