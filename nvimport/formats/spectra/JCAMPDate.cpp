#include "nvimport/formats/spectra/JCAMPDate.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

enum Place : std::size_t { kYear, kMonth, kDay, kHours, kMinutes, kSeconds, kPlaces };
using Moment = std::array<int, kPlaces>;

// A number in a form, by its letter; any other character stands for itself, but N for a month's
// name.
constexpr struct Field {
  char letter;
  std::size_t least_digits;
  std::size_t most_digits;
  Place place;
} kFields[] = {{'Y', 4, 4, kYear},    {'y', 1, 2, kYear},   {'M', 1, 2, kMonth},
               {'D', 1, 2, kDay},     {'d', 1, 4, kDay},    {'h', 1, 4, kHours},
               {'m', 2, 2, kMinutes}, {'s', 2, 2, kSeconds}};

bool TakeMonthName(std::string_view& text, int& month) {
  constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  for (month = 1; month <= 12; ++month)
    if (EqualIgnoringCase(text.substr(0, 3), kMonths.substr(std::size_t(month - 1) * 3, 3))) {
      text.remove_prefix(3);
      return true;
    }
  return false;
}

// Takes what begins `text` if it has that form.
bool Take(std::string_view& text, std::string_view form, Moment& moment) {
  std::string_view rest = text;
  for (const char c : form) {
    const auto* const field = std::ranges::find(kFields, c, &Field::letter);
    if (c == 'N') {
      if (!TakeMonthName(rest, moment[kMonth])) return false;
      continue;
    }
    if (field == std::end(kFields)) {
      if (!rest.starts_with(c)) return false;
      rest.remove_prefix(1);
      continue;
    }
    const std::size_t digits =
        std::min({rest.find_first_not_of("0123456789"), rest.size(), field->most_digits});
    if (digits < field->least_digits) return false;
    int& number = moment[field->place] = 0;
    for (const char digit : rest.substr(0, digits)) number = number * 10 + (digit - '0');
    rest.remove_prefix(digits);
  }
  text = rest;
  return true;
}

// Takes a time of day, if there is one, and then the end of the text.
bool TakeTimeAndEnd(std::string_view text, Moment& moment) {
  if (Take(text, " ", moment) || Take(text, "T", moment)) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    if (Take(text, "h:m:s", moment)) {
      if (Take(text, ".", moment))
        text.remove_prefix(std::min(text.find_first_not_of("0123456789"), text.size()));
    } else if (!Take(text, "h:m", moment)) {
      return false;
    }
    Take(text, "Z", moment);
  }
  return text.empty() && moment[kHours] < 24 && moment[kMinutes] < 60 && moment[kSeconds] < 60;
}

}  // namespace

std::optional<COleDateTime> ParseJCAMPDate(std::string_view text) {
  using namespace std::chrono;
  // The first that makes a date.
  for (const std::string_view form : {"Y/M/D", "Y-M-D", "D/M/Y", "y/M/D", "M/D/y", "d N Y"}) {
    Moment at{};
    std::string_view rest = text;
    if (!Take(rest, form, at)) continue;
    constexpr int kPivot = 70;
    if (form.find('y') != std::string_view::npos) at[kYear] += at[kYear] < kPivot ? 2000 : 1900;
    const year_month_day date{year(at[kYear]), month(static_cast<unsigned>(at[kMonth])),
                              day(static_cast<unsigned>(at[kDay]))};
    if (!date.ok() || !TakeTimeAndEnd(rest, at)) continue;
    constexpr double kSecondsPerDay = 86'400;
    const auto days = sys_days(date) - sys_days(year(1899) / 12 / 30);
    return COleDateTime{static_cast<double>(days.count()) +
                        ((at[kHours] * 60 + at[kMinutes]) * 60 + at[kSeconds]) / kSecondsPerDay};
  }
  return std::nullopt;
}

}  // namespace nvimport
