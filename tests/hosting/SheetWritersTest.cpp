#include <unistd.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <functional>
#include <random>
#include <sstream>

#include "nvimport/hosting/export/ShapedSheet.h"
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

namespace {
// What streaming writes of cells given in this order by `give`, or that it gave up.
std::string Streamed(SheetFormat format, int columns,
                     const std::function<void(SpreadsheetData&)>& give, char decimal_mark = '.') {
  const TempFile file("");
  const TextConversion conversion{.decimal_mark = decimal_mark};
  OutputFile out(file.path());
  const auto sheet = NewStreamingSheet(format, conversion, out);
  try {
    sheet->Begin({columns});
    give(*sheet);
    if (!sheet->Finish()) return "less wide";
  } catch (const std::exception&) {
    return sheet->gave_up() ? "gave up" : "threw";
  }
  out.Close();
  return Contents(file.path());
}
}  // namespace

// Cells in order, with gaps, are written as a sheet in memory is.
TEST(SheetWriters, RowsAsTheyComeAreThoseOfTheSheet) {
  std::mt19937 random(29);
  const char* const texts[] = {"a",
                               "\"",
                               "two\nlines",
                               "\t",
                               " led",
                               "",
                               "Gr\u00fcn",
                               "caf\xe9",
                               "x,y",
                               "0.5",
                               "a text of more than sixteen bytes",
                               "blanks  within it"};
  for (int round = 0; round < 60; ++round) {
    const int columns = 1 + static_cast<int>(random() % 9);
    const auto seed = random();
    const auto give = [&](SpreadsheetData& sheet) {
      std::mt19937 cells(seed);
      for (int row = 1; row <= 12; ++row)
        for (int column = 1; column <= columns; ++column) {
          const auto pick = cells() % 20;
          if (pick < std::size(texts)) sheet.Set(column, row, texts[pick]);
          if (pick == 12) sheet.Set(column, row, 1.5F);
          if (pick == 13) sheet.SetExact(column, row, 0.1);
          if (pick == 14) sheet.SetExact(column, row, 9007199254740993LL);
        }
      sheet.SetDataSize(columns, 14);
    };
    MemorySheet sheet;
    give(sheet);
    for (const SheetFormat format :
         {SheetFormat::kCsv, SheetFormat::kTsv, SheetFormat::kJsonLines, SheetFormat::kJson,
          SheetFormat::kArrow, SheetFormat::kArrowStream, SheetFormat::kXlsx})
      ASSERT_EQ(Streamed(format, columns, give), Written(format, sheet)) << round;
  }
}

TEST(SheetWriters, WhatDoesNotComeInOrderIsGivenUp) {
  const struct {
    std::vector<std::pair<int, int>> cells;
    const char* what;
  } kCases[] = {
      {{{2, 3}, {1, 1}, {2, 2}, {1, 4}, {2, 4}}, "1,\n,1\n,1\n1,1\n"},  // of the first rows
      {{{1, 5}, {2, 4}}, "gave up"},
      {{{2, 5}, {1, 5}}, "gave up"},
      {{{2, 5}, {3, 5}}, "gave up"},
      {{{3, 1}}, "gave up"},
      {{{1, 1}, {1, 5}}, "less wide"},
  };
  for (const auto& c : kCases) {
    const auto give = [&](SpreadsheetData& sheet) {
      for (const auto& [column, row] : c.cells) sheet.Set(column, row, 1.0F);
    };
    EXPECT_EQ(Streamed(SheetFormat::kCsv, 2, give), c.what);
  }
}

TEST(SheetWriters, DelimitersBeyondMeasureAreGivenUp) {
  const auto give = [](SpreadsheetData& sheet) { sheet.Set(2, 200'000'000, 1.0F); };
  EXPECT_EQ(Streamed(SheetFormat::kCsv, 2, give), "gave up");
}

// What of a sheet is wanted, and how it is to lie.
TEST(ShapedSheet, GivesWhatIsWanted) {
  const struct {
    const char* columns;
    const char* rows;
    int skipped;
    bool transposed;
    bool is_long;
    const char* csv;
  } kCases[] = {
      {"3,1", "", 0, false, false, "b,n\n12,r1\n,r2\n"},
      {"", "1,3-", 0, false, false, "n,a,b\nr2,21,\n"},
      {"2-", "2", 1, false, false, "21\n"},
      {"", "", 0, true, false, "n,r1,r2\na,11,21\nb,12,\n"},
      {"2", "2-", 0, true, false, "11,21\n"},
      {"", "", 0, false, true, "name,x,y\nr1,a,11\nr1,b,12\nr2,a,21\n"},
      {"3", "2-", 0, false, true, "name,x,y\nr1,b,12\n"},
      {"9", "", 0, false, false, ""},
  };
  for (const auto& c : kCases) {
    SheetShape request{
        .skipped_rows = c.skipped, .is_transposed = c.transposed, .is_long = c.is_long};
    if (*c.columns != '\0') request.columns = NumberRanges::Parse(c.columns).value();
    if (*c.rows != '\0') request.rows = NumberRanges::Parse(c.rows).value();
    MemorySheet sheet;
    ShapedSheet view(request, sheet);
    view.Begin(3, 3, Description());
    int column = 0;
    for (const char* name : {"n", "a", "b"}) view.Set(++column, 1, name);
    view.Set(1, 2, "r1");
    view.Set(2, 2, 11.0F);
    view.SetExact(3, 2, 12LL);
    view.Set(1, 3, "r2", 2);
    view.SetExact(2, 3, 21.0);
    EXPECT_EQ(Written(SheetFormat::kCsv, sheet), c.csv) << c.columns << " " << c.rows;
  }
  for (const char* wrong : {"", "0", "a", "3-2", "1,", "1-2-3", "-1", "99999999999"})
    EXPECT_FALSE(NumberRanges::Parse(wrong)) << wrong;
}

TEST(SheetWriters, ADecimalCommaIsThatOfNumbers) {
  const auto give = [](SpreadsheetData& sheet) {
    sheet.Set(1, 1, "1.5");
    sheet.SetExact(2, 1, 0.25);
    sheet.Set(3, 1, "v1.5");
  };
  EXPECT_EQ(Streamed(SheetFormat::kCsv, 3, give, ','), "\"1,5\",\"0,25\",v1.5\n");
  EXPECT_EQ(Streamed(SheetFormat::kTsv, 3, give, ','), "1,5\t0,25\tv1.5\n");
  EXPECT_EQ(Streamed(SheetFormat::kJsonLines, 3, give, ','), "[1.5,0.25,\"v1.5\"]\n");
  EXPECT_EQ(Streamed(SheetFormat::kJson, 3, give, ','),
            "\"names\":[1.5,0.25,\"v1.5\"],\n\"rows\":[]}\n");
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
