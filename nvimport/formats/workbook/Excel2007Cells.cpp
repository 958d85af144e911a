#include "nvimport/formats/workbook/Excel2007Cells.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>

#include "nvimport/platform/SerialDate.h"

namespace nvimport {

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

// Takes a number of `digits` digits, and the mark before it, off the text. False when they are not
// there.
bool TakeDigits(std::string_view& text, std::string_view mark, std::size_t digits, int& number) {
  if (!text.starts_with(mark)) return false;
  const std::string_view found = text.substr(mark.size(), digits);
  const auto result = std::from_chars(found.data(), found.data() + found.size(), number);
  if (found.size() != digits || found[0] == '-' || result.ptr != found.data() + digits)
    return false;
  text.remove_prefix(mark.size() + digits);
  return true;
}

// The share of a day that "07:08:09.5" is, the seconds and what follows left out or not.
double TakeTime(std::string_view& text) {
  int hour = 0;
  int minute = 0;
  int second = 0;
  if (!TakeDigits(text, "", 2, hour) || !TakeDigits(text, ":", 2, minute)) return kNone;
  double fraction = 0;
  if (TakeDigits(text, ":", 2, second) && text.starts_with('.')) {
    const auto result =
        std::from_chars(text.data(), text.data() + text.size(), fraction, std::chars_format::fixed);
    if (result.ec != std::errc()) return kNone;
    text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
  }
  if (text.starts_with('Z')) text.remove_prefix(1);
  return (hour * 3600 + minute * 60 + second + fraction) / 86'400;
}

}  // namespace

double SerialOfIsoDate(std::string_view text) {
  using std::chrono::sys_days;
  double serial = 0;
  int year = 0;
  int month = 0;
  int day = 0;
  if (TakeDigits(text, "", 4, year)) {
    if (!TakeDigits(text, "-", 2, month) || !TakeDigits(text, "-", 2, day)) return kNone;
    const std::chrono::year_month_day date(std::chrono::year(year),
                                           std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day)));
    if (!date.ok()) return kNone;
    constexpr sys_days kOrigin = std::chrono::year{1899} / 12 / 30;
    constexpr long long kMarch = 61;  // before it, the 29 February that spreadsheets have is ahead
    long long days = (sys_days(date) - kOrigin).count();
    if (days < kMarch) --days;
    if (days < 1) return kNone;
    serial = static_cast<double>(days);
    if (text.empty()) return serial;
    if (!text.starts_with('T') && !text.starts_with(' ')) return kNone;
  }
  if (text.starts_with('T') || text.starts_with(' ')) text.remove_prefix(1);
  serial += TakeTime(text);
  return text.empty() ? serial : kNone;
}

void SharedStrings::Add(std::string_view text) {
  const std::size_t size = text.size() + 1;
  if (size > room_) {
    const std::size_t chunk = std::max(kChunk, size);
    chunks_.push_back(std::make_unique_for_overwrite<char[]>(chunk));
    free_ = chunks_.back().get();
    room_ = chunk;
  }
  if (!text.empty()) std::memcpy(free_, text.data(), text.size());
  free_[text.size()] = '\0';
  texts_.push_back(free_);
  free_ += size;
  room_ -= size;
}

bool Excel2007Cells::TakesExtentOnly() {
  columns_ = std::max(columns_, column_ + 1);
  rows_ = std::max(rows_, row_ + 1);
  return target_.sink == nullptr;
}

void Excel2007Cells::SetNumber(std::uint32_t style, double value) {
  if (style < context_.date_styles.size() && context_.date_styles[style] != DateForm::kNone) {
    DateText text;
    IEEEDate_2_string(value, context_.since_1904, text, context_.date_styles[style]);
    return SetText(text.data());
  }
  Sink().Set(column(), row(), value);
}

void Excel2007Cells::SetText(const char* text) { Sink().Set(column(), row(), text); }

void Excel2007Cells::SetError() {
  ++errors_;
  SetText("");
}

void Excel2007Cells::SetIsoDate(const std::string& text) {
  const double serial = SerialOfIsoDate(text);
  if (!(serial >= 0)) return SetText(text.c_str());
  DateText date;
  IEEEDate_2_string(serial, /*since_1904=*/false, date);
  SetText(date.data());
}

}  // namespace nvimport
