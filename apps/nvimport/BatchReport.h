#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "apps/nvimport/Failure.h"
#include "apps/nvimport/OutputTarget.h"

namespace nvimport {

// The report of a conversion of many files, written as they are done.
class BatchReport {
 public:
  struct Totals {
    std::size_t files = 0;
    std::size_t done = 0;
    std::size_t failed = 0;
    double seconds = 0;
  };

  BatchReport(const std::string& path, bool force) : target_(path, force) {}

  // Each says why the report can't be written.
  std::optional<Failure> Begin();
  void Add(std::string_view entry);  // a JSON object
  std::optional<Failure> End(const Totals& totals);

 private:
  void Write(std::string_view text);

  OutputTarget target_;
  OutputFile stream_;
  std::string failed_;  // the system's words
  bool is_first_ = true;
};

}  // namespace nvimport
