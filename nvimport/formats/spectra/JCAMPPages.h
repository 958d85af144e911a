#pragma once

#include <climits>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/spectra/JCAMPLayout.h"
#include "nvimport/formats/spectra/JCAMPLines.h"
#include "nvimport/formats/spectra/JCAMPValues.h"

namespace nvimport {

// The files of an import, of which one is open at a time: blocks of one file follow one another.
class JCAMPInput {
 public:
  JCAMPInput(const std::vector<std::string>& files, const JCAMPRules& rules)
      : files_(files), rules_(rules) {}

  // The lines of a file, null when it can't be opened.
  JCAMPLines* Open(int file);

  // The lines so far that were cut.
  std::uint64_t long_lines() const { return long_lines_ + (lines_ ? lines_->long_lines() : 0); }

 private:
  const std::vector<std::string>& files_;
  const JCAMPRules& rules_;
  int file_ = -1;
  std::unique_ptr<JCAMPLines> lines_;
  std::uint64_t long_lines_ = 0;  // of those before
};

// What there is to say of lines that were read all the same.
enum class JCAMPWarning : std::uint8_t { kNone, kFewerValues, kMoreValues, kCheckFailed };

// What lines say that does not agree, of which nothing is left out but points beyond those that the
// sheet has.
struct JCAMPDoubts {
  struct Some {
    std::uint64_t count = 0;
    std::uint64_t line = 0;  // the first one's
    void Add(std::uint64_t added, std::uint64_t at) {
      if (count == 0) line = at;
      count += added;
    }
    void Add(const Some& other) { Add(other.count, other.line); }
  };
  Some failed_checks;
  Some more;    // points than are stated
  Some fewer;   // likewise
  Some beyond;  // the sheet

  void Add(const JCAMPDoubts& other) {
    failed_checks.Add(other.failed_checks);
    more.Add(other.more);
    fewer.Add(other.fewer);
    beyond.Add(other.beyond);
  }
};

// Decodes the lines of a data page. What reads returns a JCAMPStatus or 0.
class JCAMPPageReader {
 public:
  JCAMPPageReader(const JCAMPData& page, const JCAMPRules& rules, JCAMPLines& lines)
      : page_(page), rules_(rules), lines_(lines), loose_(!rules.exponents_have_signs) {
    lines.Seek(page.position, page.line);
  }

  // An abscissa, which only says where a line begins, then ordinates: gives `store` the number of
  // each, from 1, its value and whether it is missing, and before those of a line `begin` its
  // abscissa and how many points precede it.
  template <typename Store, typename Begin>
  int ReadXYData(Store store, Begin begin);
  template <typename Store>
  int ReadXYData(Store store) {
    return ReadXYData(store, [](double, int) {});
  }

  // Pairs: gives `store` the x and the y of each, and whether that is missing. Until it returns
  // `further` has the values behind these, empty where there are none.
  template <typename Store>
  int ReadPeakTable(Store store);

  // The same of the points, whatever the form.
  template <typename Store>
  int ReadPoints(Store store) {
    if (page_.data_class != JCAMPClass::kXYData) return ReadPeakTable(store);
    return ReadXYData([&, axis = page_.Axis(), by_spacing = rules_.names_of_six_digits](
                          int n, double y, bool missing) {
      store(by_spacing ? axis.X(n - 1) : axis.ExactX(n - 1), y, missing);
    });
  }

  std::span<const std::string_view> further() const { return further_; }
  // One of these as a number, which is none where it is missing.
  std::optional<double> Number(std::string_view text) const;

  JCAMPWarning warning() const { return warning_; }
  const JCAMPDoubts& doubts() const { return doubts_; }
  int read() const { return read_; }  // before a label, when fewer than expected

  // What a missing ordinate becomes, no number for a missing cell.
  static constexpr float kMissing = -99;
  static float MissingValue(const JCAMPRules& rules) {
    return rules.missing_as_minus_99 ? kMissing : std::numeric_limits<float>::quiet_NaN();
  }

 private:
  // What lines come to that end at a label or with the file.
  int EndData(bool at_label, int read) {
    if (!at_label && lines_.failed()) return kReadFailed;
    if (!at_label && rules_.ends_match_titles) return kUnexpectedEnd;
    read_ = read;
    if (!rules_.npoints_is_right) return Doubt(read);
    return read < page_.points ? Warn(JCAMPWarning::kFewerValues) : 0;
  }

  int Warn(JCAMPWarning warning) {
    warning_ = warning;
    return 0;
  }

  int Doubt(int read) {
    const int stated = page_.points - page_.unstated;
    if (read > stated) doubts_.more.Add(static_cast<std::uint64_t>(read - stated), stated_line_);
    if (read < stated) doubts_.fewer.Add(static_cast<std::uint64_t>(stated - read), lines_.line());
    return 0;
  }

  // Takes the next group whole: a line, or what stands in brackets outside of texts. False at the
  // end of the data.
  bool NextGroup();
  // Takes what stands behind the pair of a group, and as many values behind one that is in none.
  void TakeFurther(std::string_view text);
  void TakeTuple(const char*& text);
  template <typename Store>
  int ReadGroups(Store store);

  int NextValue(const char*& text, JCAMPValue& value) const {
    std::int64_t whole = 0;
    bool is_difference = false;
    if (!TakeWhole(text, whole, is_difference))
      return ReadNextValue(text, {.loose_exponents = loose_}, value);
    value = {static_cast<double>(whole), is_difference ? -1 : 1, false};
    return 0;
  }

