#include "nvimport/platform/SerialDate.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>

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

}  // namespace nvimport
