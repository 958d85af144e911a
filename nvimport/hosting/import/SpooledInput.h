#pragma once

#include <optional>
#include <string>

#include "nvimport/hosting/Failure.h"
#include "nvimport/hosting/TemporaryPaths.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// Standard input as a file of a given name, since readers go back and forth in theirs. It lies in a
// folder of its own and goes with this object.
class NVIMPORT_API SpooledInput {
 public:
  // `name` is a plain file name.
  explicit SpooledInput(const std::string& name);

  // Why it could not be made.
  const std::optional<Failure>& failure() const { return failure_; }
  const std::string& path() const { return file_.path(); }

 private:
  // Copies standard input; 0 or the error.
  int Fill();

  TemporaryPath folder_;
  TemporaryPath file_;
  std::optional<Failure> failure_;
};

}  // namespace nvimport
