#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "nvimport/hosting/Failure.h"
#include "nvimport/hosting/export/OutputTarget.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// The report of a run over many files, written as they are done: a text, its entries with commas
// between them, a text. It is there once it is whole.
class NVIMPORT_API BatchReport {
 public:
  BatchReport(const std::string& path, bool force, HostWords words = {})
      : target_(path, force, std::move(words)) {}

  // Each says why the report can't be written.
  std::optional<Failure> Begin(std::string_view head);
  void Add(std::string_view entry);
  std::optional<Failure> End(std::string_view tail);

 private:
  void Write(std::string_view text);

  OutputTarget target_;
  OutputFile stream_;
  std::string failed_;  // the system's words
  bool is_first_ = true;
};

}  // namespace nvimport
