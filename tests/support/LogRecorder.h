#pragma once

#include <string>
#include <utility>
#include <vector>

#include "nvimport/platform/Log.h"

namespace nvimport {

// Keeps what is logged while it lives.
class LogRecorder {
 public:
  LogRecorder()
      : before_(Log::Install([this](const LogEntry& entry) { entries_.push_back(entry); })) {}
  LogRecorder(const LogRecorder&) = delete;
  LogRecorder& operator=(const LogRecorder&) = delete;
  ~LogRecorder() { Log::Install(std::move(before_)); }

  const std::vector<LogEntry>& entries() const { return entries_; }

  // The texts of what readers left out by rule.
  std::vector<std::string> Notes() const {
    std::vector<std::string> notes;
    for (const LogEntry& entry : entries_)
      if (entry.operation == "Note") notes.push_back(entry.text);
    return notes;
  }

 private:
  std::vector<LogEntry> entries_;
  Log::Sink before_;
};

}  // namespace nvimport
