#include "nvimport/platform/SerialDate.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <limits>

namespace nvimport {

namespace {

constexpr long long kPerSecond = 1000;
constexpr long long kPerDay = 86'400 * kPerSecond;
constexpr double kEnd = 2'958'466;  // 1 January 10000
constexpr long long kLeapDay = 60;  // 29 February 1900
constexpr int kDaysTo1904 = 1'462;

char* PutDigits(char* out, long long value, int digits) {
  for (int i = digits - 1; i >= 0; --i, value /= 10) out[i] = static_cast<char>('0' + value % 10);
  return out + digits;
}

char* PutDay(char* out, long long day, bool since_1904) {
  using std::chrono::days;
  using std::chrono::sys_days;
  using std::chrono::year;
  const sys_days origin = since_1904 ? sys_days(year{1904} / 1 / 1)
                                     : sys_days(year{1899} / 12 / (day < kLeapDay ? 31 : 30));
  const std::chrono::year_month_day date(origin + days(day));
  // The day that never was comes out as the 28th once more.
  const bool is_leap_day = !since_1904 && day == kLeapDay;
  out = PutDigits(out, static_cast<int>(date.year()), 4);
  *out++ = '-';
  out = PutDigits(out, static_cast<unsigned>(date.month()), 2);
  *out++ = '-';
  return PutDigits(out, static_cast<unsigned>(date.day()) + (is_leap_day ? 1 : 0), 2);
}

char* PutTime(char* out, long long time) {
  const long long second = time / kPerSecond;
  const long long hour = second / 3600;
  out = hour < 100 ? PutDigits(out, hour, 2) : std::to_chars(out, out + 10, hour).ptr;
  *out++ = ':';
  out = PutDigits(out, second / 60 % 60, 2);
  *out++ = ':';
  out = PutDigits(out, second % 60, 2);
  if (time % kPerSecond == 0) return out;
  *out++ = '.';
  return PutDigits(out, time % kPerSecond, 3);
}

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

std::string_view IEEEDate_2_string(double serial, bool since_1904, DateText& buffer,
                                   DateForm form) {
  char* out = buffer.data();
  const double end = since_1904 ? kEnd - kDaysTo1904 : kEnd;
  const double rounded = std::round(serial * kPerDay);
  if (!(serial >= 0 && rounded < end * kPerDay)) {
    out = std::to_chars(out, buffer.end() - 1, serial).ptr;
  } else {
    const bool has_first_day = since_1904 && form == DateForm::kDays;
    const bool is_time = form == DateForm::kElapsed || (serial < 1 && !has_first_day);
    auto time = static_cast<long long>(rounded);
    if (!is_time) {
      out = PutDay(out, time / kPerDay, since_1904);
      time %= kPerDay;
      if (time > 0) *out++ = ' ';
    } else if (form != DateForm::kElapsed) {
      time = std::min(time, kPerDay - 1);  // no time of day is rounded into a day
    }
    if (is_time || time > 0) out = PutTime(out, time);
  }
  *out = '\0';
  return {buffer.data(), static_cast<std::size_t>(out - buffer.data())};
}

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

}  // namespace nvimport
