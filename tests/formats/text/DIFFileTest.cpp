#include <sstream>

#include "nvimport/formats/text/DIFFile.h"
#include "nvimport/platform/CodePages.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

const std::string kHeader = "TABLE\n0,1\n\"t\"\nVECTORS\n0,9\n\"\"\nDATA\n0,0\n\"\"\n";
const std::string kBot = "-1,0\nBOT\n";
const std::string kEod = "-1,0\nEOD\n";

std::string Text(const std::string& text) { return "1,0\n\"" + text + "\"\n"; }

// The status or the sheet, the size asked and the one announced, the notes.
std::string Summary(const std::string& bytes, const DIFRules& rules) {
  struct Announced : MemorySheet {
    void SetDataSize(int columns, int rows) override {
      size = std::to_string(rows) + " x " + std::to_string(columns);
    }
    std::string size;
  };
  const MemoryFile memory(bytes);
  const LogRecorder log;
  DIFFileOEM file(rules);
  if (const int status = file.Open(true, memory.path(), nullptr); status != 0)
    return std::to_string(status);
  const std::string asked =
      std::to_string(file.GetNumRows()) + " x " + std::to_string(file.GetNumCols());
  Announced sheet;
  if (const int status = file.Read(&sheet); status != 0) return std::to_string(status);
  std::string summary = SheetText(sheet) + asked + ", " + sheet.size;
  return summary + "\n" + log.Notes();
}

TEST(DIFFile, ReadsRecords) {
  const struct {
    const char* why;
    std::string records;
    const char* summary;
  } kCases[] = {
      {"numbers and texts", kBot + "0,1.5\nV\n" + Text("a \"b\"") + kBot + "0, -2 \nV\n",
       "'1.5' | 'a \"b\"'\n' -2 ' | .\n2 x 2, 2 x 1\n"},
      {"a comma in the value", kBot + "0,1,5\nV\n", "'1,5'\n1 x 1, 1 x 1\n"},
      {"indicators", kBot + "0,7\ntrue\n0,7\nfalse\n0,7\nW\n", "'1' | '0' | ''\n1 x 3, 1 x 3\n"},
      {"no value: delivered, not counted", kBot + "0,7\nV\n0,7\nERROR\n",
       "'7' | ''\n1 x 1, 1 x 2\n"
       "1 missing cell with the indicator ERROR or NA arrives as an empty text\n"},
      {"other types",
       kBot + "2,0\nx\n-2,0\nBOT\n5,0\nx\n7,0\nx\n-1,1\nBOT\n-1,0\nXXX\n" + Text("a"),
       "'a'\n1 x 1, 1 x 1\n"},
      {"types as they are read leniently", kBot + " +1x,0\n\"a\"\n,5\nV\n01,\n\"\"\n",
       "'a' | '5' | ''\n1 x 3, 1 x 3\n"},
      {"lines that end in CR LF", "-1,0\r\nBOT\r\n0,5\r\nV\r\n1,0\r\n\"a\"\r\n",
       "'5' | 'a'\n1 x 2, 1 x 2\n"},
      {"no rows", "", "0 x 0, 0 x 0\n"},
  };
  for (const auto& c : kCases)
    EXPECT_EQ(Summary(kHeader + c.records + kEod, {}), c.summary) << c.why;
}

