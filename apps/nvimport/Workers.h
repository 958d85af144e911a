#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace nvimport {

// What became of one file.
struct FileReport {
  int exit_code = 0;
  int noted_format = 0;  // the one whose notes say that it left something out
  std::string data;      // for standard output
  std::string messages;  // for standard error
  std::string entry;     // for the report of the run
};

// Runs `work` for 0..count-1 in up to `jobs` processes of its own. `done` takes the reports in that
// order and ends everything by returning false. A process that dies costs its file alone, as does
// one that takes longer than `limit` (0 for none) and is ended: `died` makes the report from what
// became of it ("ended by signal 11") and the seconds that it took.
void RunInWorkers(std::size_t count, unsigned jobs, std::chrono::seconds limit,
                  const std::function<FileReport(std::size_t)>& work,
                  const std::function<FileReport(std::size_t, const std::string&, double)>& died,
                  const std::function<bool(std::size_t, const FileReport&)>& done);

}  // namespace nvimport
