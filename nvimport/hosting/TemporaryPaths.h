#pragma once

#include <cstddef>
#include <string>

#include "nvimport/platform/Export.h"

namespace nvimport {

// What must not outlive the process: removed on the way out, and by the handler when a signal ends
// the process.

// Installs the handlers for the signals that end a command from outside.
NVIMPORT_API void RemoveTemporariesOnSignals();

// A temporary file or folder. Removed with the object unless it is kept.
class NVIMPORT_API TemporaryPath {
 public:
  enum class Kind { kFile, kFolder };

  // Makes the file or folder: `pattern` ends in XXXXXX. Without one
  // (is_made() false) `error()` says why.
  TemporaryPath(Kind kind, std::string pattern);
  // Takes over a file still to be made at `path`.
  explicit TemporaryPath(std::string path);
  TemporaryPath(const TemporaryPath&) = delete;
  TemporaryPath& operator=(const TemporaryPath&) = delete;
  ~TemporaryPath();

  bool is_made() const { return error_ == 0; }
  int error() const { return error_; }
  const std::string& path() const { return path_; }

  // The descriptor of a file made here, which the caller closes.
  int descriptor() const { return descriptor_; }

  // Moves it to `target`, replacing what is there only if `replace`. 0 or the error.
  int MoveTo(const std::string& target, bool replace);

 private:
  void Register();
  void Forget();

  std::string path_;
  int descriptor_ = -1;
  int error_ = 0;
  bool is_folder_ = false;
  std::size_t slot_ = 0;
  bool registered_ = false;
};

}  // namespace nvimport
