#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

#include "nvimport/platform/ByteWriter.h"
#include "nvimport/platform/NumberText.h"

// The digits by the method of R. Giulietti, "The Schubfach way to render doubles" (2020): of the
// multiples of two powers of ten that lie around a number at most one of the coarser ones reads
// back to it, and it takes three products to see which.

namespace nvimport {

namespace {

__extension__ using Wide = unsigned __int128;

// Digits times a power of ten.
struct Decimal {
  std::uint64_t digits;
  int power;
};

// The powers of ten that scale a double's range, and a float's.
constexpr int kFirstPower = -292;
constexpr int kLastPower = 324;
constexpr std::size_t kPowerCount = 617;
static_assert(kPowerCount == kLastPower - kFirstPower + 1);

// The first 128 bits of a power of ten, rounded up.
struct PowerBits {
  std::uint64_t high;
  std::uint64_t low;
};

// A number of so many bits, its lowest word first.
using Words = std::array<std::uint64_t, 18>;

constexpr PowerBits Leading(const Words& words) {
  std::size_t top = words.size() - 1;
  while (words[top] == 0) --top;
  const int shift = std::countl_zero(words[top]);
  const auto word = [&](std::size_t below) {
    const auto at = [&](std::size_t i) { return i <= top ? words[top - i] : 0; };
    return shift == 0 ? at(below) : at(below) << shift | at(below + 1) >> (64 - shift);
  };
  bool is_exact = shift == 0 || top < 2 || words[top - 2] << shift == 0;
  for (std::size_t i = shift == 0 ? 2 : 3; i <= top; ++i)
    is_exact = is_exact && words[top - i] == 0;
  PowerBits bits = {word(0), word(1)};
  if (!is_exact && ++bits.low == 0) ++bits.high;
  return bits;
}

constexpr auto PowersOfTen() {
  std::array<PowerBits, kPowerCount> powers{};
  Words words{1};
  for (int power = 0; power <= kLastPower; ++power) {
    powers[static_cast<std::size_t>(power - kFirstPower)] = Leading(words);
    Wide carry = 0;
    for (std::uint64_t& word : words) {
      carry += static_cast<Wide>(word) * 10;
      word = static_cast<std::uint64_t>(carry);
      carry >>= 64;
    }
  }
  // Of a power of two that is large enough for 128 bits of the last quotient; none is exact.
  words = {};
  words.back() = std::uint64_t{1} << 63;
  for (int power = -1; power >= kFirstPower; --power) {
    Wide rest = 0;
    for (std::size_t i = words.size(); i-- > 0;) {
      rest = rest << 64 | words[i];
      words[i] = static_cast<std::uint64_t>(rest / 10);
      rest %= 10;
    }
    Words rounded = words;
    rounded[0] |= 1;
    powers[static_cast<std::size_t>(power - kFirstPower)] = Leading(rounded);
  }
  return powers;
}
constexpr auto kPowers = PowersOfTen();

constexpr int FloorLog2OfPowerOfTen(int power) { return (power * 1741647) >> 19; }
constexpr int FloorLog10OfPowerOfTwo(int power) { return (power * 1262611) >> 22; }
constexpr int FloorLog10OfThreeQuarters(int power) { return (power * 1262611 - 524031) >> 22; }

// The product without its last bits, the lowest bit left set where they were not 0.
std::uint64_t RoundToOdd(double, const PowerBits& power, std::uint64_t factor) {
  const Wide low = static_cast<Wide>(power.low) * factor;
  const Wide sum = static_cast<Wide>(power.high) * factor + static_cast<std::uint64_t>(low >> 64);
  return static_cast<std::uint64_t>(sum >> 64) | (static_cast<std::uint64_t>(sum) > 1 ? 1 : 0);
}
std::uint64_t RoundToOdd(float, const PowerBits& power, std::uint64_t factor) {
  const std::uint64_t rounded_up = power.high + (power.low != 0 ? 1 : 0);
  const Wide product = static_cast<Wide>(rounded_up) * factor;
  return static_cast<std::uint64_t>(product >> 64) |
         (static_cast<std::uint32_t>(product >> 32) > 1 ? 1 : 0);
}

// Of a number above 0 that is finite.
template <typename Number, typename Bits>
Decimal ShortestOf(Bits bits) {
  constexpr int kFractionBits = std::numeric_limits<Number>::digits - 1;
  constexpr int kBias = std::numeric_limits<Number>::max_exponent - 1 + kFractionBits;
  const Bits fraction = bits & ((Bits{1} << kFractionBits) - 1);
  const int biased = static_cast<int>(bits >> kFractionBits);
  const std::uint64_t whole = biased == 0 ? fraction : fraction | Bits{1} << kFractionBits;
  const int exponent = (biased == 0 ? 1 : biased) - kBias;
  if (exponent <= 0 && -exponent <= kFractionBits && std::countr_zero(whole) >= -exponent)
    return {whole >> -exponent, 0};

  // The number and the ends of what reads back to it, in quarters of the finer unit.
  const bool is_even = whole % 2 == 0;
  const bool is_lower_closer = fraction == 0 && biased > 1;
  const int power =
      is_lower_closer ? FloorLog10OfThreeQuarters(exponent) : FloorLog10OfPowerOfTwo(exponent);
  const int shift = exponent + FloorLog2OfPowerOfTen(-power) + 1;
  const PowerBits& scale = kPowers[static_cast<std::size_t>(-power - kFirstPower)];
  const auto scaled = [&](std::uint64_t quarters) {
    return RoundToOdd(Number{}, scale, quarters << shift);
  };
  const std::uint64_t middle = scaled(4 * whole);
  const std::uint64_t lower = scaled(4 * whole - (is_lower_closer ? 1 : 2)) + (is_even ? 0 : 1);
  const std::uint64_t upper = scaled(4 * whole + 2) - (is_even ? 0 : 1);

  const std::uint64_t fine = middle / 4;
  if (fine >= 10) {
    const std::uint64_t coarse = fine / 10;
    const bool is_below_inside = lower <= 40 * coarse;
    const bool is_above_inside = 40 * coarse + 40 <= upper;
    if (is_below_inside != is_above_inside) return {coarse + (is_above_inside ? 1 : 0), power + 1};
  }
  const bool is_below_inside = lower <= 4 * fine;
  const bool is_above_inside = 4 * fine + 4 <= upper;
  if (is_below_inside != is_above_inside) return {fine + (is_above_inside ? 1 : 0), power};
  const std::uint64_t half = 4 * fine + 2;
  const bool is_up = middle > half || (middle == half && fine % 2 == 1);
  return {fine + (is_up ? 1 : 0), power};
}

constexpr int kMostDigits = 17;

// Eight digits as characters' values, the first in the lowest byte, computed side by side.
std::uint64_t EightDigits(std::uint32_t number) {
  const std::uint64_t halves = number / 10'000 | static_cast<std::uint64_t>(number % 10'000) << 32;
  const std::uint64_t hundreds = (halves * 10'486 >> 20) & 0x0000'007f'0000'007f;
  const std::uint64_t pairs = hundreds + ((halves - 100 * hundreds) << 16);
  const std::uint64_t tens = (pairs * 103 >> 10) & 0x000f'000f'000f'000f;
  return tens + ((pairs - 10 * tens) << 8);
}

// The significant digits as characters.
struct Characters {
  // Behind the digits, so that as much can be copied from any of them.
  static constexpr int kCopied = 24;
  std::array<char, kMostDigits + kCopied> text;
  const char* first;
  int count;
  int power;  // of ten, of the last one

