#if __has_include(<gsf/gsf-outfile.h>)  // as CompoundWriter.h needs it

#include "nvimport/formats/workbook/ExcelFile.h"
#include "nvimport/platform/NvApp.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/BiffFixture.h"
#include "tests/support/Cases.h"
#include "tests/support/CompoundWriter.h"

namespace nvimport {

namespace {

const std::string kBadWorkbook =
    "257 An error occurred when reading the Workbook section in the Excel file. An invalid "
    "BIFF-record was found.\n";

std::string OneSheet(const std::string& cells, const std::string& globals = {},
                     bool is_biff8 = true) {
  return WorkbookFixture{{{cells}}, globals, is_biff8}.Stream();
}

std::string FormulaText(const std::string& behind, unsigned column = 0) {
  return Record(0x0006, Cell(0, column) + U8(0) + std::string(5, '\0') + U16(0xFFFF)) + behind;
}

std::string Sst(std::uint32_t count, const std::string& strings) {
  return Record(0x00FC, U32(count) + U32(count) + strings);
}
std::string LabelSst(unsigned row, unsigned column, std::uint32_t index) {
  return Record(0x00FD, Cell(row, column) + U32(index));
}

std::string FormulaError(unsigned column) {
  return Record(0x0006, Cell(0, column) + U16(2) + U32(0x24) + U16(0xFFFF));
}
std::string FormulaOfNothing(unsigned column) {
  return Record(0x0006, Cell(0, column) + U16(3) + U32(0) + U16(0xFFFF));
}

TEST(ExcelFile, TakesEveryKindOfCell) {
  ExpectImports<ExcelFile>({
      {"numbers", OneSheet(Number(0, 0, 1.5) + Number(1, 1, -2)), "1.5 | .\n. | -2\n"},
      {"RK: integer, double, both divided",
       OneSheet(Record(0x027E, Cell(0, 0) + U32(0xFFFFFFEE)) +
                Record(0x027E, Cell(0, 1) + U32(0x3FF80000)) +
                Record(0x027E, Cell(0, 2) + U32(5 << 2 | 3)) +
                Record(0x027E, Cell(0, 3) + U32(0x405EC001))),
       "-5 | 1.5 | 0.05 | 1.23\n"},
      {"MULRK", OneSheet(Record(0x00BD, At(0, 1) + U16(0) + U32(6) + U16(0) + U32(10) + U16(2))),
       ". | 1 | 2\n"},
      {"MULRK that ends before it starts",
       OneSheet(Record(0x00BD, At(0, 3) + U16(0) + U32(6) + U16(2))), ""},
      {"MULRK that claims more than it holds",
       OneSheet(Record(0x00BD, At(0, 0) + U16(0) + U32(6) + U16(0xFFFF))), "1\n"},
      {"MULRK without a last column", OneSheet(Record(0x00BD, At(0, 0))), ""},
      {"a record cut short is zero", OneSheet(Record(0x0203, U16(1))), ".\n0\n"},
      {"even within its column", OneSheet(Record(0x0203, U16(0) + U8(1))), ". | 0\n"},
      {"shared strings, one that there is not",
       OneSheet(LabelSst(0, 0, 1) + LabelSst(0, 1, 0) + LabelSst(0, 2, 2),
                Sst(2, Text8("zero") + Text8("one"))),
       "'one' | 'zero' | ''\n1 cell has a shared string that the SST record does not hold whole, "
       "and was delivered empty or cut\n"},
      {"a shared string that breaks off",
       OneSheet(LabelSst(0, 0, 0) + LabelSst(0, 1, 1), Sst(2, Text8("a") + U16(9) + U8(0) + "bc")),
       "'a' | 'bc'\n1 cell has a shared string that the SST record does not hold whole, and was "
       "delivered empty or cut\n"},
      {"formulas: number, boolean, text, empty",
       OneSheet(Record(0x0006, Cell(0, 0) + F64(2.5)) +
                Record(0x0006, Cell(0, 1) + U16(1) + U32(1) + U16(0xFFFF)) +
                FormulaText(Record(0x0207, Text8("text")), 2) + FormulaOfNothing(3) +
                Number(0, 4, 5)),
       "2.5 | 1 | 'text' | . | 5\n1 formula results in an empty text and was not delivered\n"},
      {"a formula's wide text, its SHRFMLA skipped",
       OneSheet(
           FormulaText(Record(0x04BC) + Record(0x0207, Text16(u"\u20AC \xD83D\xDE00 \xD800")))),
       "'\u20AC \U0001F600 \uFFFD'\n"},
      {"a formula's text cut by its record",
       OneSheet(FormulaText(Record(0x0207, U16(9) + "\0ab"s))), "'ab'\n"},
      {"no STRING: the next record counts", OneSheet(FormulaText(Number(0, 1, 7))),
       ". | 7\n1 formula results in an empty text and was not delivered\n"},
      {"nor behind a SHRFMLA", OneSheet(FormulaText(Record(0x04BC) + Number(0, 1, 7))),
       ". | 7\n1 formula results in an empty text and was not delivered\n"},
      {"BIFF5: LABEL, RSTRING and a formula's text",
       OneSheet(Record(0x0204, Cell(0, 0) + U16(3) + "abcd") +
                    Record(0x00D6, Cell(0, 1) + U16(99) + "rich") +
                    FormulaText(Record(0x0207, U16(2) + "xyz"), 2),
                {}, false),
       "'abc' | 'rich' | 'xy'\n"},
      {"the next BOF ends the sheet", OneSheet(Number(0, 0, 1) + Bof(0x20) + Number(0, 1, 2)),
       "1\n"},
      {"a size of nothing", WorkbookFixture{{{Number(0, 0, 1), 0, 0}}}.Stream(), "1\n"},
      {"a sheet without ROW", SheetFile(0x0409, Eof()), ""},
      {"BIFF4: NUMBER and FORMULA",
       SheetFile(0x0409, Number(0, 0, 1) + Record(0x0406, Cell(0, 1) + F64(2)) +
                             Record(0x0006, Cell(0, 2) + F64(3))),
       "1 | 2\n1 formula has the record of another version and was not delivered\n"},
      {"BIFF2: a formula, its text, its boolean, RSTRING and RK",
       SheetFile(0x0009,
                 Record(0x0006, Cell(0, 0) + U8(0) + F64(1)) +
                     Record(0x0006, Cell(0, 1) + U8(0) + U8(0) + U8(0) + U32(0) + U16(0xFFFF)) +
                     Record(0x0007, U8(2) + "ab") +
                     Record(0x0006, Cell(0, 2) + U8(0) + U16(1) + U32(1) + U16(0xFFFF)) +
                     Record(0x00D6, Cell(0, 3) + U16(1) + "r") +
                     Record(0x027E, Cell(0, 4) + U32(6))),
       "1 | 'ab' | 1 | 'r' | 1\n"},
      {"BIFF3: RK, RSTRING and INTEGER",
       SheetFile(0x0209, Record(0x027E, Cell(0, 0) + U32(6)) +
                             Record(0x00D6, Cell(0, 1) + U16(1) + "r") +
                             Record(0x0002, Cell(0, 2) + U8(0) + U16(0xFFFF))),
       "1 | 'r' | -1\n"},
  });
}

// Each rule, what it costs, and what comes without this one.
TEST(ExcelFile, CountsWhatItsRulesCost) {
  const std::string wide_string = Sst(2, U16(4) + U8(1) + Wide(u"ab"));
  std::string missing;
  for (int i = 0; i < 256; ++i) missing += ". | ";
  // All sheets, one below the other.
  ScriptedDialogs dialogs;
  dialogs.items = ItemsChoice{{0, 1}, 1};
  ExpectRules<ExcelFile, ExcelRules>({
      {"cells before the first ROW", &ExcelRules::skip_cells_before_first_row,
       WorkbookFixture{{{.cells = Number(1, 0, 2),
                         .before = Number(0, 0, 1) + Record(0x00BD, At(0, 1) + U16(0) + U32(6) +
                                                                        U16(0) + U32(6) + U16(2))}}}
           .Stream(),
       ".\n2\n3 cells stand before the first ROW record and were not delivered\n",
       "1 | 1 | 1\n2 | . | .\n"},
      {"a LABEL in the place of the first ROW", &ExcelRules::skip_cells_before_first_row,
       Record(0x0409, U16(0) + U16(0x10)) + Record(0x0200, U16(0) + U16(1) + U32(1)) +
           Record(0x0204, Cell(0, 0) + U16(1) + "a") + Number(0, 1, 2) + Eof(),
       ". | 2\n1 cell stands before the first ROW record and was not delivered\n", "'a' | 2\n"},
      {"BIFF2", &ExcelRules::ignore_biff2_cells,
       SheetFile(0x0009, Record(0x0003, Cell(0, 0) + U8(0) + F64(1)) +
                             Record(0x0004, Cell(0, 1) + U8(0) + U8(2) + "ab") +
                             Record(0x0002, Cell(0, 2) + U8(0) + U16(0xFFFF))),
       "3 INTEGER, NUMBER, LABEL and BOOLERR cells of BIFF2 were not delivered\n",
       "1 | 'ab' | 65535\n"},
      {"BIFF2's cells in BIFF8, and the other way round", &ExcelRules::ignore_biff2_cells,
       OneSheet(Number(0, 0, 1) + Record(0x0003, Cell(0, 1) + U8(0) + F64(2)) +
                Record(0x0004, Cell(0, 2) + U8(0) + U8(1) + "a")),
       "1\n2 INTEGER, NUMBER, LABEL and BOOLERR cells of BIFF2 were not delivered\n",
       "1 | 2 | 'a'\n"},
      {"BIFF3", &ExcelRules::ignore_biff3_cells,
       SheetFile(0x0209, Number(0, 0, 1) + Record(0x0204, Cell(0, 1) + U16(2) + "ab") +
                             Record(0x0206, Cell(0, 2) + F64(4))),
       "3 NUMBER, LABEL, BOOLERR and FORMULA cells of BIFF3 were not delivered\n",
       "1 | 'ab' | 4\n"},
      {"LABEL and RSTRING of BIFF8", &ExcelRules::labels_without_option_byte,
       OneSheet(Record(0x0204, Cell(0, 0) + Text16(u"ab")) +
                Record(0x00D6, Cell(0, 1) + Text8("cd"))),
       "'\1a' | ''\n"
       "2 texts of LABEL and RSTRING cells of BIFF8 were delivered empty or damaged\n",
       "'ab' | 'cd'\n"},
      {"BOOLERR", &ExcelRules::booleans_as_empty_text,
       OneSheet(Record(0x0205, Cell(0, 0) + U8(1) + U8(0)) +
                Record(0x0205, Cell(0, 1) + U8(0) + U8(0)) +
                Record(0x0205, Cell(0, 2) + U8(7) + U8(1))),
       "'' | '' | ''\n3 booleans and errors were delivered as empty texts\n", "1 | 0 | ''\n"},
      {"a formula's error", &ExcelRules::ignore_formula_errors,
       OneSheet(FormulaError(0) + Number(0, 1, 1)),
       ". | 1\n1 formula results in an error and was not delivered\n", "'' | 1\n"},
      {"a formula's empty text", &ExcelRules::ignore_empty_formula_texts,
       OneSheet(FormulaOfNothing(0) + FormulaText(Number(0, 2, 1), 1)),
       ". | . | 1\n2 formulas result in an empty text and were not delivered\n", "'' | '' | 1\n"},
      {"a formula of BIFF4 in BIFF8", &ExcelRules::formula_id_by_version,
       OneSheet(Record(0x0406, Cell(0, 0) + F64(3))),
       "1 formula has the record of another version and was not delivered\n", "3\n"},
      {"an array formula's text", &ExcelRules::string_only_after_shrfmla,
       OneSheet(FormulaText(Record(0x0221) + Record(0x0207, Text8("a")))),
       "1 text of an array formula was not delivered\n", "'a'\n"},
      {"a column beyond 256", &ExcelRules::columns_by_low_byte,
       OneSheet(Number(0, 257, 1) +
                Record(0x00BD, At(1, 256) + U16(0) + U32(6) + U16(0) + U32(10) + U16(257))),
       ". | 1\n1 | 2\n2 cells stand beyond column 256 and were delivered in other columns\n",
       missing + ". | 1\n" + missing + "1 | 2\n"},
      {"an embedded chart", &ExcelRules::next_bof_ends_sheet,
       OneSheet(Number(0, 0, 1) + Bof(0x20) + Record(0x1009) + Bof(0x20) + Eof() + Number(0, 1, 2) +
                Eof() + Number(0, 2, 3)),
       "1\n", "1 | . | 3\n"},
      {"a wide string continued", &ExcelRules::continued_strings_keep_option_byte,
       OneSheet(LabelSst(0, 0, 0) + LabelSst(0, 1, 1),
                wide_string + Record(0x003C, U8(1) + Wide(u"cd") + Text8("e"))),
       "'ab\u6301\u6400' | ''\n"
       "2 texts stand behind a shared string that goes on in another record and may be "
       "damaged\n",
       "'abcd' | 'e'\n"},
      {"a formula's text continued", &ExcelRules::continued_strings_keep_option_byte,
       OneSheet(FormulaText(Record(0x0207, U16(4) + U8(0) + "ab") +
                            Record(0x003C, U8(1) + Wide(u"c\u20AC")) + Number(0, 1, 1))),
       "'ab' | 1\n", "'abc\u20AC' | 1\n"},
      {"texts of BIFF5 in the code page", &ExcelRules::texts_as_stored,
       OneSheet(Record(0x0204, Cell(0, 0) + U16(2) + "\xC0\xE0") +
                    FormulaText(Record(0x0207, U16(1) + "\xE0"), 1),
                Record(0x0042, U16(1251)), false),
       "'\xC0\xE0' | '\xE0'\n", "'\u0410\u0430' | '\u0430'\n"},
      {"texts of a worksheet of the Macintosh", &ExcelRules::texts_as_stored,
       SheetFile(0x0409, Record(0x0042, U16(0x8000)) + Row() +
                             Record(0x0204, Cell(0, 0) + U16(1) + "\x8A")),
       "'\x8A'\n", "'\u00E4'\n"},
      {"narrow texts of BIFF8", &ExcelRules::texts_as_stored,
       OneSheet(LabelSst(0, 0, 0), Sst(1, Text8("\xC3\xA9")) + Record(0x0042, U16(1251))),
       "'\xC3\xA9'\n", "'\u00C3\u00A9'\n"},
      {"dates", &ExcelRules::dates_by_lower_case_letters,
       OneSheet(Number(0, 0, 1.5, 0) + Number(0, 1, 45000.5, 1) + Number(0, 2, 45000, 2) +
                    Number(0, 3, 45000, 3) + Number(0, 4, 45000, 4) + Number(0, 5, 45000, 5) +
                    Number(0, 6, 45000, 6) + Number(0, 7, 45000, 7),
                Record(0x041E, U16(164) + Text8("d/m/yy")) +
                    Record(0x041E, U16(165) + Text8("0.0 \"days\"")) +
                    Record(0x041E, U16(166) + Text8("YYYY-MM-DD")) +
                    Record(0x00E0, U16(0) + U16(0)) + Record(0x00E0, U16(0) + U16(22)) +
                    Record(0x00E0, U16(0) + U16(164)) + Record(0x00E0, U16(0) + U16(165)) +
                    Record(0x00E0, U16(0) + U16(166)) + Record(0x00E0, U16(0) + U16(2)) +
                    Record(0x00E0, U16(0) + U16(167)) + Record(0x041E, U16(167) + Text8("[h]:mm")) +
                    Record(0x00E0, U16(0) + U16(168)) +
                    Record(0x041E, U16(168) + Text8("[Red]0\\d"))),
       "1.5 | '2023-03-15 12:00:00' | '2023-03-15' | '2023-03-15' | 45000 | 45000 | "
       "45000 | 45000\n"
       "1 number was taken for a date and delivered as its text\n"
       "2 dates were taken for numbers and delivered as those\n",
       "1.5 | '2023-03-15 12:00:00' | '2023-03-15' | 45000 | '2023-03-15' | 45000 | "
       "'1080000:00:00' | 45000\n"},
      {"dates of BIFF4, from 1904 on", &ExcelRules::dates_from_biff5_on,
       SheetFile(0x0409, Record(0x0022, U16(1)) + Record(0x041E, U16(9) + U8(1) + "0") +
                             Record(0x041E, U16(9) + U8(4) + "d/m ") +
                             Record(0x0443, U8(0) + U8(0)) + Record(0x0443, U8(0) + U8(1)) + Row() +
                             Number(0, 0, 1, 0) + Number(0, 1, 0, 1)),
       "1 | 0\n1 date was taken for a number and delivered as that\n", "1 | '1904-01-01'\n"},
      {"a stream's name", &ExcelRules::exact_stream_names,
       WriteCompoundFile({{"BOOK", OneSheet(Number(0, 0, 1))}}),
       "262 No Excel stream was found in the file.\n", "1\n"},
      {"two forms of a workbook", &ExcelRules::exact_stream_names,
       WriteCompoundFile({{"Book", OneSheet(Number(0, 0, 5), {}, false)},
                          {"Workbook", OneSheet(Number(0, 0, 8))}}),
       "5\n", "8\n"},
      {"a sheet without DIMENSIONS", &ExcelRules::sheets_need_dimensions,
       WorkbookFixture{
           {{.cells = Number(1, 1, 1)}, {.cells = Number(1, 1, 2), .has_dimensions = false}}}
           .Stream(),
       ". | .\n. | 1\n1 worksheet has no DIMENSIONS record and is not offered\n",
       ". | .\n. | 1\n. | .\n. | 2\n"},
      {"a sheet that says it is empty", &ExcelRules::sheets_need_dimensions,
       WorkbookFixture{{{.cells = Number(0, 0, 1), .rows = 0, .columns = 256}}}.Stream(),
       "263 The excel file does not contain any sheets.\n", "1\n"},
      {"a sheet beyond the end", &ExcelRules::bad_sheet_ends_workbook,
       WorkbookFixture{{{.cells = Number(0, 0, 1)}},
                       Record(0x0085, U32(99999) + U16(0) + U8(1) + U8(0) + "x")}
           .Stream(),
       kBadWorkbook, "1\n1 worksheet is not where the workbook says and is not offered\n"},
      {"a sheet larger than it says", &ExcelRules::sizes_as_stated,
       WorkbookFixture{{{.cells = Number(0, 0, 1) + Number(1, 0, 2), .rows = 1, .columns = 1},
                        {.cells = Number(0, 0, 3)}}}
           .Stream(),
       "1\n3\n", "1\n2\n3\n"},
  });
}

TEST(ExcelFile, GathersSharedStrings) {
  const struct {
    const char* why;
    std::string table;
    std::string sheet;  // the strings 0 to 2
  } kCases[] = {
      {"runs and extensions are passed over",
       Sst(3, U16(1) + U8(0x08) + U16(2) + "a" + std::string(8, 'r') + U16(1) + U8(0x0D) + U16(1) +
                  U32(3) + Wide(u"\u00E9") + "rrrrext" + Text8("c")),
       "'a' | '\u00E9' | 'c'\n"},
      {"as many as are claimed", Sst(1, Text8("a") + Text8("b")), "'a' | '' | ''\n"},
      {"more claimed than there are", Sst(0xFFFFFFFF, Text8("a")), "'a' | '' | ''\n"},
      {"a string cut by the end", Sst(2, Text8("a") + U16(9) + U8(0) + "bc"), "'a' | 'bc' | ''\n"},
      {"surrogates, whole and lone", Sst(1, Text16(u"\xD83D\xDE00\xDE00\xD83D")),
       "'\U0001F600\uFFFD\uFFFD' | '' | ''\n"},
      {"a continued record drops a first byte of 0",
       Sst(2, U16(4) + U8(0) + "ab") + Record(0x003C, "\0cd"s + Text8("e")), "'abcd' | 'e' | ''\n"},
      {"an empty record between", Sst(2, Text8("a")) + Record(0x003C) + Record(0x003C, Text8("b")),
       "'a' | 'b' | ''\n"},
      {"too short a table", Record(0x00FC, U32(1) + U32(1) + "abc") + Record(0x003C, Text8("b")),
       "'' | '' | ''\n"},
      {"CONTINUE without a table", Record(0x003C, Text8("b")), "'' | '' | ''\n"},
      {"the record behind it counts",
       Sst(1, Text8("a")) + Record(0x0022, U16(1)) + Record(0x00E0, U16(0) + U16(14)),
       "'a' | '' | ''\n"},
  };
  for (const auto& c : kCases)
    EXPECT_EQ(Import<ExcelFile>(
                  OneSheet(LabelSst(0, 0, 0) + LabelSst(0, 1, 1) + LabelSst(0, 2, 2), c.table))
                  .sheet,
              c.sheet)
        << c.why;
}

TEST(ExcelFile, SaysWhyItRefuses) {
  const std::string after =
      " Only Excel files based on the BIFF2 to BIFF8 formats can be read. This "
      "includes files generated by Excel version 2, 3, 4, 5, 95, 97, 2000 & XP.";
  const std::string bad_sheet =
      "258 An error occurred when reading a Worksheet in the Excel file. An invalid BIFF-record "
      "was found.\n";
  const std::string no_excel = "259 This file does not appear to be a valid Excel file.\n";
  const std::string no_stream = "262 No Excel stream was found in the file.\n";
  const std::string no_sheets = "263 The excel file does not contain any sheets.\n";
  NvApp::SetName("host");
  ExpectImports<ExcelFile>({
      {"a compound file in name only", "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1" + std::string(600, '\0'),
       "256 Unable to open Excel file.\n"},
      {"no stream of a workbook", WriteCompoundFile({{"WORKBOOK", "x"}}), no_stream},
      {"a storage of its name", WriteCompoundFile({{"Workbook/x", "x"}}), no_stream},
      {"empty", "", no_excel},
      {"another format", "a\tb\tc\n", no_excel},
      {"a newer version", Bof(0x0005, 0x0909),
       "264 host can not read this version of Excel files." + after + "\n"},
      {"a first record too long", Record(0x0809, std::string(2081, '\0')), no_excel},
      {"protected", WorkbookFixture{{{Number(0, 0, 1)}}, Record(0x002F, U16(0) + U32(0))}.Stream(),
       "261 host cannot read (password-) protected Excel workbooks. You will need to remove the "
       "password protection to be able to read the file into host.\n"},
      {"charts only", WorkbookFixture{{{.cells = Number(0, 0, 1), .type = 2}}}.Stream(), no_sheets},
      {"a dialog sheet only",
       WorkbookFixture{{{.cells = Number(0, 0, 1), .before = Record(0x0081, U16(0x10))}}}.Stream(),
       no_sheets},
      {"an empty sheet only", WorkbookFixture{{{.rows = 0, .columns = 256}}}.Stream(), no_sheets},
      {"another substream", Bof(0x0020) + Eof(), no_sheets},
      {"globals without an end", Bof(0x0005), kBadWorkbook},
      {"a sheet outside the file",
       Bof(0x0005) + Record(0x0085, U32(9999) + U16(0) + U8(1) + U8(0) + "A") + Eof(),
       kBadWorkbook},
      {"a record of 65535 bytes in the globals",
       Bof(0x0005) + Record(0x0042, std::string(65535, '\0')) + Eof(), kBadWorkbook},
      {"a single sheet without a size", Bof(0x0010) + Eof(),
       "260 The specified Worksheet is either a dialog / form or has no data.\n"},
      {"a single sheet that breaks off", Bof(0x0010), bad_sheet},
      {"a sheet's cells break off",
       OneSheet(Number(0, 0, 1) + Record(0x0203, std::string(8225, ' '))), bad_sheet + "1\n"},
      {"a workspace that leads back into itself", Bof(0x0100, 0x0409, 0) + Record(0x008E, U32(0)),
       "6 The file would take more memory or time than a file of its size may.\n"},
  });
  NvApp::SetName("");
  ExpectNoFile<ExcelFile>(
      "256 Unable to open Excel file.",
      "3 Tried to write to the file when it was opened for reading or vice versa.", 3);
  EXPECT_EQ(ExcelFileFactory::GetFormat(9)->factory->IsCorrectFileType("/nowhere"), 2);
}

TEST(ExcelFile, FindsTheWorkbookInACompoundFile) {
  const std::string book = OneSheet(Number(0, 0, 5));
  const std::string workbook = OneSheet(Number(0, 0, 8) + Record(0x0000, std::string(8000, ' ')));
  ExpectImports<ExcelFile>(
      {{"", WriteCompoundFile({{"Workbook", workbook}, {"Other", "x"}}, 4096), "8\n"},
       {"", WriteCompoundFile({{"Workbook", workbook}, {"Book", book}}), "5\n"}});
}

// Three sheets: 3 x 2, 4 x 5 and a dialog between them, which is none.
std::string ThreeSheets() {
  return WorkbookFixture{{{Number(2, 1, 1), 3, 2, "First"},
                          {.name = "Dialog", .before = Record(0x0081, U16(0x10))},
                          {Number(0, 0, 2), 4, 5, "Second"},
                          {Number(1, 0, 3), 2, 1, std::string("Ab\0c", 4)}}}
      .Stream();
}

TEST(ExcelFile, AsksWhichWorksheets) {
  const MemoryFile file(ThreeSheets());
  const struct {
    const char* why;
    std::optional<ItemsChoice> choice;
    std::string stored;
    std::string outcome;  // status, rows x columns, sheet
  } kCases[] = {
      {"cancelled", std::nullopt, "", "4"},
      {"one", ItemsChoice{{1}, 1}, U32(3) + "1,2" + U32(1), "0 4 x 5\n2\n"},
      {"side by side", ItemsChoice{{0, 2}, 0}, U32(5) + "0,1,3" + U32(0xFFFFFFFF),
       "0 4 x 3\n. | . | .\n. | . | 3\n. | 1 | .\n"},
      {"above and below, in another order", ItemsChoice{{2, 0}, 1},
       U32(5) + "1,3,1" + U32(0xFFFFFFFF), "0 5 x 3\n. | .\n3 | .\n. | .\n. | .\n. | 1\n"},
      {"none", ItemsChoice{{}, 1}, U32(1) + "1" + U32(0xFFFFFFFF), "0 0 x 0\n"},
      {"one that there is not", ItemsChoice{{3}, 1}, "", "4"},
  };
  ScriptedDialogs dialogs;
  const auto import = [&](ExcelFile& reader, NvImportOpenOptions* options) {
    MemorySheet sheet;
    const int status = reader.Open(true, file.path(), options);
    if (status != 0) return std::to_string(status);
    const std::string size =
        std::to_string(reader.GetNumRows()) + " x " + std::to_string(reader.GetNumCols());
    const int read = reader.Read(&sheet);
    return std::to_string(read) + " " + size + "\n" + SheetText(sheet);
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    dialogs.items = c.choice;
    NvImportOpenOptions options{0, nullptr};
    ExcelFile reader;
    EXPECT_EQ(import(reader, &options), c.outcome);
    EXPECT_EQ(BytesOf(options), c.stored);
    if (c.stored.empty()) continue;
    const std::size_t asked = dialogs.items_questions.size();
    ExcelFile again;
    EXPECT_EQ(import(again, &options), c.outcome) << "from the stored choice";
    EXPECT_EQ(dialogs.items_questions.size(), asked);
  }
  const ItemsQuestion& question = dialogs.items_questions.at(0);
  EXPECT_EQ(question.kind, ItemsQuestion::Kind::kWorksheets);
  EXPECT_EQ(question.title, "Select Excel Worksheet");
  EXPECT_EQ(question.prompt,
            "An Excel workbook consists of multiple worksheets. Please select the worksheet(s) you "
            "want to import.");
  EXPECT_EQ(question.heading, "Worksheet");
  EXPECT_EQ(question.items, (std::vector<std::string>{"First", "Second", "Ab"}));
  EXPECT_EQ(question.details, (std::vector<std::string>{"3 x 2", "4 x 5", "2 x 1"}));
  EXPECT_EQ(question.merge_choices,
            (std::vector<std::string>{"Merge side by side", "Merge above and below"}));
  EXPECT_EQ(question.merge, 1U);
}

TEST(ExcelFile, TakesAStoredChoiceOrRefusesIt) {
  const MemoryFile file(ThreeSheets());
  const MemoryFile one_sheet(OneSheet(Number(0, 0, 1)));
  const struct {
    const char* why;
    std::string bytes;
    int status;
  } kCases[] = {
      {"a list", U32(3) + "0,2" + U32(0xFFFFFFFF), 0},
      {"an empty text and one sheet", U32(0) + U32(2), 0},
      {"an empty text and no sheet", U32(0) + U32(0xFFFFFFFF), 0},
      {"more bytes than that", U32(3) + "0,2" + U32(0xFFFFFFFF) + "more", 0},
      {"a number outside the table", U32(3) + "0,4" + U32(0xFFFFFFFF), 5},
      {"number 0", U32(3) + "0,0" + U32(0xFFFFFFFF), 5},
      {"a number beyond all", U32(22) + "0,99999999999999999999" + U32(0xFFFFFFFF), 5},
      {"one sheet outside the table", U32(3) + "1,1" + U32(3), 5},
      {"the largest position", U32(3) + "1,1" + U32(0x7FFFFFFF), 5},
      {"a letter", U32(3) + "1,x" + U32(0xFFFFFFFF), 5},
      {"no flag", U32(3) + "2,1" + U32(0xFFFFFFFF), 5},
      {"a comma too many", U32(4) + "1,,1" + U32(0xFFFFFFFF), 5},
      {"a text without its end", U32(9) + "1,1", 5},
      {"no position", U32(3) + "1,1", 5},
      {"a single sheet's bytes", U32(0), 5},
  };
  for (const auto& c : kCases) {
    OpenOptions options(c.bytes);
    ExcelFile reader;
    EXPECT_EQ(reader.Open(true, file.path(), options.get()), c.status) << c.why;
    EXPECT_EQ(ErrorText(reader),
              c.status == 0 ? "" : "The import options are not valid for this format.");
    ExcelFile single;
    EXPECT_EQ(single.Open(true, one_sheet.path(), options.get()), 0) << "no choice";
  }
}

TEST(ExcelFile, StoresTheChoiceThatASingleWorksheetIs) {
  const struct {
    std::string file;
    std::string stored;
  } kCases[] = {
      {OneSheet(Number(0, 0, 1)), U32(3) + "1,1" + U32(0)},
      {SheetFile(0x0409, Number(0, 0, 1)), U32(0)},
  };
  for (const auto& c : kCases) {
    const MemoryFile file(c.file);
    NvImportOpenOptions options{0, nullptr};
    ExcelFile reader;
    EXPECT_EQ(ImportFile(reader, file.path(), &options).sheet, "1\n");
    EXPECT_EQ(BytesOf(options), c.stored);
    EXPECT_EQ(ImportFile(*std::make_unique<ExcelFile>(), file.path(), &options).sheet, "1\n");
  }
}

TEST(ExcelFile, LetsCallersChoose) {
  const MemoryFile file(ThreeSheets());
  OpenOptions options = OpenOptions::Made(ExcelFile::GetImportOptions({3, 2}, false));
  ExcelFile reader;
  ASSERT_EQ(reader.Open(true, file.path(), options.get()), 0);
  EXPECT_EQ(reader.GetNumCols(), 6);
  std::vector<std::string> names;
  EXPECT_EQ(reader.GetWorksheets(names), 0);
  EXPECT_EQ(names, (std::vector<std::string>{"First", "Second", "Ab"}));
  EXPECT_EQ(reader.SetCurWorksheet(4), 5);
  EXPECT_EQ(reader.GetNumCols(), 6);
  EXPECT_EQ(reader.SetCurWorksheet(1), 0);
  EXPECT_EQ(reader.GetNumCols(), 2);
  EXPECT_EQ(reader.GetNumRows(), 3);

  std::vector<int> sheets;
  bool above_and_below = true;
  ExcelFile::ConvertSheetStringToVector("0,1,23", sheets, above_and_below);
  EXPECT_EQ(sheets, (std::vector<int>{1, 23}));
  EXPECT_FALSE(above_and_below);
}

// Wide names are read as the kept rule reads them, and whole without it.
TEST(ExcelFile, ReadsTheNamesOfManySheets) {
  WorkbookFixture workbook;
  for (int i = 1; i <= 300; ++i) workbook.sheets.push_back({.name = "S" + std::to_string(i)});
  std::string bytes = workbook.Stream();
  const std::size_t name = bytes.find(U8(2) + U8(0) + "S1");
  bytes.replace(name, 4, U8(1) + U8(1) + Wide(u"\u00DC"));
  const MemoryFile file(bytes);
  const auto names = [&](const ExcelRules& rules) {
    OpenOptions options = OpenOptions::Made(ExcelFile::GetImportOptions({300}, true));
    ExcelFile reader(rules);
    EXPECT_EQ(reader.Open(true, file.path(), options.get()), 0);
    std::vector<std::string> found;
    reader.GetWorksheets(found);
    return found;
  };
  ASSERT_EQ(names({}).size(), 300U);
  EXPECT_EQ(names({})[0], "\xDC");
  EXPECT_EQ(names({})[299], "S300");
  ExcelRules rules;
  rules.narrow_sheet_names = false;
  EXPECT_EQ(names(rules)[0], "\u00DC");
}

// Sheets that are offered without a rule only stand behind the others.
TEST(ExcelFile, AChoiceMeansTheSameUnderAllRules) {
  const MemoryFile file(WorkbookFixture{
      {{Number(0, 0, 1), 2, 2, "A"},
       {.cells = Number(0, 0, 2), .name = "B", .has_dimensions = false},
       {Number(0, 0, 3), 2, 3,
        "C"}}}.Stream());
  const auto import = [&](const ExcelRules& rules, NvImportOpenOptions* options) {
    ExcelFile reader(rules);
    MemorySheet sheet;
    EXPECT_EQ(reader.Open(true, file.path(), options), 0);
    const std::string size =
        std::to_string(reader.GetNumRows()) + " x " + std::to_string(reader.GetNumCols());
    EXPECT_EQ(reader.Read(&sheet), 0);
    return size + "\n" + SheetText(sheet);
  };
  ScriptedDialogs dialogs;
  dialogs.items = ItemsChoice{{0, 1}, 0};
  ExcelRules right_size;
  right_size.size_with_extra_one = false;
  for (const ExcelRules& stored_under : {ExcelRules{}, ExcelRules::Off()}) {
    NvImportOpenOptions options{0, nullptr};
    ExcelFile reader(stored_under);
    ASSERT_EQ(reader.Open(true, file.path(), &options), 0);
    const std::size_t asked = dialogs.items_questions.size();
    EXPECT_EQ(import({}, &options), "3 x 5\n1 | . | 3\n");
    EXPECT_EQ(import(right_size, &options), "2 x 5\n1 | . | 3\n");
    EXPECT_EQ(import(ExcelRules::Off(), &options), "1 x 2\n1 | 3\n");
    EXPECT_EQ(dialogs.items_questions.size(), asked);
  }
  EXPECT_EQ(dialogs.items_questions.at(1).items, (std::vector<std::string>{"A", "C", "B"}));
}

// Of one sheet too, whether it states less than it has or more.
TEST(ExcelFile, ASizeIsStatedOrThatOfTheCells) {
  for (const std::uint16_t stated : {std::uint16_t{1}, std::uint16_t{9}}) {
    const MemoryFile file(
        WorkbookFixture{{{Number(3, 0, 1) + Number(0, 2, 2), stated, stated, "A"}}}.Stream());
    const auto size = [&](const ExcelRules& rules) {
      ExcelFile reader(rules);
      EXPECT_EQ(reader.Open(true, file.path(), nullptr), 0);
      return std::pair(reader.GetNumRows(), reader.GetNumCols());
    };
    EXPECT_EQ(size({}), std::pair(int{stated}, int{stated}));
    EXPECT_EQ(size(ExcelRules::Off()), std::pair(4, 3));
  }
}

TEST(ExcelFile, WalksAWorkspaceBySheets) {
  const auto sheet = [](double value) {
    return Record(0x0409, U16(0) + U16(0x10) + U16(0)) +
           Record(0x0200, U16(0) + U16(2) + U16(0) + U16(2) + U16(0)) + Row() +
           Number(0, 0, value) + Eof();
  };
  const auto header = [](const std::string& name, const std::string& body) {
    return Record(0x008F, U32(static_cast<std::uint32_t>(body.size())) +
                              U8(static_cast<unsigned>(name.size())) + name) +
           body;
  };
  const std::string chart = Record(0x0409, U16(0) + U16(0x20) + U16(0)) + Eof();
  const std::string start = Bof(0x0100, 0x0409, 0);
  const auto position = static_cast<std::uint32_t>(start.size() + 8 + 5);
  const MemoryFile file(start + Record(0x008E, U32(position)) + "junk!" + header("One", sheet(1)) +
                        header("Chart", chart) + header("Two", sheet(2)) + Eof());
  ScriptedDialogs dialogs;
  dialogs.items = ItemsChoice{{0, 1}, 0};
  ExcelFile reader;
  EXPECT_EQ(ImportFile(reader, file.path()).sheet, "1 | . | 2\n");
  EXPECT_EQ(dialogs.items_questions.at(0).items, (std::vector<std::string>{"One", "Two"}));
}

// A workbook with all that a reader looks at.
std::string Workbook() {
  return WorkbookFixture{
      {{Number(0, 0, 1, 1) + LabelSst(0, 1, 1) + Number(1, 2, 2) +
            FormulaText(Record(0x0207, Text16(u"text")), 2) +
            Record(0x00BD, At(1, 0) + U16(0) + U32(6) + U16(0) + U32(10) + U16(1)),
        2, 2}},
      Record(0x041E, U16(164) + Text8("d/m/yyyy")) + Record(0x00E0, U16(0) + U16(0)) +
          Record(0x00E0, U16(0) + U16(164)) + Sst(2, Text16(u"one") + U16(6) + U8(0) + "sha") +
          Record(0x003C, "\0red"s)}
      .Stream();
}

// A file cut anywhere, plain or in a compound file, never gives a cell that the whole one does not.
TEST(ExcelFile, AShorterFileAddsNothing) {
  const std::string plain = Workbook();
  const std::string compound = WriteCompoundFile({{"Workbook", plain}});
  const std::pair<const std::string&, ExcelRules> kCases[] = {
      {plain, {}}, {compound, {}}, {plain, ExcelRules::Off()}};
  for (const auto& [whole, rules] : kCases) {
    const MemoryFile file;
    const auto read = [&file, &rules = rules](const std::string& bytes, MemorySheet& sheet) {
      file.Put(bytes);
      ExcelFile reader(rules);
      return reader.Open(true, file.path(), nullptr) != 0 || reader.Read(&sheet) != 0;
    };
    MemorySheet expected;
    ASSERT_FALSE(read(whole, expected));
    EXPECT_EQ(SheetText(expected), "'1900-01-01' | 'shared' | 'text'\n1 | 2 | 2\n");
    for (std::size_t size = 0; size < whole.size(); ++size) {
      MemorySheet sheet;
      read(whole.substr(0, size), sheet);
      for (int r = 1; r <= sheet.GetNumberOfRows(); ++r)
        for (int c = 1; c <= sheet.GetNumberOfColumns(); ++c)
          EXPECT_TRUE(sheet.IsMissing(c, r) ||
                      sheet.GetText(c, r) == std::string(expected.GetText(c, r)))
              << size;
    }
  }
}

TEST(ExcelFile, TakesMemoryForItsStringsOnly) {
  std::string strings;
  for (int i = 0; i < 100; ++i) strings += Text8("a text of twenty-six chars");
  std::string globals = Sst(1'000'000, strings);
  for (int i = 0; i < 400; ++i) globals += Record(0x003C, strings);
  std::string cells;
  for (unsigned i = 0; i < 200'000; ++i) cells += Number(i % 65536, i / 65536, i);
  const MemoryFile file(OneSheet(cells, globals));
  const AllocationCounter memory;
  ExcelFile reader;
  ASSERT_EQ(reader.Open(true, file.path(), nullptr), 0);
  EXPECT_LT(memory.Peak(), 40'100U * (27 + 4) + (1U << 20));
}

TEST(ExcelFile, ShufflesBytes) {
  const unsigned char bytes[] = {0xFE, 0xFF, 0xFF, 0xFF, 0, 0, 0xF0, 0x3F};
  EXPECT_EQ(ExcelFile::I1Shuffle(bytes, false), -2);
  EXPECT_EQ(ExcelFile::I2Shuffle(bytes, false), -2);
  EXPECT_EQ(ExcelFile::uI2Shuffle(bytes, true), 0xFEFF);
  EXPECT_EQ(ExcelFile::I4Shuffle(bytes, false), -2);
  EXPECT_EQ(ExcelFile::DShuffle(bytes, false), 1.0 + 0xFFFFFFFE * 0x1p-52);
}

}  // namespace

}  // namespace nvimport

#endif
