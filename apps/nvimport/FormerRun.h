#pragma once

#include <cstdint>
#include <ctime>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/hosting/Failure.h"

namespace nvimport {

// What earlier runs with the same report came to, those included that did not come to their end.
class FormerRun {
 public:
  using Entry = nlohmann::ordered_json;

  FormerRun() = default;
  FormerRun(const FormerRun&) = delete;
  FormerRun& operator=(const FormerRun&) = delete;
  ~FormerRun();

  // Reads the report at `path`, if there is one, and what was left beside it.
  std::optional<Failure> Open(const std::string& path);

  // Whether there is nothing left to do of an input: it was done, and its output is as it was then.
  // Otherwise takes away the output that it left, so that it can be written again. Neither is done
  // to what is not known to come from there.
  std::optional<Entry> TakeUp(const std::string& input, const std::string& output,
                              const std::string& description) const;

 private:
  struct Place {
    std::size_t hash;
    std::uint64_t offset;
    std::uint32_t size;
    std::uint32_t file;
  };

  std::optional<Failure> Read(const std::string& path);
  std::optional<Entry> Find(const std::string& input, const std::string& output) const;

  std::vector<int> files_;     // descriptors, which workers share
  std::vector<Place> places_;  // by hashes; of the same the last one counts
  std::optional<std::time_t> begun_;
  bool was_interrupted_ = false;
};

// The beginning of a report that is written now.
std::string ReportHead();

}  // namespace nvimport
