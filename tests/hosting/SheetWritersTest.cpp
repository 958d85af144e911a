#include <unistd.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <random>
#include <sstream>

#include "nvimport/hosting/export/SheetWriters.h"
#include "nvimport/platform/Progress.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {
struct NeverStops : Progress {
  bool Advance(std::uint64_t, std::uint64_t) override { return true; }
};

std::string Written(SheetFormat format, MemorySheet& sheet, const std::string& encoding = {},
                    bool guards_formulas = false) {
  const TempFile file("");
  NeverStops none;
  OutputFile out(file.path());
  WriteSheet(format, sheet, {TextDecoder(), TextEncoder(encoding), guards_formulas}, out, none);
  out.Close();
  return Contents(file.path());
}
}  // namespace

// Any double, float and whole number reads back as it was, in every format of ours.
TEST(SheetWriters, NumbersReadBackAsTheyWere) {
  std::mt19937_64 random(20);
  MemorySheet sheet;
  constexpr int kRows = 20'000;
  for (int row = 1; row <= kRows; ++row) {
    const std::uint64_t bits = random();
    const auto wide = std::bit_cast<double>(bits);
    const auto narrow = std::bit_cast<float>(static_cast<std::uint32_t>(bits));
    sheet.SetExact(1, row, std::isfinite(wide) ? wide : 0.1);
    sheet.Set(2, row, std::isfinite(narrow) ? narrow : 0.1F);
    sheet.SetExact(3, row, static_cast<long long>(bits));
  }
  const auto read_back = [](const MemoryCell& cell, std::string_view text) {
    const auto same = [&](auto value) {
      auto read = value;
      const auto end = std::from_chars(text.data(), text.data() + text.size(), read);
      return end.ptr == text.data() + text.size() && read == value &&
             std::signbit(static_cast<double>(read)) == std::signbit(static_cast<double>(value));
    };
    if (cell.number_kind == NumberKind::kFloat) return same(cell.number);
    return cell.number_kind == NumberKind::kDouble ? same(cell.wide) : same(cell.whole);
  };
  for (const SheetFormat format : {SheetFormat::kCsv, SheetFormat::kTsv, SheetFormat::kJsonLines}) {
    std::istringstream lines(Written(format, sheet));
    int row = 0;
    int wrong = 0;
    for (std::string line; std::getline(lines, line);) {
      ++row;
      std::ranges::replace_if(
          line, [](char c) { return c == '\t' || c == ']'; }, ',');
      std::istringstream cells(line.substr(line.starts_with('[') ? 1 : 0));
      for (int column = 1; column <= 3; ++column) {
        std::string text;
        std::getline(cells, text, ',');
        wrong += read_back(sheet.GetCell(column, row), text) ? 0 : 1;
      }
    }
    EXPECT_EQ(row, kRows);
    EXPECT_EQ(wrong, 0);
  }
}

TEST(SheetWriters, EachKindOfCell) {
  // The second column keeps a cell from being its row's only one.
  MemorySheet sheet;
  sheet.SetDataSize(2, 18);
  int row = 0;
  for (const char* text : {"plain", "", "a,b", "\"q\"", "two\nlines\r", "\t\\", " led", "trailed ",
                           "\x01\x1f", "\xe9", "1.50", "12345678901234567890"})
    sheet.Set(1, ++row, text);
  for (const float number : {0.1F, 16777216.0F, -0.0F, INFINITY, NAN}) sheet.Set(1, ++row, number);
  EXPECT_EQ(Written(SheetFormat::kCsv, sheet),
            "plain,\n,\n\"a,b\",\n\"\"\"q\"\"\",\n\"two\nlines\r\",\n\t\\,\n\" led\",\n"
            "\"trailed \",\n\x01\x1f,\né,\n1.50,\n12345678901234567890,\n"
            "0.1,\n16777216,\n-0,\ninf,\nnan,\n,\n");
  EXPECT_EQ(Written(SheetFormat::kTsv, sheet),
            "plain\t\n\t\na,b\t\n\"\"\"q\"\"\"\t\n\"two\nlines\r\"\t\n\"\t\\\"\t\n\" led\"\t\n"
            "\"trailed \"\t\n\x01\x1f\t\né\t\n1.50\t\n12345678901234567890\t\n"
            "0.1\t\n16777216\t\n-0\t\ninf\t\nnan\t\n\t\n");
  EXPECT_EQ(Written(SheetFormat::kJsonLines, sheet),
            R"(["plain",null]
["",null]
["a,b",null]
["\"q\"",null]
["two\nlines\r",null]
["\t\\",null]
[" led",null]
["trailed ",null]
["\u0001\u001f",null]
["é",null]
[1.50,null]
[12345678901234567890,null]
[0.1,null]
[16777216,null]
[-0,null]
[null,null]
[null,null]
[null,null]
)");
}

