#include "nvimport/hosting/TemporaryPaths.h"

#include <cerrno>
#include <utility>

#include "nvimport/platform/Ending.h"
#include "nvimport/platform/Files.h"

namespace nvimport {

void RemoveTemporariesOnSignals() { RemoveNotedAtEnd(); }

TemporaryPath::TemporaryPath(Kind kind, std::string pattern)
    : path_(std::move(pattern)), is_folder_(kind == Kind::kFolder) {
  const EndHeld held;
  if (path_.size() >= kLongestNoted) {
    error_ = ENAMETOOLONG;
    return;
  }
  if (is_folder_) {
    if (!MakeTemporaryFolder(path_)) error_ = errno;
  } else {
    descriptor_ = MakeTemporaryFile(path_);
    if (descriptor_ < 0) error_ = errno;
  }
  if (error_ == 0) Register();
}

TemporaryPath::TemporaryPath(std::string path) : path_(std::move(path)) {
  const EndHeld held;
  Register();
}

TemporaryPath::~TemporaryPath() {
  if (!registered_) return;
  const EndHeld held;
  is_folder_ ? RemoveFolder(path_.c_str()) : RemoveFile(path_.c_str());
  Forget();
}

int TemporaryPath::MoveTo(const std::string& target, bool replace) {
  const EndHeld held;
  if (replace ? !MoveOver(path_, target) : !MoveNew(path_, target)) return errno;
  Forget();
  return 0;
}

void TemporaryPath::Register() {
  slot_ = NotePath(path_, is_folder_);
  registered_ = true;
}

void TemporaryPath::Forget() {
  registered_ = false;
  ForgetPath(slot_);
}

}  // namespace nvimport
