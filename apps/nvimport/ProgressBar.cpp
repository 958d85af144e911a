#include "apps/nvimport/ProgressBar.h"

#include <cmath>
#include <cstdio>

#include "apps/nvimport/CellText.h"
#include "apps/nvimport/Terminal.h"

namespace {
constexpr auto kPatience = std::chrono::milliseconds(500);
constexpr auto kInterval = std::chrono::milliseconds(100);
}  // namespace

ProgressBar::ProgressBar(bool shown) : shown_(shown) {
  if (shown_) before_ = Install(this);
}

ProgressBar::~ProgressBar() {
  Clear();
  if (shown_) Install(before_);
}

void ProgressBar::Begin(std::string label, std::string_view unit) {
  if (!shown_) return;
  // The wait begins here, not while the user was asked.
  if (label_.empty()) begun_ = Clock::now();
  label_ = std::move(label);
  unit_ = unit;
  counts_bytes_ = unit == "bytes";
  phase_begun_ = Clock::now();
}

bool ProgressBar::Advance(std::uint64_t position, std::uint64_t size) {
  const auto now = Clock::now();
  if (!shown_ || label_.empty() || now - begun_ < kPatience || now < next_) return true;
  next_ = now + kInterval;
  drawn_ = true;
  std::string line = label_;
  if (size > 0) line += " " + std::to_string(position * 100 / size) + " %";
  const double seconds = std::chrono::duration<double>(now - phase_begun_).count();
  if (seconds > 0) {
    const double rate = static_cast<double>(position) / seconds;
    line += ", " + std::to_string(std::llround(counts_bytes_ ? rate / 1e6 : rate)) +
            (counts_bytes_ ? " MB/s" : " " + unit_ + "/s");
  }
  line = CutToWidth(line, TerminalWidth() - 1);
  std::fprintf(stderr, "\r\x1b[K%s", line.c_str());
  std::fflush(stderr);
  return true;
}

void ProgressBar::Clear() {
  if (drawn_) std::fputs("\r\x1b[K", stderr);
  drawn_ = false;
}
