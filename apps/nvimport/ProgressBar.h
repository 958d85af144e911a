#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/Progress.h"

// One line on the terminal that says how far a long piece of work is. Work that is done at once
// shows none.
class ProgressBar : public Progress {
 public:
  // A bar that is not `shown` does nothing.
  explicit ProgressBar(bool shown);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar() override;

  // Begins a phase: "reading table.txt", and what is counted.
  void Begin(std::string label, std::string_view unit = "bytes");
  bool Advance(std::uint64_t position, std::uint64_t size) override;
  // Takes the line away, so that something else can be said.
  void Clear();

 private:
  using Clock = std::chrono::steady_clock;

  bool shown_;
  bool drawn_ = false;
  bool counts_bytes_ = true;
  std::string label_;
  std::string unit_;
  Clock::time_point begun_ = Clock::now();  // the whole
  Clock::time_point phase_begun_ = begun_;
  Clock::time_point next_ = begun_;
  Progress* before_ = nullptr;
};
