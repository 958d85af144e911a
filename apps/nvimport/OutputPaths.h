#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/nvimport/InputList.h"

namespace nvimport {

// Where the outputs of a run go.
class OutputPaths {
 public:
  // Nowhere, all into one, or each into a file of its own below `folder`.
  OutputPaths() = default;
  explicit OutputPaths(std::string one) : path_(std::move(one)) {}
  OutputPaths(const InputList& inputs, std::string folder, std::string extension);

  // Gives inputs that would have one output names of their own: by their extensions, or by the
  // folders that they come from. Those that are not `counted` need none. Returns two that can't be
  // told apart.
  std::optional<std::pair<std::size_t, std::size_t>> TellApart(
      const std::function<bool(std::size_t)>& counted);

  // The same names in another folder.
  OutputPaths In(std::string folder, std::string extension) const;

  bool empty() const { return path_.empty(); }
  // Whether folders may have to be made for it.
  bool is_tree() const { return inputs_ != nullptr; }
  std::string operator[](std::size_t index) const;
  // The same whatever way leads to the folder.
  std::string Settled(std::size_t index) const;

 private:
  // How much of an input's name is in that of its output.
  enum Level : unsigned char {
    kStem,            // a.csv
    kName,            // a.spc.csv
    kStemWithFolder,  // d1/a.csv
    kNameWithFolder,  // d1/a.spc.csv
    kNoOutput
  };

  std::string Below(std::size_t index) const;
  bool Raise(const std::vector<std::size_t>& same);

  const InputList* inputs_ = nullptr;
  std::string path_;
  std::string extension_;
  std::string settled_folder_;
  std::string common_;  // the folder above all that are told apart by folders
  std::vector<Level> levels_;
};

// Those among 0..count-1 that have one name, in groups.
std::vector<std::vector<std::size_t>> FindSame(std::size_t count,
                                               const std::function<std::string(std::size_t)>& name);

}  // namespace nvimport
