#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "nvimport/hosting/Failure.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// The files that a folder stands for.

// Which files are found. Patterns are those of shells (*, ?, [a-z]) and are held against a file's
// name; one with a / against its path below the folder, where * stands for / too.
struct WalkSettings {
  bool is_recursive = false;            // goes into folders, and through links to them
  std::vector<std::string> include{};   // one of them must fit, unless there is none
  std::vector<std::string> exclude{};   // none may fit
  std::vector<std::string> left_out{};  // files, and folders with all below, that are never found
};

struct FoundFiles {
  // Of what there is in the folder.
  enum State {
    kTaken,    // what is asked for
    kLeftOut,  // nothing, since it is to be left out as a whole
    kRepeated  // nothing, since it was walked through before
  };

  State state = kTaken;
  std::vector<std::string> files{};  // paths below the folder, in the order of their bytes
  std::vector<Failure> failures{};   // folders that can't be read
};

// Walks through folders, each of them once, since links may lead round. What is called .x, file or
// folder, is found only where a pattern to include it says the point. Devices, pipes and sockets
// are never found.
class NVIMPORT_API FileWalk {
 public:
  explicit FileWalk(WalkSettings settings);

  FoundFiles Find(const std::string& folder);

 private:
  using Place = std::pair<unsigned long long, unsigned long long>;  // device, file on it

  bool IsBelowLeftOut(const std::string& folder) const;
  bool IsLeftOut(const std::string& path, unsigned long long file) const;
  bool IsExcluded(const std::string& name, const std::string& below) const;
  bool IsWanted(const std::string& name, const std::string& below) const;
  bool IsExcludedWhole(const std::string& below) const;
  // Goes through one folder; those in it are yet to be gone through.
  void Enter(const std::string& folder, const std::string& below, FoundFiles& found);

  WalkSettings settings_;
  bool enters_hidden_ = false;
  std::set<Place> left_out_;
  std::set<Place> visited_;
  std::vector<std::string> folders_;  // paths below the one that is walked through, to be entered
  std::vector<std::string> links_;    // to such, which are followed last: a folder has its own name
};

// Whether `path` is a folder that stands for the files in it.
NVIMPORT_API bool IsFolderOfFiles(const std::string& path);

// The path of what is `below` the folder.
NVIMPORT_API std::string PathBelow(const std::string& folder, const std::string& below);

}  // namespace nvimport
