#include "apps/nvimport/ProgressBar.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "apps/nvimport/Terminal.h"
#include "nvimport/hosting/CellText.h"

namespace nvimport {

namespace {

constexpr auto kInterval = std::chrono::milliseconds(100);

}  // namespace

std::string RoundedText(double value) {
  constexpr double kLarge = 9.95;
  char text[32];
  const auto end =
      std::to_chars(text, std::end(text), value, std::chars_format::fixed, value < kLarge ? 1 : 0);
  return {text, end.ptr};
}

std::string DurationText(double seconds) {
  constexpr double kMinute = 60;
  constexpr std::int64_t kHour = 60;  // in minutes
  const auto whole = static_cast<std::int64_t>(std::min(seconds, 1e9));
  if (seconds < kMinute)
    return (seconds > static_cast<double>(whole) ? RoundedText(seconds) : std::to_string(whole)) +
           " s";
  const std::int64_t minutes = whole / 60;
  if (minutes < kHour) return std::to_string(minutes) + " min " + std::to_string(whole % 60) + " s";
  return std::to_string(minutes / kHour) + " h " + std::to_string(minutes % kHour) + " min";
}

std::string ProgressText(const std::string& label, std::string_view unit, std::uint64_t position,
                         std::uint64_t size, double seconds, std::size_t width) {
  constexpr double kPercent = 100;
  constexpr double kMega = 1e6;
  const auto done = static_cast<double>(position);
  const auto all = static_cast<double>(std::max(position, size));
  std::string text;
  if (size > 0) text += " " + std::to_string(static_cast<int>(done / all * kPercent)) + " %";
  if (seconds > 0 && position > 0) {
    const double rate = done / seconds;
    const bool counts_bytes = unit == "bytes";
    text += ", " + RoundedText(counts_bytes ? rate / kMega : rate) + " " +
            (counts_bytes ? "MB" : std::string(unit)) + "/s";
    if (size > 0) text += ", " + DurationText(std::ceil((all - done) / rate)) + " left";
  }
  const std::size_t room = width - std::min(width, text.size());
  return CutToWidth(CutToWidth(label, room) + text, width);
}

void ProgressLine::Begin(std::string label, std::string_view unit) {
  if (!shown_) return;
  // The wait begins here, not while the user was asked.
  if (label_.empty()) begun_ = Clock::now();
  label_ = std::move(label);
  unit_ = unit;
  phase_begun_ = Clock::now();
}

void ProgressLine::Advance(std::uint64_t position, std::uint64_t size) {
  const auto now = Clock::now();
  if (!shown_ || label_.empty() || now - begun_ < kPatience || now < next_) return;
  next_ = now + kInterval;
  drawn_by_ = this;
  const double seconds = std::chrono::duration<double>(now - phase_begun_).count();
  const std::string text =
      ProgressText(label_, unit_, position, size, seconds, TerminalWidth() - 1);
  std::fprintf(stderr, "\r\x1b[K%s", text.c_str());
  std::fflush(stderr);
}

void ProgressLine::Clear() {
  if (!shown_ || drawn_by_ == nullptr) return;
  std::fputs("\r\x1b[K", stderr);
  drawn_by_ = nullptr;
}

ProgressBar::ProgressBar(bool shown) : line_(shown) {
  if (shown) before_ = Install(this);
}

ProgressBar::~ProgressBar() {
  if (line_.shown()) Install(before_);
}

}  // namespace nvimport
