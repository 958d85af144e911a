#include <bit>
#include <cmath>

#include "nvimport/formats/text/LotusFile.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

template <typename... Values>
std::string Record(int type, Values... values) {
  std::string data;
  [[maybe_unused]] const auto put = [&](auto value) {
    data.append(reinterpret_cast<const char*>(&value), sizeof value);
  };
  (put(values), ...);
  const auto header = static_cast<std::uint32_t>(type) | static_cast<std::uint32_t>(data.size())
                                                             << 16U;
  return std::string(reinterpret_cast<const char*>(&header), 4) + data;
}

using Short = std::int16_t;
constexpr int kFormula = 16;

std::string Cell(int type, int column, int row) {
  return Record(type, '\xff', static_cast<Short>(column), static_cast<Short>(row));
}

std::string With(std::string cell, std::string_view more) {
  cell[2] = static_cast<char>(cell[2] + static_cast<char>(more.size()));
  return cell.append(more);
}

std::string Integer(int column, int row, Short value) {
  return With(Cell(13, column, row), {reinterpret_cast<const char*>(&value), 2});
}
std::string Real(int type, int column, int row, double value) {
  return With(Cell(type, column, row), {reinterpret_cast<const char*>(&value), 8});
}
std::string Label(int column, int row, std::string_view text) {
  return With(Cell(15, column, row), "'" + std::string(text) + "\0"s);
}
std::string Range(Short first_column, Short first_row, Short last_column, Short last_row) {
  return Record(6, first_column, first_row, last_column, last_row);
}

const std::string kBof = Record(0, Short{0x0406});
const std::string kEof = Record(1);

std::string String(int column, int row, std::string_view text) {
  return With(Cell(51, column, row), std::string(text) + "\0"s);
}

// The status or the sheet, the size and the notes.
std::string Summary(const std::string& bytes, const LotusRules& rules = {}) {
  const MemoryFile memory(bytes);
  LotusFile file(rules);
  const Outcome outcome = ImportFile(file, memory.path());
  return (outcome.status == 0 ? outcome.sheet : std::to_string(outcome.status) + "\n") +
         std::to_string(file.GetNumRows()) + " x " + std::to_string(file.GetNumCols()) + "\n" +
         outcome.notes;
}

TEST(LotusFile, ReadsCells) {
  const std::string start = kBof + Range(0, 0, 2, 1);
  const struct {
    const char* why;
    std::string records;
    const char* summary;
  } kCases[] = {
      {"every kind of cell", Integer(0, 0, -5) + Real(14, 1, 0, 0.25) + Label(2, 0, "caf\xe9"),
       "-5 | 0.25 | 'caf\xe9'\n. | . | .\n2 x 3\n"},
      {"records in between", Record(47, '\1') + Integer(0, 1, 7) + Record(256, 1.0),
       ". | . | .\n7 | . | .\n2 x 3\n"},
      {"a formula's value, where it is none",
       Real(kFormula, 0, 0, HUGE_VAL) + Real(kFormula, 1, 0, -HUGE_VAL) +
           Real(kFormula, 2, 0, std::bit_cast<double>(0xfff8000000000000)) +
           Real(kFormula, 0, 1, std::bit_cast<double>(0x7ff8000000000000)),
       "inf | -inf | -nan\n'' | . | .\n2 x 3\n1 formula cell arrives empty\n"},
      {"cells outside the range, formulas arrive empty all the same",
       Integer(3, 0, 1) + Label(0, 2, "x") + Integer(-1, 0, 1) + Real(kFormula, 3, 0, 1),
       ". | . | . | ''\n. | . | . | .\n2 x 3\n"
       "4 cells outside the width or height of the range were not delivered\n"},
      {"records that are too short", Record(14, '\0', Short{1}) + Record(13) + Record(15, '\0'),
       "'' | 0 | .\n. | . | .\n2 x 3\n"},
      {"a label without an end", Record(15, '\0', Short{0}, Short{0}, '\'', 'a', 'b'),
       "'ab' | . | .\n. | . | .\n2 x 3\n"},
  };
  for (const auto& c : kCases)
    EXPECT_EQ(Summary(start + c.records + kEof + "what follows"), c.summary) << c.why;
}