  // What is copied has a fixed size, some of it beyond the digits: that needs no call.
  char* CopyTo(char* to, int from = 0) const {
    std::memcpy(to, first + from, kCopied);
    return to + count - from;
  }
  // With a point behind the first `whole` of them, unless that is all.
  char* CopyWithPoint(char* to, int whole) const {
    CopyTo(to);
    if (whole == count) return to + whole;
    to[whole] = '.';
    return CopyTo(to + whole + 1, whole);
  }
};

constexpr auto kTens = [] {
  std::array<std::uint64_t, 20> tens{};
  std::uint64_t ten = 1;
  for (std::uint64_t& each : tens) ten = (each = ten) * 10;
  return tens;
}();

int CountDigits(std::uint64_t digits) {
  const int least = (static_cast<int>(std::bit_width(digits)) * 1233) >> 12;
  return least + (digits >= kTens[static_cast<std::size_t>(least)] ? 1 : 0);
}

void Spell(const Decimal& decimal, Characters& characters) {
  constexpr std::uint32_t kPiece = 100'000'000;
  char* const text = characters.text.data();
  const auto put = [&](std::uint64_t eight, int at) {
    eight += 0x3030'3030'3030'3030;
    StoreLittle(text + at, eight);
  };
  const std::uint64_t high = decimal.digits / kPiece;
  const std::uint64_t last = EightDigits(static_cast<std::uint32_t>(decimal.digits % kPiece));
  int zeros = std::countl_zero(last) / 8;
  put(last, kMostDigits - 8);
  if (high < 10) {
    text[kMostDigits - 9] = static_cast<char>('0' + high);
  } else {
    const std::uint64_t middle = EightDigits(static_cast<std::uint32_t>(high % kPiece));
    if (last == 0) zeros += std::countl_zero(middle) / 8;
    put(middle, kMostDigits - 16);
    text[0] = static_cast<char>('0' + high / kPiece);
  }
  const int count = CountDigits(decimal.digits);
  characters.first = text + kMostDigits - count;
  characters.count = count - zeros;
  characters.power = decimal.power + zeros;
}

// Null where the digits alone don't say what is written: all of a large whole number.
template <typename Number>
char* PutDecimal(const Decimal& decimal, Number size, char* to) {
  constexpr Number kEveryWhole = std::uint64_t{1} << std::numeric_limits<Number>::digits;
  Characters characters{};
  Spell(decimal, characters);
  const int count = characters.count;
  const int power = characters.power;
  // The shorter of the two notations, the one without an exponent if both are as long.
  const bool is_fixed = power >= -(count + (count == 1 ? 2 : 3)) && power <= (count == 1 ? 4 : 5);
  if (!is_fixed) {
    to = characters.CopyWithPoint(to, 1);
    const int exponent = power + count - 1;
    *to++ = 'e';
    *to++ = exponent < 0 ? '-' : '+';
    const auto positive = static_cast<unsigned>(exponent < 0 ? -exponent : exponent);
    if (positive >= 100) *to++ = static_cast<char>('0' + positive / 100);
    *to++ = static_cast<char>('0' + positive / 10 % 10);
    *to++ = static_cast<char>('0' + positive % 10);
    return to;
  }
  if (power >= 0) {
    if (power > 0 && size >= kEveryWhole) return nullptr;
    std::memset(characters.CopyTo(to), '0', 8);
    return to + count + power;
  }
  if (-power < count) return characters.CopyWithPoint(to, count + power);
  std::memset(to, '0', 8);
  to[1] = '.';
  return characters.CopyTo(to + 2 - power - count);
}

template <typename Bits, typename Number>
char* Put(Number value, char* to) {
  constexpr int kBits = std::numeric_limits<Bits>::digits;
  auto bits = std::bit_cast<Bits>(value);
  char* const start = to;
  if (bits >> (kBits - 1) != 0) *to++ = '-';
  bits &= ~(Bits{1} << (kBits - 1));
  const auto size = std::bit_cast<Number>(bits);
  char* end = nullptr;
  if (bits != 0 && size <= std::numeric_limits<Number>::max())
    end = PutDecimal(ShortestOf<Number>(bits), size, to);
  return end != nullptr ? end : std::to_chars(start, start + kNumberRoom, value).ptr;
}

}  // namespace

char* PutShortest(float value, char* to) { return Put<std::uint32_t>(value, to); }
char* PutShortest(double value, char* to) { return Put<std::uint64_t>(value, to); }

}  // namespace nvimport