// Each rule, what it costs, and what comes without this one.
TEST(DIFFileOEM, CountsWhatItsRulesCost) {
  const std::string long_text(300'000, 'x');
  const struct {
    const char* why;
    bool DIFRules::*rule;
    std::string file;
    std::string kept;
    std::string without;
  } kCases[] = {
      {"TRUE and FALSE", &DIFRules::only_lower_case_truth,
       kHeader + kBot + "0,1\nTRUE\n0,0\nFALSE\n" + kEod,
       "'' | ''\n1 x 2, 1 x 2\n2 cells with the indicators TRUE and FALSE arrive empty\n",
       "'1' | '0'\n1 x 2, 1 x 2\n"},
      {"ERROR and NA", &DIFRules::errors_as_empty_texts,
       kHeader + kBot + "0,0\nERROR\n0,0\nNA\n0,5\nV\n" + kEod,
       "'' | '' | '5'\n1 x 1, 1 x 3\n2 missing cells with the indicators ERROR and NA arrive "
       "as empty texts\n",
       ". | . | '5'\n1 x 1, 1 x 3\n"},
      {"their part in the size", &DIFRules::errors_not_counted,
       kHeader + kBot + "0,5\nV\n0,0\nNA\n" + kEod,
       "'5' | ''\n1 x 1, 1 x 2\n1 missing cell with the indicator ERROR or NA arrives as an "
       "empty text\n",
       "'5' | ''\n1 x 2, 1 x 2\n1 missing cell with the indicator ERROR or NA arrives as an "
       "empty text\n"},
      {"the size announced", &DIFRules::last_row_as_size,
       kHeader + kBot + Text("a") + Text("b") + kBot + Text("c") + kEod,
       "'a' | 'b'\n'c' | .\n2 x 2, 2 x 1\n", "'a' | 'b'\n'c' | .\n2 x 2, 2 x 2\n"},
      {"UTF-8 with a mark", &DIFRules::single_byte_texts,
       "\xEF\xBB\xBF" + kHeader + kBot + Text("\u00E9") + kEod, "771", "'\u00E9'\n1 x 1, 1 x 1\n"},
      {"UTF-8 without one", &DIFRules::single_byte_texts, kHeader + kBot + Text("\u03B1") + kEod,
       "'?\?'\n1 x 1, 1 x 1\n1 text is in UTF-8 and was taken for one in the code page\n",
       "'\u03B1'\n1 x 1, 1 x 1\n"},
      {"what Windows-1252 lacks", &DIFRules::single_byte_texts,
       kHeader + kBot + Text("\xE0\x82") + kEod,
       "'?\xE9'\n1 x 1, 1 x 1\n1 character is not in Windows-1252 and became ?\n",
       "'\u03B1\u00E9'\n1 x 1, 1 x 1\n"},
      {"Windows-1252", &DIFRules::single_byte_texts,
       kHeader + kBot + Text("caf\xE9 \xB5 \x80") + Text("\x84") + kEod,
       "'caf? ? \xC7' | '\xE4'\n1 x 2, 1 x 2\n2 characters are not in Windows-1252 and became ?\n",
       "'caf\u00E9 \u00B5 \u20AC' | '\u201E'\n1 x 2, 1 x 2\n"},
      {"frames and letters in CP437", &DIFRules::single_byte_texts,
       kHeader + kBot + Text("\xC4\xC4\xC4") + Text("25 \xF8") + Text("\xE1") + kEod,
       "'?\?\?' | '25 \xB0' | '\xDF'\n1 x 3, 1 x 3\n"
       "3 characters are not in Windows-1252 and became ?\n",
       "'\u2500\u2500\u2500' | '25 \u00B0' | '\u00DF'\n1 x 3, 1 x 3\n"},
      {"long lines", &DIFRules::short_lines_only,
       kHeader + kBot + Text(long_text) + "0," + long_text + "\r\nV\r\n" + Text("a") + kEod, "770",
       "'" + long_text + "' | '" + long_text + "' | 'a'\n1 x 3, 1 x 3\n"},
      {"a long line in the header", &DIFRules::short_lines_only,
       "TABLE\r\n0,1\n" + long_text + "\nDATA\n0,0\n\n" + kBot + Text("a") + kEod, "769",
       "'a'\n1 x 1, 1 x 1\n"},
      {"line breaks within a text", &DIFRules::texts_on_one_line,
       kHeader + kBot + Text("two\nlines") + Text("\r\n") + "1,0\r\n\"a\r\nb\"\r\n" + kEod, "770",
       "'two\nlines' | '\r\n' | 'a\r\nb'\n1 x 3, 1 x 3\n"},
      {"a quote at the end of one of its lines", &DIFRules::texts_on_one_line,
       kHeader + kBot + Text("5\"\nwide") + Text("5\"\"\r\n\"wide\"") + "0,1\nV\n" + Text("\"") +
           kEod,
       "770", "'5\"\nwide' | '5\"\"\r\n\"wide\"' | '1' | '\"'\n1 x 4, 1 x 4\n"},
      {"a text without quotes", &DIFRules::texts_need_quotes,
       kHeader + kBot + "1,0\nabc\n" + Text("d") + kEod, "770", "'abc' | 'd'\n1 x 2, 1 x 2\n"},
      {"doubled quotes", &DIFRules::quotes_as_they_stand,
       kHeader + kBot + Text(R"(say ""hi"")") + Text(R"("a" "")") + kEod,
       "'say \"\"hi\"\"' | '\"a\" \"\"'\n1 x 2, 1 x 2\n",
       "'say \"hi\"' | '\"a\" \"\"'\n1 x 2, 1 x 2\n"},
  };
  for (const auto& c : kCases) {
    DIFRules rules;
    rules.*c.rule = false;
    EXPECT_TRUE(Summary(c.file, {}) == c.kept) << c.why << "\n"
                                               << Summary(c.file, {}).substr(0, 500);
    EXPECT_TRUE(Summary(c.file, rules) == c.without) << c.why << "\n"
                                                     << Summary(c.file, rules).substr(0, 500);
  }
}

TEST(DIFFile, RefusesWhatIsNoDif) {
  const std::string long_line(2022, 'x');
  const struct {
    const char* why;
    std::string bytes;
    int status;
    const char* sheet = "";
  } kCases[] = {
      {"no comma in the header", "TABLE\n0\n\"\"\n", 769},
      {"no DATA", "TABLE\n0,1\n\"\"\n", 769},
      {"a header line that is too long", "TABLE\n0,1\n" + long_line + "xx\nDATA\n0,0\n\"\"\n", 769},
      {"just as long as may be", "TABLE\n0,1\n" + long_line + "x\n data x\n0,0\n\n" + kEod, 0},
      {"with a CR it is too long", "TABLE\n0,1\n" + long_line + "x\r\nDATA\n0,0\n\"\"\n" + kEod,
       769},
      {"no comma in a record", kHeader + kBot + "0\nV\n" + kEod, 770, ""},
      {"a text without quotes", kHeader + kBot + Text("a") + "1,0\nabc\n" + kEod, 770, "'a'\n"},
      {"one quote", kHeader + kBot + "1,0\n\"\n" + kEod, 770, ""},
      {"no EOD", kHeader + kBot + Text("a"), 770, "'a'\n"},
      {"a text that is too long", kHeader + kBot + Text(long_line) + kEod, 770, ""},
      {"UTF-8 with a mark", "\xef\xbb\xbf" + kHeader, 771},
      {"UTF-16", "T\0A\0B\0L\0E\0"s, 771},
  };
  for (const auto& c : kCases) {
    const Outcome got = Import<DIFFile>(c.bytes);
    EXPECT_EQ(got.status, c.status) << c.why;
    EXPECT_EQ(got.sheet, c.sheet) << c.why;
  }
  DIFFile file;
  for (const bool read : {true, false}) {
    EXPECT_EQ(file.Open(read, "/none/a.dif", nullptr), 768);
    EXPECT_EQ(ErrorText(file), "Failed to open stream for reading.");
    file.Close();
  }
  EXPECT_EQ(file.GetNumRows(), -1);
  MemorySheet sheet;
  EXPECT_EQ(file.Read(&sheet), 3);
  file.Close();
  EXPECT_EQ(file.Write(&sheet), 3);
}

TEST(DIFFile, DeliversOnlyTheRowsThatAreAskedFor) {
  struct Odd : PickySheet {
    Odd() : PickySheet([](int previous) { return previous % 2 == 0 ? previous + 1 : 0; }) {}
    void SetDataSize(int columns, int rows) override {
      announced.emplace_back(columns, rows);
      had_cells = GetNumberOfRows() > 0;
    }
    std::vector<std::pair<int, int>> announced;
    bool had_cells = false;
  };
  std::istringstream stream(kHeader + kBot + Text("a") + Text("b") + kBot + Text("c") + kBot +
                            Text("d") + kEod);
  DIFFile file;
  ASSERT_EQ(file.Open(stream, "title"), 0);
  EXPECT_EQ(file.GetNumRows(), 3);
  Odd sheet;
  EXPECT_EQ(file.Read(&sheet), 0);
  EXPECT_EQ(file.GetTitle(), "t");
  EXPECT_EQ(SheetText(sheet), "'a' | 'b'\n. | .\n'd' | .\n");
  EXPECT_EQ(sheet.announced, (std::vector{std::pair(1, 3)})) << "the last row's cells";
  EXPECT_TRUE(sheet.had_cells) << "after the cells";
}

TEST(DIFFile, WritesBothWays) {
  MemorySheet sheet;
  sheet.Set(1, 1, "caf\xc3\xa9");
  sheet.Set(2, 1, 0.1F);
  sheet.Set(3, 1, 1e20F);
  sheet.Set(1, 2, "a\r\nb");
  sheet.Set(2, 2, 123456.7F);
  sheet.Set(1, 3, "\x80\"");
  const std::string start =
      "TABLE\n0,1\n\"the title\"\nVECTORS\n0,3\n\"\"\nTUPLES\n0,3\n\"\"\nDATA\n0,0\n\"\"\n";
  const std::string empty = "1,0\n\"\"\n";
  const auto written = [&](DIFFile& file) {
    std::ostringstream stream;
    EXPECT_EQ(file.Open(stream, "the title"), 0);
    EXPECT_EQ(file.Write(&sheet), 0);
    return stream.str();
  };
  DIFFile ansi;
  EXPECT_EQ(written(ansi), start + kBot + Text("caf\xc3\xa9") + "0,0.1\nV\n0,1e+20\nV\n" + kBot +
                               Text("a b") + "0,123457\nV\n" + empty + kBot + Text("\x80\"") +
                               empty + empty + kEod);
  const LogRecorder log;
  DIFFileOEM oem;
  EXPECT_EQ(written(oem), start + kBot + Text("caf\x82") + "0,0.1\nV\n0,1e+20\nV\n" + kBot +
                              Text("a\r\nb") + "0,123457\nV\n" + empty + kBot + Text("?\"") +
                              empty + empty + kEod);
  EXPECT_EQ(log.Notes(),
            "1 text with a line break does not read back as it was\n"
            "1 character is not in the code page and became ?\n");
}

TEST(DIFFileOEM, WhatItWritesReadsBack) {
  const TempFolder folder;
  const std::string path = folder.path() + "/out.dif";
  // Every character that both code pages have, and a line as long as may be.
  std::string both;
  for (int byte = 0x20; byte < 0x100; ++byte) {
    std::string text(1, static_cast<char>(byte));
    std::size_t lost = 0;
    if (ToOem(text, lost); lost == 0 && byte != 0x7f) both += text;
  }
  EXPECT_EQ(both.size(), 95U + 54);
  MemorySheet sheet;
  sheet.Set(1, 1, both.c_str());
  sheet.Set(2, 1, std::string(2021, 'x').c_str());
  sheet.Set(1, 2, "");
  sheet.Set(2, 2, "'q'");
  const LogRecorder log;
  DIFFileOEM out;
  ASSERT_EQ(out.Open(false, path.c_str(), nullptr), 0);
  EXPECT_EQ(out.Write(&sheet), 0);
  out.Close();
  EXPECT_TRUE(log.entries().empty());
  DIFFileOEM in;
  EXPECT_EQ(ImportFile(in, path).sheet, SheetText(sheet));

  MemorySheet quotes;
  const char* const kTexts[] = {R"(say ""hi"")", R"("")", "\"", "5\"\nwide\"", "\"\n1,0\""};
  for (int i = 0; i < 5; ++i) quotes.Set(i + 1, 1, kTexts[i]);
  DIFFileOEM complete(DIFRules::Off());
  ASSERT_EQ(complete.Open(false, path.c_str(), nullptr), 0);
  EXPECT_EQ(complete.Write(&quotes), 0);
  complete.Close();
  EXPECT_EQ(ImportFile(complete, path).sheet, SheetText(quotes));

  sheet.Set(2, 1, std::string(2022, 'x').c_str());
  out.Open(false, path.c_str(), nullptr);
  out.Write(&sheet);
  EXPECT_EQ(log.Notes(), "1 text is longer than a line that can be read\n");
}

// Texts that tell their code page late, and rows that are wider than the first one.
TEST(DIFFileOEM, AnOpenSizeGivesTheSameSheet) {
  std::string rows;
  for (int row = 0; rows.size() < 300'000; ++row) rows += kBot + Text("ab") + "0,1.5\nV\n";
  const std::string odd = kBot + Text("\x81") + Text("\xc3\xa9") + Text("c") + Text("\xfc");
  for (const std::string& more : {std::string(), odd, kBot + Text("\xc3\xa9"),
                                  kBot + Text("d\x81") + rows, odd + rows + kBot + Text("\"")}) {
    const MemoryFile memory(kHeader + rows + more + kEod);
    DIFFileOEM sized(DIFRules::Off());
    DIFFileOEM file(DIFRules::Off());
    SCOPED_TRACE(more.substr(0, 40));
    ExpectOpenSizeAgrees(file, sized, memory.path(), /*is_open=*/true);
  }
  const MemoryFile small(kHeader + kBot + kEod);
  DIFFileOEM file(DIFRules::Off());
  ASSERT_EQ(file.Open(true, small.path(), nullptr), 0);
  EXPECT_FALSE(file.LeaveSizeOpen());
}

TEST(DIFFile, ReadsEveryPrefixAndAcrossBlocks) {
  std::string whole = kHeader + kBot;
  const MemoryFile file;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    file.Put(whole.substr(0, size));
    for (const DIFRules& rules : {DIFRules{}, DIFRules::Off()}) {
      DIFFileOEM dif(rules);
      const int status = ImportFile(dif, file.path()).status;
      EXPECT_EQ(status, size + 2 < kHeader.size() ? 769 : 770) << size;
    }
  }
  // Lines of every length, so that the ends of blocks fall everywhere.
  std::string expected;
  for (int i = 0; i < 1000; ++i) {
    const std::string text(static_cast<std::size_t>(i * 7 % 2000), static_cast<char>('a' + i % 26));
    whole += Text(text);
    expected += (i > 0 ? " | '" : "'") + text + "'";
  }
  file.Put(whole + kEod);
  for (const DIFRules& rules : {DIFRules{}, DIFRules::Off()}) {
    DIFFile dif(rules);
    const Outcome got = ImportFile(dif, file.path());
    EXPECT_EQ(got.status, 0);
    EXPECT_TRUE(got.sheet == expected + "\n");
  }
}

}  // namespace

}  // namespace nvimport