// What a record holds counts only as far as it is looked at.
TEST(LotusFile, PassesWhatItDoesNotNeed) {
  const auto stating = [](std::string record, char length) {
    record[2] = length;
    return record;
  };
  const struct {
    const char* why;
    std::string records;
    const char* summary;
  } kCases[] = {
      {"records of any type before the range",
       Record(0x5405, Short{1}) + Record(0xff00) + Range(0, 0, 1, 0), "2315\n-1 x -1\n"},
      {"a range that ends behind its eight bytes", stating(Range(0, 0, 1, 0), 16),
       "2313\n-1 x -1\n"},
      {"a range that ends before", stating(Range(0, 0, 1, 0), 16).substr(0, 11), "2312\n-1 x -1\n"},
      {"an end that says that more follows", Range(0, 0, 1, 0) + stating(kEof, 100),
       ". | .\n1 x 2\n"},
      {"records of nothing but zeros",
       Range(0, 0, 1, 0) + std::string(20, '\0') + Integer(1, 0, 5) + kEof, ". | 5\n1 x 2\n"},
      {"an end of less than nothing", Range(0, 0, 1, 0) + Integer(0, 0, 5) + "\1\0\xff\xff"s,
       "5 | .\n1 x 2\n"},
  };
  for (const auto& c : kCases) EXPECT_EQ(Summary(kBof + c.records), c.summary) << c.why;
}

// Without any rule the range only adds to the cells.
TEST(LotusFile, CoversAllCellsWithoutItsRules) {
  const struct {
    const char* why;
    std::string records;
    const char* summary;
  } kCases[] = {
      {"cells before the range and behind it",
       Range(1, 1, 2, 2) + Integer(1, 1, 5) + Label(0, 0, "a") + Label(3, 3, "d"),
       "'a' | . | . | .\n. | 5 | . | .\n. | . | . | .\n. | . | . | 'd'\n4 x 4\n"},
      {"a range of no place", Range(-1, -1, -1, -1) + Integer(0, 0, 5) + Integer(1, 1, 6),
       "5 | .\n. | 6\n2 x 2\n"},
      {"the texts of formulas whose value is a number",
       Range(0, 0, 1, 0) + Real(kFormula, 0, 0, HUGE_VAL) + String(0, 0, "text") +
           Real(kFormula, 1, 0, HUGE_VAL),
       "'text' | inf\n1 x 2\n"},
      {"a text that the file ends before, in which a cell seems to be",
       Range(0, 0, 0, 0) + Real(kFormula, 0, 0, HUGE_VAL) + std::string("\x33\0\x40\0", 4) +
           Integer(5, 5, 7),
       "2313\n-1 x -1\n"},
  };
  for (const auto& c : kCases)
    EXPECT_EQ(Summary(kBof + c.records + kEof, LotusRules::Off()), c.summary) << c.why;
}

