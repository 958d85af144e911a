#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "nvimport/platform/Progress.h"

namespace nvimport {

// How far a piece of work is, how fast, and how long it will yet take: "reading table.txt 40 %,
// 120 MB/s, 3 s left". What is counted is bytes or named by `unit`; without `size` its end is not
// known.
std::string ProgressText(const std::string& label, std::string_view unit, std::uint64_t position,
                         std::uint64_t size, double seconds, std::size_t width);

// "3.4 s", "2 min 5 s".
std::string DurationText(double seconds);

// A figure, with one decimal where that says something.
std::string RoundedText(double value);

// One line on the terminal with that text. Work that is done at once shows none.
class ProgressLine {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr auto kPatience = std::chrono::milliseconds(500);

  // A line that is not `shown` does nothing.
  explicit ProgressLine(bool shown) : shown_(shown) {}
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine() {
    if (drawn_by_ == this) Clear();
  }

  bool shown() const { return shown_; }
  // Begins a phase: "reading table.txt", and what is counted.
  void Begin(std::string label, std::string_view unit);
  void Advance(std::uint64_t position, std::uint64_t size);
  // Takes the line away, whoever drew it, so that something else can be said.
  void Clear();

 private:
  // The one that stands there: a terminal has only one.
  static inline const ProgressLine* drawn_by_ = nullptr;

  bool shown_;
  std::string label_;
  std::string unit_;
  Clock::time_point begun_ = Clock::now();  // the whole
  Clock::time_point phase_begun_ = begun_;
  Clock::time_point next_ = begun_;
};

// The line follows the bytes of files as they are read and written.
class ProgressBar : public Progress {
 public:
  explicit ProgressBar(bool shown);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar() override;

  void Begin(std::string label, std::string_view unit = "bytes") {
    line_.Begin(std::move(label), unit);
  }
  bool Advance(std::uint64_t position, std::uint64_t size) override {
    line_.Advance(position, size);
    return true;
  }
  void Clear() { line_.Clear(); }

 private:
  ProgressLine line_;
  Progress* before_ = nullptr;
};

}  // namespace nvimport
