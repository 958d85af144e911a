#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>

namespace nvimport {

// Keeps names apart that come one after another, however many are the same.
class MatNames {
 public:
  // The name, or where that is taken the first of `numbered(2)`, `numbered(3)` and on that is not.
  // Names of the same `base` are numbered on.
  template <typename Numbered>
  std::string Add(const std::string& name, const std::string& base, const Numbered& numbered) {
    if (taken_.insert(name).second) return name;
    int& next = next_.try_emplace(base, 2).first->second;
    while (true)
      if (std::string other = numbered(next++); taken_.insert(other).second) return other;
  }

 private:
  std::unordered_set<std::string> taken_;
  std::unordered_map<std::string, int> next_;
};

}  // namespace nvimport
