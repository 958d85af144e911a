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
// between them, a text. It is there under its name once it is whole. Until then it is beside that,
// each entry as soon as it is added, and stays there when the run is killed.
class NVIMPORT_API BatchReport {
 public:
  BatchReport(const std::string& path, bool force, HostWords words = {})
      : target_(path, force, std::move(words)), path_(path), force_(force) {}

  // Where it is until it is whole.
  static std::string UnfinishedPath(const std::string& path) { return path + ".unfinished"; }
  // Where what was unfinished is kept until a run that goes on with it has ended.
  static std::string FormerPath(const std::string& path) { return path + ".former"; }

  // Each says why the report can't be written. What an earlier run left unfinished is kept for as
  // long as it `goes_on` with that.
  std::optional<Failure> Begin(std::string_view head, bool goes_on = false);
  void Add(std::string_view entry);
  std::optional<Failure> End(std::string_view tail);

 private:
  // Whether it goes into something that is no file.
  bool IsStream() const;
  std::optional<Failure> KeepFormer() const;
  void Write(std::string_view text);

  OutputTarget target_;
  std::string path_;
  bool force_;
  OutputFile stream_;
  std::string unfinished_;  // the path that is written to, if it is no stream
  std::string failed_;      // the system's words
  bool is_first_ = true;
};

}  // namespace nvimport
