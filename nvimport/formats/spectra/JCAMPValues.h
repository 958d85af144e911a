#pragma once

#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <system_error>

namespace nvimport {

// The statuses of JCAMP-DX files. Their texts stand in JCAMPFile.cpp.
enum JCAMPStatus : int {
  kNoFile = 1536,
  kNotJCAMP = 1537,
  kBinaryForm = 1538,
  kNoEqualsSign = 1539,
  kNoValue = 1540,
  kUnevenTitles = 1541,
  kFreeText = 1542,
  kIllegalValue = 1543,
  kIllegalPoints = 1544,
  kNoneSelected = 1545,
  kReadFailed = 1546,
  kNoPoints = 1547,
  kNoData = 1548,
  kUnknownClass = 1549,
  kAssignmentsMet = 1550,
  kRADataMet = 1551,
  kNTuplesMet = 1552,
  kXYPointsMet = 1554,
  kXYPairsMet = 1555,
  kIllegalSeries = 1556,
  kNoSpacing = 1557,
  kAbscissaRepeats = 1558,
  kDifferenceFirst = 1559,
  kUnexpectedEnd = 1560,
  kIllegalCharacter = 1561,
  kNotPlain = 1562,
  kTwoDups = 1563,
  kOnlyXYData = 1566,
  kReferenceCancelled = 1567
};

// The ordinates of JCAMP-DX data in all their forms: plain numbers (AFFN, PAC) and those of ASDF,
// where a letter is the first digit of a number (SQZ), of a difference (DIF) or of a count (DUP).

struct JCAMPValue {
  double value = 0;
  int count = 1;  // of repetitions: 0 for no value, negative for differences
  bool missing = false;
};

// How values are written in a block.
struct JCAMPValueForm {
  bool plain_only = false;       // a letter begins no value
  bool comma_separates = false;  // else it is a decimal mark
  bool loose_exponents = false;  // they need no sign, and D begins one, where no value can
};

namespace jcamp {

enum class Kind : std::uint8_t {
  kIllegal,
  kBlank,
  kSemicolon,
  kComma,
  kPoint,
  kDuplicate,
  kMissing,
  // From here on what may follow a number at once.
  kEnd,
  // From here on what begins one.
  kSign,
  kDigit,
  kDifference,
  kSqueezed
};

struct alignas(4) Meaning {
  Kind kind = Kind::kIllegal;
  std::uint8_t digit = 0;
  std::int8_t sign = 1;
};

inline constexpr std::array<Meaning, 256> kMeanings = [] {
  std::array<Meaning, 256> meanings{};
  const auto set = [&](std::string_view characters, Kind kind, int first_digit,
                       std::int8_t sign = 1) {
    for (const char c : characters)
      meanings[static_cast<unsigned char>(c)] = {kind, static_cast<std::uint8_t>(first_digit++),
                                                 sign};
  };
  set("\n", Kind::kEnd, 0);
  for (const char blank : {' ', '\t', '\v', '\f'}) set({&blank, 1}, Kind::kBlank, 0);
  set(";", Kind::kSemicolon, 0);
  set(",", Kind::kComma, 0);
  set(".", Kind::kPoint, 0);
  set("0123456789", Kind::kDigit, 0);
  set("+", Kind::kSign, 0);
  set("-", Kind::kSign, 0, -1);
  set("@ABCDEFGHI", Kind::kSqueezed, 0);
  set("abcdefghi", Kind::kSqueezed, 1, -1);
  set("%JKLMNOPQR", Kind::kDifference, 0);
  set("jklmnopqr", Kind::kDifference, 1, -1);
  set("STUVWXYZs", Kind::kDuplicate, 1);
  set("?", Kind::kMissing, 0);
  return meanings;
}();

inline Meaning MeaningOf(char c) { return kMeanings[static_cast<unsigned char>(c)]; }

inline bool TakeDigit(const char* text, unsigned& digit) {
  digit = static_cast<unsigned char>(*text) - unsigned{'0'};
  return digit < 10;
}

// A number as it is written: digits, of which the last `decimals` follow the decimal mark.
struct Written {
  const char* text = nullptr;  // from the first digit on, be it a letter
  std::uint64_t mantissa = 0;  // wrong beyond kMostDigits
  int length = 0;
  int decimals = 0;
  int exponent = 0;