TEST(SheetWriters, ATextIsAJsonNumberOnlyInJsonsGrammar) {
  const auto cell = [](const char* text) {
    MemorySheet sheet;
    sheet.SetDataSize(1, 1);
    sheet.Set(1, 1, text);
    return JsonCell(sheet.GetCell(1, 1), TextDecoder());
  };
  for (const std::string text : {"0", "-0", "10", "-1.50", "0.5", "1e5", "1E+5", "2.5e-10"})
    EXPECT_EQ(cell(text.c_str()), text);
  for (const std::string text : {"01", "-", "+1", ".5", "1.", "1e", "1e+", "1,5", "1 ", " 1", "0x1",
                                 "-01", "nan", "true", "null", "1_0", "--1"})
    EXPECT_EQ(cell(text.c_str()), '"' + text + '"');
}

TEST(SheetWriters, AnEmptyRowOfOneColumnStaysARow) {
  MemorySheet sheet;
  sheet.SetDataSize(1, 2);
  sheet.Set(1, 2, "");
  EXPECT_EQ(Written(SheetFormat::kCsv, sheet), "\"\"\n\"\"\n");
  EXPECT_EQ(Written(SheetFormat::kTsv, sheet), "\"\"\n\"\"\n");
}

TEST(SheetWriters, EscapesBeforeItEncodes) {
  MemorySheet sheet;
  sheet.SetDataSize(1, 1);
  sheet.Set(1, 1, "表\"");
  EXPECT_EQ(Written(SheetFormat::kJsonLines, sheet, "cp932"), "[\"\x95\\\\\"\"]\n")
      << "the second byte of the character is a backslash";
}

TEST(SheetWriters, GuardsFormulasOnRequest) {
  MemorySheet sheet;
  sheet.SetDataSize(20, 1);
  int column = 0;
  for (const char* text :
       {"=1+1", "+cmd", "-2+3", "@SUM(A1)", "\t=x", " =x", "\r\n=x", "＝x", "-1.5", "+1,5e3", "a=b",
        "-", "\ufeff=x", "\"=x\"", "x;=y", "x\n@y;-1", "\u200b=x", "1;-5"})
    sheet.Set(++column, 1, text);
  sheet.Set(++column, 1, -7.0F);
  EXPECT_EQ(
      Written(SheetFormat::kTsv, sheet, {}, true),
      "'=1+1\t'+cmd\t'-2+3\t'@SUM(A1)\t\"'\t=x\"\t' =x\t\"'\r\n'=x\"\t'＝x\t-1.5\t+1,5e3\ta=b\t"
      "'-\t'\ufeff=x\t\"'\"\"=x\"\"\"\tx;'=y\t\"x\n'@y;-1\"\t'\u200b=x\t1;-5\t-7\t\n");
  EXPECT_EQ(Written(SheetFormat::kCsv, sheet, {}, true).substr(0, 10), "'=1+1,'+cm");
  EXPECT_EQ(Written(SheetFormat::kCsv, sheet).substr(0, 9), "=1+1,+cmd");
  EXPECT_EQ(Written(SheetFormat::kJsonLines, sheet, {}, true).substr(0, 7), "[\"=1+1\"");
}

}  // namespace nvimport
