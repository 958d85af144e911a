#include "nvimport/formats/spectra/JCAMPDate.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "nvimport/platform/NumberText.h"
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

// The year from the two digits of one.
int FullYear(int year) {
  constexpr int kPivot = 70;
  return year + (year < kPivot ? 2000 : 1900);
}

bool IsDate(const Moment& at) {
  using namespace std::chrono;
  // A year of 0 stands for none.
  return at[kYear] > 0 && year_month_day{year(at[kYear]), month(static_cast<unsigned>(at[kMonth])),
                                         day(static_cast<unsigned>(at[kDay]))}
                              .ok();
}

void SkipBlanks(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
}

std::string_view TakeDigits(std::string_view& text) {
  const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  const std::string_view taken = text.substr(0, digits);
  text.remove_prefix(digits);
  return taken;
}

// Takes the zone that ends `text`, as ISO 8601 writes it; "?" for what is none.
std::string TakeZone(std::string_view text) {
  SkipBlanks(text);
  if (text.empty() || text == "Z") return std::string(text);
  const bool has_sign = text.starts_with('+') || text.starts_with('-');
  std::string_view rest = text.substr(1);
  std::string digits(TakeDigits(rest));
  if (rest.starts_with(':') && digits.size() == 2) {
    rest.remove_prefix(1);
    digits += TakeDigits(rest);
  }
  if (!has_sign || digits.size() != 4 || !rest.empty()) return "?";
  return text.front() + digits.insert(2, ":");
}

}  // namespace

std::optional<COleDateTime> ParseJCAMPDate(std::string_view text) {
  using namespace std::chrono;
  // The first that makes a date.
  for (const std::string_view form : {"Y/M/D", "Y-M-D", "D/M/Y", "y/M/D", "M/D/y", "d N Y"}) {
    Moment at{};
    std::string_view rest = text;
    if (!Take(rest, form, at)) continue;
    if (form.find('y') != std::string_view::npos) at[kYear] = FullYear(at[kYear]);
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

std::string IsoJCAMPDate(std::string_view text) {
  for (const std::string_view form : {"Y/M/D", "Y-M-D", "y/M/D", "d N Y", "d-N-Y", "d N y", "d-N-y",
                                      "D/M/Y", "M/D/Y", "D/M/y", "M/D/y"}) {
    Moment at{};
    std::string_view rest = text;
    if (!Take(rest, form, at)) continue;
    if (form.ends_with('y') || form.starts_with('y')) at[kYear] = FullYear(at[kYear]);
    if (!IsDate(at)) continue;
    const bool ends_in_year =
        form.find('/') == 1 && !form.starts_with('Y') && !form.starts_with('y');
    constexpr int kMonths = 12;
    if (ends_in_year && at[kDay] <= kMonths && at[kDay] != at[kMonth]) return {};

    constexpr std::size_t kDateSize = 10;
    TimeStampText buffer;
    const auto iso = [&] { return std::string(FormatTimeStamp(at, 4, 'T', buffer)); };
    if (!rest.starts_with(' ') && !rest.starts_with('T') && !rest.empty()) continue;
    if (rest.starts_with('T')) rest.remove_prefix(1);
    SkipBlanks(rest);
    if (rest.empty()) return iso().substr(0, kDateSize);
    const bool has_seconds = Take(rest, "h:m:s", at);
    if (!has_seconds && !Take(rest, "h:m", at)) return {};
    if (at[kHours] > 23 || at[kMinutes] > 59 || at[kSeconds] > 60) return {};
    constexpr std::size_t kMinuteSize = 16;
    std::string said = has_seconds ? iso() : iso().substr(0, kMinuteSize);
    if (has_seconds && rest.starts_with('.')) {
      rest.remove_prefix(1);
      if (const std::string_view fraction = TakeDigits(rest); !fraction.empty())
        said.append(".").append(fraction);
    }
    const std::string zone = TakeZone(rest);
    return zone == "?" ? std::string() : said + zone;
  }
  return {};
}

}  // namespace nvimport
