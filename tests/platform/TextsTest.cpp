
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <sstream>

#include "nvimport/hosting/CellText.h"
#include "nvimport/platform/CodePages.h"
#include "nvimport/platform/Exception.h"
#include "nvimport/platform/NumberText.h"
#include "nvimport/platform/Paths.h"
#include "nvimport/platform/StreamReader.h"
#include "nvimport/platform/StreamWriter.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

TEST(CodePages, BecomeUtf8) {
  const struct {
    int page;
    const char* bytes;
    const char* text;
  } kCases[] = {
      {437, "a\xE0\x82", "a\u03B1\u00E9"},
      {852, "\x9F", "\u010D"},
      {855, "\xDD\xE1", "\u041F\u0440"},
      {866, "\x80\xEF", "\u0410\u044F"},
      {874, "\xA1\xDF", "\u0E01\u0E3F"},
      {1250, "\x9A", "\u0161"},
      {1251, "\xC0\xFF", "\u0410\u044F"},
      {1252, "\x80\xE9", "\u20AC\u00E9"},
      {1253, "\xE1\xAA", "\u03B1\uFFFD"},
      {10000, "\x8A\xD0", "\u00E4\u2013"},
      {0x8000, "\x8A", "\u00E4"},
      {0x8001, "\x80", "\u20AC"},
      {10004, "\xC7", "\u0627"},
      {10006, "\xE1", "\u03B1"},
      {10007, "\x80\xDF", "\u0410\u044F"},
      {10010, "\xAF", "\u0218"},
      {10017, "\x80", "\u0410"},
      {10029, "\xE1\xF3", "\u0160\u016F"},
      {10079, "\xDC", "\u00D0"},
      {10081, "\xDA", "\u011E"},
      {10082, "\xA9", "\u0160"},
      {65001, "\u0160\u20AC", "\u0160\u20AC"},
      {65001, "\x80", "\u20AC"},
      {31337, "\xE9", "\u00E9"},
      // Two bytes to a character, one that breaks off, one that there is not.
      {932, "\x8A\xBFz\x8A", "\u6F22z\uFFFD"},
      {932, "\xFFz", "\uFFFDz"},
      {936, "\xBA\xBA", "\u6C49"},
      {949, "\xC7\xD1", "\uD55C"},
      {950, "\xBA\x7E", "\u6F22"},
      {1361, "\xD0\x65", "\uD55C"},
      {10001, "\x8A\xBF", "\u6F22"},
  };
  for (const auto& c : kCases) {
    std::string text;
    AppendFromCodePage(text, c.bytes, c.page);
    EXPECT_EQ(text, c.text) << c.page;
  }
}

// The system's tables are another's work. Where it has no character ours may have a control one.
TEST(CodePages, AgreeWithTheSystemsWhereItKnowsThem) {
  constexpr int kNumbers[] = {437,  720,  737,  775,  850,  852,  855,  857,  858,
                              860,  861,  862,  863,  864,  865,  866,  869,  874,
                              1250, 1251, 1252, 1253, 1254, 1255, 1256, 1257, 1258};
  int known = 0;
  for (const int number : kNumbers) {
    const Conversion system("UTF-8", "CP" + std::to_string(number));
    if (!system.ok()) continue;
    ++known;
    for (int byte = 0x80; byte < 0x100; ++byte) {
      const std::string bytes(1, static_cast<char>(byte));
      std::string ours;
      std::string theirs;
      AppendFromCodePage(ours, bytes, number);
      system.Convert(bytes, theirs, "?");
      EXPECT_TRUE(ours == theirs || theirs == "?")
          << number << " " << byte << " " << ours << " " << theirs;
    }
  }
  EXPECT_GT(known, 0);
}

TEST(CodePages, AreToldApartByTheirTexts) {
  const struct {
    int page;
    const char* texts[3];
  } kCases[] = {
      {437, {"M\x81nchen", "\x82t\x82", "25 \xF8"}},
      {437, {"\xC4\xC4\xC4", "\xCD\xCD\xBB", "m\xFD"}},
      {437,
       {"Stra\xE1"
        "e",
        "\xF1 2", "\xE6m"}},
      {437, {"", "a", "1"}},
      {1252,
       {"caf\xE9", "\xB5 \x80",
        "25 \xB0"
        "C"}},
      {1252,
       {"Espa\xF1ol",
        "K\xF8"
        "b",
        "don\x92t"}},
      {1252,
       {"10 \x96 20",
        "Gr\xF6\xDF"
        "e",
        "\xC4\xD6"}},
  };
  for (const auto& c : kCases) {
    OemOrAnsi pages;
    for (const char* const text : c.texts) pages.Count(text);
    EXPECT_EQ(pages.page(), c.page) << c.texts[0];
  }
}

TEST(NumberText, ParsesDecimalNumbersOnly) {
  const struct {
    const char* text;
    char mark;
    std::optional<double> number;
  } kCases[] = {
      {"1.5", '.', 1.5},  {" \t+1.5e-3\r\n", '.', 0.0015},
      {"-.5", '.', -0.5}, {"5.", '.', 5.0},
      {"1E400", '.', {}}, {"1,5", ',', 1.5},
      {"-,5", ',', -0.5}, {"1.5", ',', {}},
      {"1,5", '.', {}},   {"1,500,000", ',', {}},
      {"", '.', {}},      {" ", '.', {}},
      {"-", '.', {}},     {".", '.', {}},
      {"+-1", '.', {}},   {"--1", '.', {}},
      {"1 2", '.', {}},   {"1e", '.', {}},
      {"0x10", '.', {}},  {"inf", '.', {}},
      {"-nan", '.', {}},  {"1.5f", '.', {}},
  };
  for (const auto& c : kCases) EXPECT_EQ(ParseNumber(c.text, c.mark), c.number) << c.text;
  EXPECT_TRUE(std::signbit(ParseNumber("-0").value_or(1)));
  EXPECT_EQ(ParseNumber(std::string_view("1.5\0", 4)), std::nullopt);
}

