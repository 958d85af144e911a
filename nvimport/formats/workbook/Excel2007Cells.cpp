#include "nvimport/formats/workbook/Excel2007Cells.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
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

bool Excel2007Cells::TakesExtentOnly() {
  extent_.columns = std::max(extent_.columns, column_ + 1);
  extent_.rows = std::max(extent_.rows, row_ + 1);
  ++count_;
  return target_.sink == nullptr;
}

bool Excel2007Cells::SetDate(std::uint32_t style, double value) {
  if (style >= context_.styles.size()) {
    // Who writes no styles at all leaves their numbers at 0.
    if (style > 0 || context_.is_without_styles) ++changed_.lost_styles;
  } else if (!context_.styles[style]) {
    ++changed_.lost_styles;
  } else if (const DateForm form = *context_.styles[style]; form != DateForm::kNone) {
    DateText text;
    IEEEDate_2_string(value, context_.since_1904, text, form);
    SetText(text.data());
    return true;
  }
  return false;
}

template <typename Number>
void Excel2007Cells::SetPlain(Number value) {
  if (takes_exact_)
    Sink().SetExact(column(), row(), value);
  else
    Sink().Set(column(), row(), static_cast<double>(value));
}

void Excel2007Cells::SetNumber(std::uint32_t style, double value) {
  if (!SetDate(style, value)) SetPlain(value);
}

void Excel2007Cells::SetWhole(std::uint32_t style, long long whole) {
  if (!SetDate(style, static_cast<double>(whole))) SetPlain(whole);
}

void Excel2007Cells::SetShared(std::uint32_t index) {
  const char* const text = context_.strings.At(index);
  if (text == nullptr) ++changed_.lost_texts;
  SetText(text != nullptr ? text : "");
}

void Excel2007Cells::SetText(const char* text) { Sink().Set(column(), row(), text); }

void Excel2007Cells::SetError() {
  ++changed_.errors;
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
