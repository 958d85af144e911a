#include "nvimport/platform/SerialDate.h"

#include <charconv>
#include <chrono>
#include <cmath>

namespace nvimport {

namespace {

constexpr long long kSecondsPerDay = 86'400;
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

char* PutTime(char* out, long long second) {
  out = PutDigits(out, second / 3600, 2);
  *out++ = ':';
  out = PutDigits(out, second / 60 % 60, 2);
  *out++ = ':';
  return PutDigits(out, second % 60, 2);
}

}  // namespace

std::string_view IEEEDate_2_string(double serial, bool since_1904, DateText& buffer) {
  char* out = buffer.data();
  const double end = since_1904 ? kEnd - kDaysTo1904 : kEnd;
  const double seconds = std::round(serial * kSecondsPerDay);
  if (!(serial >= 0 && seconds < end * kSecondsPerDay)) {
    out = std::to_chars(out, buffer.end() - 1, serial).ptr;
  } else {
    const auto total = static_cast<long long>(seconds);
    const long long day = total / kSecondsPerDay;
    const long long second = total % kSecondsPerDay;
    if (day > 0) out = PutDay(out, day, since_1904);
    if (day > 0 && second > 0) *out++ = ' ';
    if (day == 0 || second > 0) out = PutTime(out, second);
  }
  *out = '\0';
  return {buffer.data(), static_cast<std::size_t>(out - buffer.data())};
}

}  // namespace nvimport