// Cells that are narrower, wider and longer than what the worksheet says of them.
TEST(LotusFile, AnOpenSizeGivesTheSameSheet) {
  std::string cells;
  for (int row = 0; cells.size() < 300'000; ++row)
    cells += Integer(0, row, 5) + Label(2, row, "text") + Real(14, row % 7, row, row / 8.0);
  for (const std::string& range : {Range(0, 0, 6, 9), Range(0, 0, 1, 30'000), Range(0, 0, 9, 9),
                                   Range(1, 0, 6, 9), std::string()}) {
    const MemoryFile memory(kBof + range + cells + kEof);
    SCOPED_TRACE(range);
    LotusFile sized(LotusRules::Off());
    LotusFile file(LotusRules::Off());
    ExpectOpenSizeAgrees(file, sized, memory.path(),
                         !range.empty() && range[4] == 0 && range[5] == 0);
  }
  LotusFile kept;
  const MemoryFile memory(kBof + Range(0, 0, 6, 9) + cells + kEof);
  ASSERT_EQ(kept.Open(true, memory.path(), nullptr), 0);
  EXPECT_FALSE(kept.LeaveSizeOpen());
}

// What Lotus shows as a date or a time of day arrives as one, the day that never was included.
TEST(LotusFile, DatesAreTexts) {
  const auto formatted = [](std::string cell, int format) {
    cell[4] = static_cast<char>(format);
    return cell;
  };
  const std::string window = Record(7, 0, '\x72');
  const struct {
    std::string records;
    const char* cell;
  } kCases[] = {
      {formatted(Integer(0, 0, 61), 0x72), "'1900-03-01'"},
      {formatted(Integer(0, 0, 60), 0xF3), "'1900-02-29'"},
      {formatted(Real(14, 0, 0, 45000.5), 0xF4), "'2023-03-15 12:00:00'"},
      {formatted(Real(kFormula, 0, 0, 45000), 0x79), "'2023-03-15'"},
      {formatted(Real(14, 0, 0, 0.25), 0x77), "'06:00:00'"},
      {formatted(Real(14, 0, 0, 0.75), 0xFC), "'18:00:00'"},
      {formatted(Real(kFormula, 0, 0, HUGE_VAL), 0x7A), "inf"},
      {formatted(Integer(0, 0, 61), 0x75), "61"},
      {formatted(Integer(0, 0, 61), 0x02), "61"},
      {window + Integer(0, 0, 61), "'1900-03-01'"},
      {window + formatted(Integer(0, 0, 61), 0x7F), "'1900-03-01'"},
      {window + formatted(Integer(0, 0, 61), 0x71), "61"},
  };
  for (const auto& c : kCases)
    EXPECT_EQ(Summary(kBof + Range(0, 0, 0, 0) + c.records + kEof, LotusRules::Off()),
              c.cell + "\n1 x 1\n"s);
}

// Each rule, what it costs, and what comes without this one.
TEST(LotusFile, CountsWhatItsRulesCost) {
  const auto none = std::bit_cast<double>(0x7ff0000000099ffa);
  const std::string outside = "1 cell outside the width or height of the range was not delivered\n";
  const struct {
    const char* why;
    bool LotusRules::*rule;
    std::string records;
    std::string kept;
    std::string without;
  } kCases[] = {
      {"formulas", &LotusRules::formula_values_left_out,
       Range(0, 0, 0, 1) + Real(kFormula, 0, 0, 1) + Real(kFormula, 0, 1, 2),
       "''\n''\n2 x 1\n2 formula cells arrive empty\n", "1\n2\n2 x 1\n"},
      {"a formula's text", &LotusRules::formula_texts_left_out,
       Range(0, 0, 1, 0) + Real(kFormula, 0, 0, none) + String(0, 0, "text") + Integer(1, 0, 5),
       "'' | 5\n1 x 2\n1 formula cell arrives empty\n", "'text' | 5\n1 x 2\n"},
      {"no text behind it", &LotusRules::formula_texts_left_out,
       Range(0, 0, 1, 0) + Real(kFormula, 0, 0, none) + Integer(1, 0, 5),
       "'' | 5\n1 x 2\n1 formula cell arrives empty\n",
       "'' | 5\n1 x 2\n1 formula cell arrives empty\n"},
      {"the start of the range", &LotusRules::range_start_ignored,
       Range(1, 1, 2, 2) + Integer(1, 1, 5) + Integer(2, 2, 6), ". | .\n. | 5\n2 x 2\n" + outside,
       "5 | .\n. | 6\n2 x 2\n"},
      {"cells beyond the range", &LotusRules::cells_in_range_only,
       Range(0, 0, 0, 0) + Integer(0, 0, 5) + Integer(1, 0, 6), "5\n1 x 1\n" + outside,
       "5 | 6\n1 x 2\n"},
      {"a range that ends behind them", &LotusRules::cells_in_range_only,
       Range(0, 0, 1, 2) + Integer(0, 0, 5), "5 | .\n. | .\n. | .\n3 x 2\n", "5\n1 x 1\n"},
      {"texts in CP437", &LotusRules::texts_as_stored,
       Range(0, 0, 1, 0) + Label(0, 0, "M\x81nchen") +
           Record(15, '\0', Short{1}, Short{0}, '\'', '\xe1'),
       "'M\x81nchen' | '\xe1'\n1 x 2\n", "'M\u00fcnchen' | '\u00df'\n1 x 2\n"},
      {"dates", &LotusRules::dates_as_numbers,
       Range(0, 0, 0, 0) + Record(14, '\x72', Short{0}, Short{0}, 45000.0), "45000\n1 x 1\n",
       "'2023-03-15'\n1 x 1\n"},
      {"no range", &LotusRules::range_needed, Integer(2, 1, 5), "2312\n-1 x -1\n",
       ". | . | .\n. | . | 5\n2 x 3\n"},
      {"no range and no cells", &LotusRules::range_needed, "", "2312\n-1 x -1\n",
       "2312\n-1 x -1\n"},
      {"newer records", &LotusRules::new_records_end_read,
       Record(0x5405, Short{1}) + Range(0, 0, 0, 0) + Record(300) + Integer(0, 0, 5),
       "2315\n-1 x -1\n", "5\n1 x 1\n"},
  };
  for (const auto& c : kCases) {
    LotusRules rules;
    rules.*c.rule = false;
    EXPECT_EQ(Summary(kBof + c.records + kEof), c.kept) << c.why;
    EXPECT_EQ(Summary(kBof + c.records + kEof, rules), c.without) << c.why;
  }
}

TEST(LotusFile, RefusesByName) {
  const auto long_bof = [](int version) {
    return Record(0, static_cast<Short>(version), 0LL, 0LL, 0LL);
  };
  const std::string list =
      "\r\n\r\nLotus 1-2-3 version 1.A (WKS)\r\nLotus 1-2-3 version 2.0-2.2 (WK1)\r\nSymphony file "
      "1.0/1.01 (WRK) and\r\nSymphony file 1.1/1.2/2.0 (WR1).";
  const std::string only = " However, Olvan does only support the following Lotus formats:" + list;
  const std::string corrupt = " The file seems to be corrupt and cannot be imported.";
  const std::string invalid = "2305 The file does not seem to be a valid Lotus 1-2-3 file.\n";
  const std::string start = kBof + Range(0, 0, 0, 0);
  ExpectImports<LotusFile>({
      {"empty", "", invalid},
      {"five bytes", kBof.substr(0, 5), invalid},
      {"text", "a;b;c;d", invalid},
      {"WK3", long_bof(0x1000), "2306 The file is a Lotus version 3.0 (WK3) file. " + only + "\n"},
      {"WK4", long_bof(0x1002), "2307 The file is a Lotus version 4.0 (WK4) file." + only + "\n"},
      {"WJ1", long_bof(0x0600), "2308 The file is a Lotus 1-2-3/J (WJ1) file." + only + "\n"},
      {"FRM", long_bof(0x8007),
       "2309 This file is a Lotus 1-2-3 (FRM) file. Such files cannot be imported by Olvan.\n"},
      {"123", long_bof(0x1003),
       "2310 The file seems to be a Lotus Workbook (123) file. " + only + "\n"},
      {"another long one", long_bof(0x1004),
       "2311 unrecognized Lotus 1-2-3 version format. Olvan supports the following Lotus formats:" +
           list + "\n"},
      {"another short one", Record(0, Short{0x0407}),
       "2311 unrecognized Lotus 1-2-3 version format. Olvan supports the following Lotus formats:" +
           list + "\n"},
      {"no range", kBof + kEof,
       "2312 An error occurred while trying to establish size size of the dataset." + corrupt +
           "\n"},
      {"a negative length before the range", kBof + Record(9).replace(2, 2, "\xff\xff") + start,
       "2312 An error occurred while trying to establish size size of the dataset." + corrupt +
           "\n"},
      {"no end", start,
       "2313 Found unexpected EOF (End-Of-File) while reading for data." + corrupt + "\n.\n"},
      {"a record cut short", start + Integer(0, 0, 1).substr(0, 8),
       "2313 Found unexpected EOF (End-Of-File) while reading for data." + corrupt + "\n.\n"},
      {"a negative length", start + Record(9).replace(2, 2, "\xff\xff") + kEof,
       "2315 A corrupt data record was found. The file cannot be imported.\n.\n"},
      {"a type that none has", start + Record(257) + kEof,
       "2315 A corrupt data record was found. The file cannot be imported.\n.\n"},
  });
  ExpectNoFile<LotusFile>(
      "2304 Unable to open file.",
      "2312 An error occurred while trying to establish size size of the dataset." + corrupt, 2314);
}

TEST(LotusFile, TheSizeIsTheRanges) {
  const struct {
    std::string range;
    int columns;
    int rows;
  } kCases[] = {{Range(1, 1, 2, 4), 2, 4},
                {Range(0, 0, 32767, 32767), 32768, 32768},
                {Range(3, 3, 1, 1), 0, 0},
                {Record(6, Short{0}, Short{0}, Short{5}), 6, 1}};
  for (const auto& c : kCases) {
    const TempFile bytes(kBof + c.range + Integer(0, 0, 1) + kEof);
    LotusFile file;
    ASSERT_EQ(file.Open(true, bytes.path(), nullptr), 0);
    EXPECT_EQ(file.GetNumCols(), c.columns);
    EXPECT_EQ(file.GetNumRows(), c.rows);
    LotusFile copy;
    copy = LotusFile(file);
    MemorySheet sheet;
    EXPECT_EQ(copy.Read(&sheet), 0);
    EXPECT_EQ(sheet.IsNumber(1, 1), c.rows > 0);
  }
}

TEST(LotusFile, ReadsEveryPrefix) {
  const std::string whole =
      kBof + Range(0, 0, 1, 1) + Label(0, 0, "a") + Real(14, 1, 0, 2) + Real(16, 0, 1, 3) + kEof;
  const MemoryFile file;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    file.Put(whole.substr(0, size));
    for (const LotusRules& rules : {LotusRules{}, LotusRules::Off()}) {
      LotusFile lotus(rules);
      const int status = ImportFile(lotus, file.path()).status;
      EXPECT_EQ(status, size < 6 ? 2305 : (size < 18 ? 2312 : 2313)) << size;
    }
  }
}

}  // namespace

}  // namespace nvimport