  // Decimals that should meet may miss each other in their last digit.
  static bool Differ(double a, double b) {
    constexpr double kTolerance = 1e-12;
    return std::fabs(a - b) > kTolerance * std::fabs(a);
  }

  const JCAMPData& page_;
  const JCAMPRules& rules_;
  JCAMPLines& lines_;
  bool loose_;  // exponents
  JCAMPDoubts doubts_;
  std::uint64_t stated_line_ = 0;  // of the last of the points that are stated
  std::string group_;
  std::string_view ahead_;     // of the line, behind the group
  bool begins_group_ = false;  // which no bracket does
  bool is_at_label_ = false;
  std::vector<std::string_view> further_;
  JCAMPWarning warning_ = JCAMPWarning::kNone;
  int read_ = 0;
};

template <typename Store, typename Begin>
int JCAMPPageReader::ReadXYData(Store store, Begin begin) {
  const double factor = page_.y_factor;
  const int expected = page_.points;
  const int stated = page_.points - page_.unstated;
  int read = 0;
  double y = 0;
  bool ends_in_difference = false;
  JCAMPValue value;
  std::string_view line;
  while (lines_.Next(line)) {
    if (line.starts_with('#')) return EndData(true, read);
    const char* text = jcamp::SkipBlanks(line.data());
    if (read < stated) stated_line_ = lines_.line();
    if (const int status = NextValue(text, value)) return status;
    if (value.count == 0) continue;
    if (value.count != 1) return kAbscissaRepeats;
    const double abscissa = value.value;
    for (bool first = true;; first = false) {
      std::int64_t whole = 0;
      bool is_difference = false;
      while (!first && read < expected && TakeWhole(text, whole, is_difference)) {
        y = static_cast<double>(whole) + (is_difference ? y : 0);
        ends_in_difference = is_difference;
        store(++read, y * factor, false);
      }
      if (*text == '\n') break;
      if (const int status = NextValue(text, value)) return status;
      if (value.count == 0) break;
      const bool is_check = first && ends_in_difference;
      if (first && value.count < 0) return kDifferenceFirst;
      if (first) begin(abscissa, is_check ? read - 1 : read);
      if (is_check && !value.missing && Differ(value.value, y) && read < expected) {
        if (rules_.failed_checks_end_data) return Warn(JCAMPWarning::kCheckFailed);
        // The line goes on from what it says itself.
        doubts_.failed_checks.Add(1, lines_.line());
        y = value.value;
      }
      ends_in_difference = value.count < 0;
      const double difference = ends_in_difference ? value.value : 0;
      if (!ends_in_difference && !is_check && !value.missing) y = value.value;
      // What is only a check has been stored before.
      int times = std::abs(value.count) - (is_check ? 1 : 0);
      for (; times > 0; --times) {
        if (read == expected && rules_.npoints_is_right) return Warn(JCAMPWarning::kMoreValues);
        if (read == expected) {
          doubts_.beyond.Add(static_cast<std::uint64_t>(times), lines_.line());
          break;
        }
        y += difference;
        store(++read, y * factor, value.missing);
      }
    }
  }
  return EndData(false, read);
}

template <typename Store>
int JCAMPPageReader::ReadPeakTable(Store store) {
  const JCAMPValueForm form{.plain_only = true, .comma_separates = true, .loose_exponents = loose_};
  const int most = rules_.npoints_is_right ? page_.points : INT_MAX;
  if (page_.form == JCAMPForm::kGroups) return ReadGroups(store);
  const int stated = page_.points - page_.unstated;
  int read = 0;
  JCAMPValue x;
  JCAMPValue y;
  std::string_view line;
  while (lines_.Next(line)) {
    if (line.starts_with('#')) return EndData(true, read);
    const char* text = line.data();
    if (read < stated) stated_line_ = lines_.line();
    while (true) {
      if (const int status = ReadNextValue(text, form, x)) return status;
      if (x.count == 0) break;
      if (x.count != 1) return kAbscissaRepeats;
      if (const int status = ReadNextValue(text, form, y)) return status;
      if (x.missing || y.count > 1) return kNotPlain;
      if (page_.further > 0) TakeTuple(text);
      if (read++ == most) return Warn(JCAMPWarning::kMoreValues);
      store(x.value * page_.x_factor, y.value * page_.y_factor, y.missing || y.count == 0);
    }
  }
  return EndData(false, read);
}

template <typename Store>
int JCAMPPageReader::ReadGroups(Store store) {
  const JCAMPValueForm form{.plain_only = true, .comma_separates = true, .loose_exponents = loose_};
  const int most = rules_.npoints_is_right ? page_.points : INT_MAX;
  int read = 0;
  JCAMPValue x;
  JCAMPValue y;
  const int stated = page_.points - page_.unstated;
  while (NextGroup()) {
    if (read < stated) stated_line_ = lines_.line();
    const char* text = group_.c_str();
    if (const int status = ReadNextValue(text, form, x)) return status;
    if (x.count == 0) continue;
    if (x.count != 1) return kAbscissaRepeats;
    if (const int status = ReadNextValue(text, form, y)) return status;
    if (x.missing || y.count > 1) return kNotPlain;
    TakeFurther({text, group_.c_str() + group_.size() - 1});
    if (read++ == most) return Warn(JCAMPWarning::kMoreValues);
    store(x.value * page_.x_factor, y.value * page_.y_factor, y.missing || y.count == 0);
  }
  return EndData(is_at_label_, read);
}

}  // namespace nvimport