TEST(NumberText, FormatsTheShortestTextThatReadsBack) {
  const struct {
    float value;
    const char* text;
  } kCases[] = {
      {16777216.0F, "16777216"},
      {0.1F, "0.1"},
      {-0.0F, "-0"},
      {1e-45F, "1e-45"},
      {std::numeric_limits<float>::max(), "3.4028235e+38"},
      {std::numeric_limits<float>::lowest(), "-3.4028235e+38"},
      {1234.5F, "1234.5"},
      {1e10F, "1e+10"},
  };
  for (const auto& c : kCases) {
    FloatText buffer;
    buffer.fill('#');
    EXPECT_EQ(FormatFloat(c.value, buffer), c.text);
    EXPECT_STREQ(buffer.data(), c.text);
    EXPECT_EQ(static_cast<float>(ParseNumber(c.text).value_or(7)), c.value);
  }
}

template <typename Number>
void ExpectShortest(Number value) {
  FloatText buffer;
  FloatText plain;
  const char* const end = std::to_chars(plain.data(), plain.data() + plain.size(), value).ptr;
  ASSERT_EQ(std::string_view(buffer.data(), PutShortest(value, buffer.data())),
            std::string_view(plain.data(), end));
}

TEST(NumberText, ShortestFormIsThatOfTheStandardLibrary) {
  for (int power = -1074; power < 1024; ++power)
    for (int near = -2; near <= 2; ++near) {
      const auto bits = std::bit_cast<std::int64_t>(std::ldexp(1.0, power)) + near;
      ExpectShortest(std::bit_cast<double>(bits));
    }
  for (int power = -323; power < 309; ++power)
    for (const char* digits : {"1", "-12", "125", "98765", "123456789012345", "99999999999999999"})
      ExpectShortest(std::strtod((digits + ("e" + std::to_string(power))).c_str(), nullptr));
  std::mt19937_64 bits(1);
  for (int i = 0; i < 200'000; ++i) {
    ExpectShortest(std::bit_cast<double>(bits()));
    ExpectShortest(static_cast<double>(bits() >> (i % 64)));
    ExpectShortest(static_cast<double>(bits() >> 40) / 1e4);
  }
  // Infinity and what is no number among them.
  for (std::uint64_t at = 0; at <= UINT32_MAX; at += 4099)
    ExpectShortest(std::bit_cast<float>(static_cast<std::uint32_t>(at)));
}

TEST(NumberText, GeneralFormHasSixDigitsHoweverItIsFound) {
  const auto expect = [](double value) {
    FloatText buffer;
    FloatText plain;
    *std::to_chars(plain.data(), plain.data() + plain.size(), value, std::chars_format::general, 6)
         .ptr = '\0';
    const char* const end = FormatGeneral(value, buffer, 2);
    ASSERT_STREQ(buffer.data() + 2, plain.data());
    ASSERT_EQ(end, buffer.data() + 2 + std::strlen(plain.data()));
  };
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const double value : {0.0, -0.0, kInfinity, -kInfinity, 5e-324, -1e300, 999999.5, 1e6})
    expect(value);
  for (int i = 1; i < 20'000; ++i)
    for (const double scale : {1e-8, 1e-6, 1e-5, 1e-4, 0.0625, 0.4822, 1.0, 49.99995, 64.0}) {
      const double value = i * scale;
      for (const double near : {value, -value, std::nextafter(value, 0.0), value + 0.5e-5})
        expect(near);
    }
}

TEST(Paths, NameAndExtension) {
  const struct {
    const char* path;
    const char* name;
    const char* extension;
  } kCases[] = {
      {"/a.b/c.txt", "c.txt", "txt"},
      {"c.tar.GZ", "c.tar.GZ", "GZ"},
      {"/a.b/c", "c", ""},
      {"/a/.csv", ".csv", "csv"},
      {"c.", "c.", ""},
      {"/a/", "", ""},
      {"", "", ""},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(FileName(c.path), c.name);
    EXPECT_EQ(NvGetFileExtension(c.path), c.extension);
  }
}

TEST(Paths, OnlyTheCaseOfAsciiLettersIsIgnored) {
  EXPECT_TRUE(EqualIgnoringCase("File.TXT", "fILE.txt"));
  EXPECT_FALSE(EqualIgnoringCase("ab", "abc"));
  EXPECT_FALSE(EqualIgnoringCase("[", "{"));
  EXPECT_FALSE(EqualIgnoringCase("\xc4", "\xe4"));
}

TEST(Streams, StoreAndReadLittleEndian) {
  std::stringstream stream;
  StreamWriter writer(stream);
  writer.WriteBool(true);
  writer.WriteBool(false);
  writer.WriteInt32(-2);
  writer.WriteInt32(0x01020304);
  const unsigned char bytes[] = {'a', 0};
  writer.WriteUInt8Vector(bytes, 2);
  writer.WriteUInt8Vector(nullptr, 0);
  EXPECT_EQ(stream.str(), "\1\0\xfe\xff\xff\xff\4\3\2\1a\0"s);

  StreamReader reader(stream);
  EXPECT_TRUE(reader.ReadBool());
  EXPECT_FALSE(reader.ReadBool());
  EXPECT_EQ(reader.ReadInt32(), -2);
  EXPECT_EQ(reader.ReadInt32(), 0x01020304);
  unsigned char read[3] = {};
  EXPECT_THROW(reader.ReadUInt8Vector(read, 3), Exception);
}

}  // namespace

}  // namespace nvimport