  static constexpr int kMostDigits = 18;
};

inline constexpr int kMostExponent = 99'999;

// The double nearest to the number, for those that one multiplication or division can't give.
[[gnu::cold]] inline double NearestDouble(const Written& number) {
  std::string text;
  for (const char* at = number.text; text.size() < static_cast<std::size_t>(number.length); ++at) {
    const Meaning meaning = MeaningOf(*at);
    if (meaning.kind != Kind::kPoint && meaning.kind != Kind::kComma)
      text += static_cast<char>('0' + meaning.digit);
  }
  text += 'e' + std::to_string(number.exponent - number.decimals);
  double value = 0;
  const auto error = std::from_chars(text.data(), text.data() + text.size(), value).ec;
  // Too small for a double is 0, and too large only with an exponent above 0.
  if (error == std::errc::result_out_of_range && number.exponent > 0)
    return std::numeric_limits<double>::infinity();
  return error == std::errc() ? value : 0;
}

inline double ToDouble(const Written& number) {
  constexpr std::array<double, 23> kPowers = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                              1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                              1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  constexpr std::uint64_t kExact = std::uint64_t{1} << 53;
  const int power = number.exponent - number.decimals;
  if (number.length > Written::kMostDigits || number.mantissa > kExact || power > 22 || power < -22)
    return NearestDouble(number);
  const auto whole = static_cast<double>(static_cast<std::int64_t>(number.mantissa));
  if (power == 0) return whole;
  return power > 0 ? whole * kPowers[static_cast<std::size_t>(power)]
                   : whole / kPowers[static_cast<std::size_t>(-power)];
}

inline void TakeDigits(const char*& text, Written& number) {
  const char* const begin = text;
  for (unsigned digit; TakeDigit(text, digit); ++text)
    number.mantissa = number.mantissa * 10 + digit;
  number.length += static_cast<int>(text - begin);
}

inline const char* SkipBlanks(const char* text) {
  while (MeaningOf(*text).kind == Kind::kBlank) ++text;
  return text;
}

// Goes behind the blanks, and the one separator, that follow a value.
inline const char* SkipSeparator(const char* text) {
  text = SkipBlanks(text);
  const Kind kind = MeaningOf(*text).kind;
  return kind == Kind::kComma || kind == Kind::kSemicolon ? text + 1 : text;
}

inline int TakeCount(const char*& text, int& count) {
  constexpr int kMost = 100'000'000;  // no block repeats more, and counts stay ints
  count = MeaningOf(*text++).digit;
  for (unsigned digit; TakeDigit(text, digit); ++text)
    if (count < kMost) count = count * 10 + static_cast<int>(digit);
  return MeaningOf(*text).kind == Kind::kDuplicate ? kTwoDups : 0;
}

// An E without sign and digits is no exponent but the SQZ digit 5, unless `loose`.
inline void TakeExponent(const char*& text, Written& number, bool loose) {
  const bool is_e = *text == 'E' || *text == 'e';
  const bool is_d = *text == 'D' || *text == 'd';
  const char* at = text + 1;
  const bool has_sign = MeaningOf(*at).kind == Kind::kSign;
  const bool negative = *at == '-';
  if (has_sign) ++at;
  unsigned digit = 0;
  if (!(is_e && has_sign) && !(loose && (is_e || is_d))) return;
  if (!TakeDigit(at, digit)) return;
  int exponent = 0;
  for (; TakeDigit(at, digit); ++at)
    if (exponent < kMostExponent) exponent = exponent * 10 + static_cast<int>(digit);
  // What goes on as ASDF does was a value of its own.
  const Kind next = MeaningOf(*at).kind;
  if (!(is_e && has_sign) && (next == Kind::kPoint || next == Kind::kDuplicate ||
                              next == Kind::kDifference || next == Kind::kSqueezed))
    return;
  text = at;
  number.exponent = negative ? -exponent : exponent;
}

}  // namespace jcamp

// Takes the next value from the front of `text`, a line that ends in a line feed, with the
// separator behind it. Returns a JCAMPStatus or 0.
inline int ReadNextValue(const char*& text, JCAMPValueForm form, JCAMPValue& value) {
  using jcamp::Kind;
  const char* at = jcamp::SkipBlanks(text);
  const jcamp::Meaning first = jcamp::MeaningOf(*at);
  value = {};
  jcamp::Written number;
  number.text = at;
  switch (first.kind) {
    case Kind::kDigit:
    case Kind::kPoint:
      break;
    case Kind::kSign: {
      const Kind next = jcamp::MeaningOf(*++at).kind;
      number.text = at;
      if (next != Kind::kDigit && next != Kind::kPoint && next != Kind::kComma)
        return kIllegalCharacter;
      break;
    }
    case Kind::kSqueezed:
      if (form.plain_only && *at != 'E' && *at != 'e') return kNotPlain;
      [[fallthrough]];
    case Kind::kDifference:
      if (form.plain_only && first.kind == Kind::kDifference) return kNotPlain;
      number.mantissa = first.digit;
      number.length = 1;
      ++at;
      break;
    case Kind::kMissing:
    case Kind::kComma:
      value.missing = true;
      text = jcamp::SkipSeparator(at + 1);
      return 0;
    case Kind::kEnd:
      value.count = 0;
      text = at;
      return 0;
    default:
      return form.plain_only ? kNotPlain : kIllegalCharacter;
  }

  jcamp::TakeDigits(at, number);
  Kind next = jcamp::MeaningOf(*at).kind;
  const bool has_mark = next == Kind::kPoint || (next == Kind::kComma && !form.comma_separates);
  if (has_mark) {
    const int before = number.length;
    jcamp::TakeDigits(++at, number);
    number.decimals = number.length - before;
    next = jcamp::MeaningOf(*at).kind;
  }
  if (next == Kind::kDuplicate) {
    if (const int status = jcamp::TakeCount(at, value.count)) return status;
  } else if (next == Kind::kSqueezed) {
    // The values of ASDF are whole.
    jcamp::TakeExponent(at, number, form.loose_exponents && (form.plain_only || has_mark));
  }
  value.value = first.sign * jcamp::ToDouble(number);
  if (first.kind == Kind::kDifference) value.count = -value.count;
  text = jcamp::SkipSeparator(at);
  return 0;
}

// Takes the next value if it is the commonest kind: a whole number of a few digits, or a difference
// of one, with no blank before and no count, exponent or mark behind it. Else nothing is taken, and
// ReadNextValue is to look. The decimal mark may be a comma.
[[gnu::always_inline]] inline bool TakeWhole(const char*& text, std::int64_t& number,
                                             bool& is_difference) {
  using jcamp::Kind;
  constexpr int kMostDigits = 15;
  const char* at = text;
  const jcamp::Meaning first = jcamp::MeaningOf(*at++);
  if (first.kind < Kind::kSign) return false;
  std::uint64_t size = first.digit;
  unsigned digit = 0;
  if (first.kind == Kind::kSign) {
    if (!jcamp::TakeDigit(at++, digit)) return false;
    size = digit;
  }
  const char* const begin = at;
  for (; jcamp::TakeDigit(at, digit); ++at) size = size * 10 + digit;
  if (at - begin >= kMostDigits) return false;
  Kind next = jcamp::MeaningOf(*at).kind;
  if (next == Kind::kBlank) {
    at = jcamp::SkipBlanks(at + 1);
    next = jcamp::MeaningOf(*at).kind;
    if (next == Kind::kComma || next == Kind::kSemicolon) return false;
  } else if (next < Kind::kEnd ||
             (next == Kind::kSqueezed && jcamp::MeaningOf(at[1]).kind == Kind::kSign)) {
    return false;
  }
  // Multiplied, for no branch could foresee the signs of differences.
  number = static_cast<std::int64_t>(size) * first.sign;
  is_difference = first.kind == Kind::kDifference;
  text = at;
  return true;
}

}  // namespace nvimport
