#include "nvimport/formats/spectra/JCAMPDate.h"

#include <charconv>
#include <chrono>
#include <string>

#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

using std::chrono::day;
using std::chrono::month;
using std::chrono::year;
using std::chrono::year_month_day;

struct Number {
  int value = -1;
  std::size_t digits = 0;
};

Number TakeNumber(std::string_view& text) {
  Number number;
  const char* const begin = text.data();
  constexpr std::size_t kMostDigits = 4;
  const auto end = begin + std::min(text.size(), kMostDigits);
  if (begin == end || *begin < '0' || *begin > '9') return number;
  number.digits = static_cast<std::size_t>(std::from_chars(begin, end, number.value).ptr - begin);
  text.remove_prefix(number.digits);
  return number;
}

bool Take(std::string_view& text, char c) {
  if (!text.starts_with(c)) return false;
  text.remove_prefix(1);
  return true;
}

int TakeMonthName(std::string_view& text) {
  constexpr std::string_view kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  for (int i = 0; i < 12; ++i)
    if (EqualIgnoringCase(text.substr(0, 3), kMonths[i])) {
      text.remove_prefix(3);
      return i + 1;
    }
  return 0;
}

year_month_day Date(int y, int m, int d) {
  return {year(y), month(static_cast<unsigned>(m)), day(static_cast<unsigned>(d))};
}

int FullYear(Number two_digits) {
  constexpr int kPivot = 70;
  return two_digits.value + (two_digits.value < kPivot ? 2000 : 1900);
}

// A date that is not ok() for none.
year_month_day TakeDate(std::string_view& text) {
  const year_month_day none{};
  const Number first = TakeNumber(text);
  const char mark = text.empty() ? '\0' : text.front();
  if (first.digits == 0 || (mark != '/' && mark != '-' && mark != ' ')) return none;
  text.remove_prefix(1);
  if (mark == ' ') {
    const int m = TakeMonthName(text);
    if (m == 0 || !Take(text, ' ')) return none;
    const Number y = TakeNumber(text);
    return y.digits == 4 ? Date(y.value, m, first.value) : none;
  }
  const Number second = TakeNumber(text);
  if (second.digits == 0 || second.digits > 2 || !Take(text, mark)) return none;
  const Number third = TakeNumber(text);
  if (first.digits == 4 && third.digits >= 1 && third.digits <= 2)
    return Date(first.value, second.value, third.value);
  if (mark != '/' || first.digits > 2 || third.digits == 0) return none;
  if (third.digits == 4) return Date(third.value, second.value, first.value);
  if (third.digits > 2) return none;
  const year_month_day older = Date(FullYear(first), second.value, third.value);
  return older.ok() ? older : Date(FullYear(third), first.value, second.value);
}

// The time of day as a fraction, negative for none.
double TakeTime(std::string_view& text) {
  const Number hours = TakeNumber(text);
  if (hours.digits == 0 || hours.value > 23 || !Take(text, ':')) return -1;
  const Number minutes = TakeNumber(text);
  if (minutes.digits != 2 || minutes.value > 59) return -1;
  Number seconds{0, 2};
  if (Take(text, ':')) {
    seconds = TakeNumber(text);
    if (seconds.digits != 2 || seconds.value > 59) return -1;
    if (Take(text, '.'))
      text.remove_prefix(std::min(text.find_first_not_of("0123456789"), text.size()));
  }
  Take(text, 'Z');
  constexpr double kSecondsPerDay = 86'400;
  return ((hours.value * 60 + minutes.value) * 60 + seconds.value) / kSecondsPerDay;
}

}  // namespace

std::optional<COleDateTime> ParseJCAMPDate(std::string_view text) {
  const year_month_day date = TakeDate(text);
  if (!date.ok()) return std::nullopt;
  double time = 0;
  if (Take(text, ' ') || Take(text, 'T')) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    time = TakeTime(text);
  }
  if (time < 0 || !text.empty()) return std::nullopt;
  const auto epoch = std::chrono::sys_days(Date(1899, 12, 30));
  return COleDateTime{static_cast<double>((std::chrono::sys_days(date) - epoch).count()) + time};
}

}  // namespace nvimport
