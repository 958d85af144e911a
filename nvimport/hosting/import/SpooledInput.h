#pragma once

#include <cstdint>
#include <functional>
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
  // Stores the beginning, by which the format can be told. `name` is a plain file name.
  explicit SpooledInput(const std::string& name);
  SpooledInput(const SpooledInput&) = delete;
  SpooledInput& operator=(const SpooledInput&) = delete;
  ~SpooledInput();

  // Why it could not be made.
  const std::optional<Failure>& failure() const { return failure_; }
  const std::string& path() const { return file_.path(); }

  // Nothing comes behind what is stored.
  bool is_whole() const { return is_whole_; }
  // Whether the format reads what comes behind as it comes, so that it need not be stored; 0 for
  // the one that is detected.
  bool CanComeLater(int format, bool kept_rules) const;

  // Stores the rest; `goes_on` is told the bytes so far.
  std::optional<Failure> StoreRest(const std::function<bool(std::uint64_t stored)>& goes_on);

 private:
  // Copies as much of standard input; 0 or the error.
  int Store(std::uint64_t most, const std::function<bool(std::uint64_t stored)>& goes_on);
  Failure Because(int error) const;

  TemporaryPath folder_;
  TemporaryPath file_;
  int descriptor_ = -1;
  std::uint64_t stored_ = 0;
  bool is_whole_ = false;
  std::optional<Failure> failure_;
};

}  // namespace nvimport
