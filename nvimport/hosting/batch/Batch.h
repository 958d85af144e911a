#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

#include "nvimport/platform/Export.h"

namespace nvimport {

// What became of one file.
struct FileReport {
  enum Fate : int {
    kTried,
    kLeftOut,  // nothing can be read from it, and nobody asked for it by its name
    kSkipped   // it was done before
  };

  Fate fate = kTried;
  int exit_code = 0;
  int noted_format = 0;  // the one whose notes say that it left something out
  std::string data;      // what it is asked for
  std::string messages;  // what is said of it
  std::string entry;     // for the report of the run
  std::string found;     // for who deals with what was found in all files
};

// How many files are dealt with at a time, and how long one may take (0 for as long as it takes).
struct BatchSettings {
  unsigned jobs = 1;
  std::chrono::seconds limit{0};

  // Whether so many files are dealt with in processes of their own.
  bool TakesWorkers(std::size_t count) const {
    return (jobs > 1 && count > 1) || limit.count() > 0;
  }
};

// How the process that had a file ended.
struct WorkerEnd {
  std::string what;      // "ended by signal 11", "took more than 5 s"
  bool is_late = false;  // it was ended since it took longer than the limit
  double seconds = 0;    // that it had the file
};

// Runs `work` for 0..count-1, in up to `jobs` processes of its own where the settings want it.
// `done` takes the reports in that order and ends everything by returning false. A process that
// dies costs its file alone, as does one that takes too long: `died` makes the report.
NVIMPORT_API void RunBatch(std::size_t count, const BatchSettings& settings,
                           const std::function<FileReport(std::size_t)>& work,
                           const std::function<FileReport(std::size_t, const WorkerEnd&)>& died,
                           const std::function<bool(std::size_t, const FileReport&)>& done);

}  // namespace nvimport
