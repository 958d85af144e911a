#ifdef NVIMPORT_HAS_PACKAGES

#include "bench/CompoundFileAround.h"
#include "nvimport/formats/workbook/Excel2007File.h"
#include "nvimport/formats/workbook/SheetExtent.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Cases.h"
#include "tests/support/PackageFixture.h"

namespace nvimport {

namespace {

Outcome Read(const std::string& file) {
  Outcome outcome = Import<Excel2007File>(file);
  if (!outcome.sheet.empty()) outcome.sheet.pop_back();  // the last line's end
  return outcome;
}

// A workbook of one worksheet with these rows.
PackageFixture Xml(const std::string& rows) {
  PackageFixture workbook{{{rows}}};
  workbook.strings =
      "<si><t>first</t></si><si><r><t>ri</t></r><rPh><t>no</t></rPh><r><t>ch</t></r></si>";
  workbook.formats = R"(<numFmt numFmtId="164" formatCode="0.0 &quot;d&quot;"/>)"
                     R"(<numFmt numFmtId="165" formatCode="[h]:mm"/>)";
  workbook.styles =
      R"(<xf numFmtId="0"/><xf numFmtId="14"/><xf numFmtId="164"/><xf numFmtId="165"/>)";
  return workbook;
}

PackageFixture Binary(const std::string& rows) {
  PackageFixture workbook{{{rows}}};
  workbook.is_binary = true;
  workbook.strings = BinaryRecord(19, U8(0) + BinaryText(u"first"));
  workbook.formats = BinaryRecord(44, U16(164) + BinaryText(u"yyyy"));
  for (const unsigned format : {0, 14, 164})
    workbook.styles += BinaryRecord(47, U16(0) + U16(format) + std::string(12, '\0'));
  return workbook;
}

TEST(Excel2007File, ReadsXmlCells) {
  const struct {
    const char* why;
    std::string rows;
    const char* sheet;
  } kCases[] = {
      {"numbers", "<row r='1'><c r='A1'><v>1.5</v></c><c r='B1' t='n'><v> -2E+3 </v></c></row>",
       "1.5 | -2000"},
      {"not a number stays a text", "<row><c><v>1.5.2</v></c></row>", "'1.5.2'"},
      {"shared strings, runs joined, phonetic ones left out",
       "<row><c t='s'><v>0</v></c><c t='s'><v>1</v></c></row>", "'first' | 'rich'"},
      {"blanks around a value", "<row><c t='s'><v> 0 </v></c><c t='b'><v>\n1</v></c></row>",
       "'first' | 1"},
      {"places that are none", "<row r='1'><c r=''><v>1</v></c><c r='C'><v>2</v></c></row>",
       "1 | . | 2"},
      {"a shared string that there is not", "<row><c t='s'><v>7</v></c></row>", "''"},
      {"inline strings",
       "<row><c t='inlineStr'><is><t xml:space='preserve'> a </t></is></c>"
       "<c t='inlineStr'><is><r><t>b</t></r><r><t><![CDATA[<1>]]></t></r></is></c></row>",
       "' a ' | 'b<1>'"},
      {"results of formulas",
       "<row><c><f>1+1</f><v>2</v></c><c t='str'><f>x&amp;y</f><v>a&amp;b</v></c>"
       "<c t='str'><f>x</f><v></v></c><c t='b'><v>1</v></c><c t='b'><v>0</v></c></row>",
       "2 | 'a&b' | '' | 1 | 0"},
      {"errors", "<row><c t='e'><v>#N/A</v></c><c><v>1</v></c></row>", "'' | 1"},
      {"dates by style",
       "<row><c s='1'><v>45000</v></c><c s='1'><v>45000.5</v></c><c s='2'><v>3</v></c>"
       "<c s='3'><v>0.25</v></c><c s='9'><v>4</v></c></row>",
       "'2023-03-15' | '2023-03-15 12:00:00' | 3 | '06:00:00' | 4"},
      {"dates in ISO form",
       "<row><c t='d'><v>2021-01-01</v></c><c t='d'><v>2021-01-01T10:10:09.6Z</v></c>"
       "<c t='d'><v>T07:08</v></c><c t='d'><v>2021-13-01</v></c><c "
       "t='d'><v>1900-02-28</v></c></row>",
       "'2021-01-01' | '2021-01-01 10:10:09.600' | '07:08:00' | '2021-13-01' | '1900-02-28'"},
      {"escapes",
       "<row><c t='str'><v>a_x000D_b_x005F_x000D_</v></c><c t='str'><v>_xD83D__xDE00__x00</v></c>"
       "<c t='str'><v>_x0000_c_xZZZZ_</v></c></row>",
       "'a\rb_x000D_' | '\xF0\x9F\x98\x80_x00' | 'c_xZZZZ_'"},
      {"without places cells follow one another",
       "<row><c><v>1</v></c></row><row r='3'><c "
       "r='B3'><v>2</v></c><c><v>3</v></c></row><row><c><v>4</v></c></row>",
       "1 | . | .\n. | . | .\n. | 2 | 3\n4 | . | ."},
      {"blank cells are none, whatever their style",
       "<row r='1'><c r='A1'><v>1</v></c><c r='F1' s='1'/><c r='G1' t='s'><v></v></c></row>"
       "<row r='9'><c r='A9' s='2'></c></row>",
       "1"},
      {"what is not known is passed over",
       "<x><c><v>8</v></c></x><row><c><v>1</v><extLst><v>7</v></extLst></c></row><!-- <row> -->",
       "1"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    std::string rows = c.rows;
    std::ranges::replace(rows, '\'', '"');
    PackageFixture workbook = Xml(rows);
    EXPECT_EQ(Read(workbook.File()).sheet, c.sheet);
    // With another prefix, and before a comment, nothing is taken without the parser.
    std::string commented = rows;
    if (const std::size_t row = rows.find("<row"); row == 0) commented.insert(row, "<!-- > -->");
    EXPECT_EQ(Read(Xml(commented).File()).sheet, c.sheet);
    auto parts = workbook.Parts();
    for (ZipPart& part : parts)
      if (part.name.ends_with("sheet1.xml")) {
        std::string prefixed;
        for (const char* at = part.bytes.c_str(); *at != '\0'; ++at) {
          prefixed += *at;
          const bool is_name = *at == '/' ? at[-1] == '<' : *at == '<';
          if (is_name && (std::isalpha(at[1]) != 0)) prefixed += "p:";
        }
        const std::size_t end = prefixed.find("<p:worksheet xmlns") + 18;
        part.bytes = prefixed.insert(end, ":p");
      }
    EXPECT_EQ(Read(ZipArchive(parts)).sheet, c.sheet);
  }
}

TEST(Excel2007File, ReadsBinaryCells) {
  const std::string text = BinaryText(u"a\u00e9");
  const struct {
    const char* why;
    std::string rows;
    const char* sheet;
  } kCases[] = {
      {"numbers",
       BinaryRow(0) + BinaryCell(2, 0, U32(5U << 2 | 2)) + BinaryCell(2, 1, U32(0x3FF80000)) +
           BinaryCell(5, 2, F64(-2.5)) + BinaryCell(9, 3, F64(7) + U16(0)),
       "5 | 1.5 | -2.5 | 7"},
      {"texts",
       BinaryRow(0) + BinaryCell(6, 0, text) + BinaryCell(7, 1, U32(0)) +
           BinaryCell(8, 2, text + U16(0)) + BinaryCell(62, 3, U8(1) + text + U32(0)) +
           BinaryCell(7, 4, U32(9)),
       "'a\xC3\xA9' | 'first' | 'a\xC3\xA9' | 'a\xC3\xA9' | ''"},
      {"booleans and errors",
       BinaryRow(0) + BinaryCell(4, 0, U8(1)) + BinaryCell(10, 1, U8(0)) + BinaryCell(3, 2, U8(7)) +
           BinaryCell(11, 3, U8(42)),
       "1 | 0 | '' | ''"},
      {"dates", BinaryRow(0) + BinaryCell(5, 0, F64(45000), 1) + BinaryCell(5, 1, F64(45000.5), 2),
       "'2023-03-15' | '2023-03-15 12:00:00'"},
      {"short cells stand behind one another",
       BinaryRow(1) + BinaryCell(2, 1, U32(2)) + BinaryCell(13, 0, U32(6)) + BinaryCell(12, 0, "") +
           BinaryCell(16, 0, F64(3)) + BinaryCell(17, 0, text) + BinaryCell(18, 0, U32(0)) +
           BinaryCell(15, 0, U8(1)) + BinaryCell(14, 0, U8(0)),
       ". | . | . | . | . | . | . | . | .\n. | 0 | 1 | . | 3 | 'a\xC3\xA9' | 'first' | 1 | ''"},
      {"records that are not known, of any length",
       BinaryRow(0) + BinaryRecord(3000, std::string(200'000, '\7')) + BinaryCell(1, 5, "") +
           BinaryRecord(37) + BinaryCell(2, 0, U32(6)) + BinaryRecord(38),
       "1"},
  };
  for (const auto& c : kCases) EXPECT_EQ(Read(Binary(c.rows).File()).sheet, c.sheet) << c.why;
}

TEST(Excel2007File, DatesSince1904) {
  PackageFixture xml = Xml(R"(<row><c s="1"><v>1</v></c></row>)");
  xml.properties = R"(date1904="1")";
  EXPECT_EQ(Read(xml.File()).sheet, "'1904-01-02'");
  PackageFixture binary = Binary(BinaryRow(0) + BinaryCell(5, 0, F64(1), 1));
  binary.properties = "date1904";
  EXPECT_EQ(Read(binary.File()).sheet, "'1904-01-02'");
}

// However an archive is written, and whatever its parts are called, the sheet is the same.
TEST(Excel2007File, FindsPartsInAnyPackage) {
  const PackageFixture workbook =
      Xml(R"(<row><c s="1"><v>45000</v></c><c t="s"><v>0</v></c></row>)");
  const auto sheet_of = [&](auto change, bool is_zip64 = false) {
    auto parts = workbook.Parts();
    for (ZipPart& part : parts) change(part);
    return Read(ZipArchive(parts, is_zip64)).sheet;
  };
  const auto replace = [](std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
      text.replace(at, from.size(), to);
  };
  const std::string sheet = "'2023-03-15' | 'first'";
  EXPECT_EQ(sheet_of([](ZipPart&) {}), sheet);
  EXPECT_EQ(sheet_of([](ZipPart& part) { part.is_packed = false; }), sheet);
  EXPECT_EQ(sheet_of([](ZipPart& part) { part.has_descriptor = true; }), sheet);
  EXPECT_EQ(sheet_of([](ZipPart& part) { part.is_zip64 = true; }, true), sheet);
  EXPECT_EQ(sheet_of([](ZipPart& part) {
              std::ranges::transform(part.name, part.name.begin(), toupper);
            }),
            sheet);
  EXPECT_EQ(sheet_of([](ZipPart& part) { std::ranges::replace(part.name, '/', '\\'); }), sheet);
  EXPECT_EQ(sheet_of([&](ZipPart& part) {
              replace(part.bytes, R"("worksheets/)", R"("/xl/worksheets/)");
              replace(part.bytes, R"("styles)", R"("../xl/./styles)");
            }),
            sheet);
  EXPECT_EQ(sheet_of([&](ZipPart& part) {
              replace(part.name, "xl/", "book/");
              replace(part.bytes, R"("xl/)", R"("book/)");
            }),
            sheet);
  PackageFixture strict = workbook;
  strict.is_strict = true;
  EXPECT_EQ(Read(strict.File()).sheet, sheet);
}

TEST(Excel2007File, RefusesWhatIsNoWorkbook) {
  const PackageFixture good = Xml("<row><c><v>1</v></c></row>");
  const auto changed = [&](const std::string& part_name, auto change) {
    auto parts = good.Parts();
    for (ZipPart& part : parts)
      if (part.name.ends_with(part_name)) change(part);
    return ZipArchive(parts);
  };
  const auto with_rows = [](const std::string& rows) { return Xml(rows).File(); };
  const std::string cell = "<c><v>2</v></c>";
  PackageFixture charts = good;
  charts.sheets[0].type = "chartsheet";
  const struct {
    const char* why;
    std::string file;
    int status;
    const char* sheet;
  } kCases[] = {
      {"a text", "a,b\n", 3331, ""},
      {"half an archive", good.File().substr(0, 400), 3332, ""},
      {"an archive without relationships", ZipArchive({{"a.txt", "b"}}), 3331, ""},
      {"a document of another kind",
       changed("workbook.xml", [](ZipPart& part) { part.bytes = "<document/>"; }), 3331, ""},
      {"another workbook in a compound file", CompoundFileAround(Bof(5)), 3331, ""},
      {"no worksheets", charts.File(), 3334, ""},
      {"relationships cut off",
       changed("workbook.xml.rels", [](ZipPart& part) { part.bytes.resize(200); }), 3329, ""},
      {"a workbook with a document type",
       changed("workbook.xml", [](ZipPart& part) { part.bytes.insert(39, "<!DOCTYPE a []>"); }),
       3329, ""},
      {"styles that are no XML",
       changed("styles.xml", [](ZipPart& part) { part.bytes = "<styleSheet>"; }), 3329, "."},
      {"an encrypted part", changed("sheet1.xml", [](ZipPart& part) { part.flags = 1; }), 3330, ""},
      {"packed in another way", changed("sheet1.xml", [](ZipPart& part) { part.method = 12; }),
       3330, ""},
      {"more bytes than stated: the rest is missing",
       changed("sheet1.xml", [](ZipPart& part) { part.stated_size = 210; }), 3330, ""},
      {"a worksheet that breaks off", with_rows("<row>" + cell + cell + "<c></row>"), 3330,
       "2 | 2"},
      {"a column beyond the last", with_rows("<row>" + cell + R"(<c r="XFE1"><v>1</v></c></row>)"),
       3330, "2"},
      {"a row beyond the last",
       with_rows("<row>" + cell + R"(</row><row r="1048577">)" + cell + "</row>"), 3330, "2"},
      {"elements within elements", with_rows([] {
         std::string deep;
         for (int i = 0; i < 300; ++i) deep += "<a>";
         return deep;
       }()),
       3330, ""},
      {"a tag without end", with_rows(R"(<row a=")" + std::string(3 << 20, 'a')), 3330, ""},
      {"a text without end", with_rows("<row><c t=\"str\"><v>" + std::string(3 << 20, 'a')), 3330,
       ""},
      {"a binary worksheet that breaks off",
       Binary(BinaryRow(0) + BinaryCell(2, 0, U32(6)) + "\7\x7F").File(), 3330, "1"},
      {"a binary text longer than its record",
       Binary(BinaryRow(0) + BinaryCell(2, 0, U32(6)) + BinaryCell(6, 1, U32(0x80000000))).File(),
       3330, "1 | ''"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    const Outcome outcome = Read(c.file);
    EXPECT_EQ(outcome.status, c.status) << outcome.text;
    EXPECT_EQ(outcome.sheet, c.sheet);
  }
}

// What is not there is told, and the rest comes.
TEST(Excel2007File, NotesWhatIsMissing) {
  const PackageFixture good =
      Xml(R"(<row><c t="s"><v>0</v></c><c t="s"><v>9</v></c><c s="1"><v>1</v></c></row>)");
  PackageFixture two = good;
  two.sheets.push_back({"<row><c><v>1</v></c></row>", "other"});
  const auto without = [](const PackageFixture& workbook, const std::string& cut) {
    auto parts = workbook.Parts();
    for (ZipPart& part : parts)
      if (const std::size_t at = part.bytes.find(cut); at != std::string::npos)
        part.bytes.erase(at, cut.size());
    std::erase_if(parts, [&](const ZipPart& part) { return part.name == cut; });
    return Read(ZipArchive(parts)).Summary();
  };
  const std::string one_text = "'first' | '' | '1900-01-01'";
  const std::string lost =
      "1 cell has a shared string that the part \"xl/sharedStrings.xml\" does not hold, and was "
      "delivered as an empty text\n";
  const std::string both =
      "2 cells have shared strings that the part \"xl/sharedStrings.xml\" does not hold, and were "
      "delivered as empty texts\n";
  const std::string unnamed =
      "2 cells have shared strings and the workbook names no part of those, and were delivered as "
      "empty texts\n";
  EXPECT_EQ(without(good, ""), one_text + lost);
  EXPECT_EQ(without(good, "xl/sharedStrings.xml"), "'' | '' | '1900-01-01'" + both);
  EXPECT_EQ(without(good, good.Relationship("rIdT", "sharedStrings", "sharedStrings.xml")),
            "'' | '' | '1900-01-01'" + unnamed);
  EXPECT_EQ(without(good, "xl/styles.xml"),
            "'first' | '' | 1" + lost +
                "1 number has a style that the part \"xl/styles.xml\" does not hold and may be a "
                "date\n");
  EXPECT_EQ(without(Xml(R"(<row><c s="3"><v>1</v></c></row>)"),
                    R"(<numFmt numFmtId="165" formatCode="[h]:mm"/>)"),
            "11 number has a style that the part \"xl/styles.xml\" does not hold and may be a "
            "date\n");
  EXPECT_EQ(without(two, two.Relationship("rId2", "worksheet", "worksheets/sheet2.xml")),
            one_text + lost +
                "1 sheet is none of those that the part \"xl/_rels/workbook.xml.rels\" names, and "
                "not offered\n");
}

TEST(Excel2007File, OffersWorksheetsWithTheHiddenLast) {
  PackageFixture workbook = Xml(R"(<row r="2"><c r="B2"><v>1</v></c></row>)");
  workbook.sheets[0].name = "Secret";
  workbook.sheets[0].state = "veryHidden";
  workbook.sheets.push_back({"", "Chart", "visible", "chartsheet"});
  workbook.sheets.push_back({"<row><c><v>2</v></c></row>", "A &amp; B"});
  workbook.sheets.push_back({"", "Empty"});
  const MemoryFile file(workbook.File());
  ScriptedDialogs dialogs;
  dialogs.items = ItemsChoice{{0, 2}, 0};
  NvImportOpenOptions options{0, nullptr};
  Excel2007File reader;
  ASSERT_EQ(reader.Open(true, file.path(), &options), 0);
  EXPECT_EQ(dialogs.items_questions[0].title, "Select Excel Worksheet");
  EXPECT_EQ(dialogs.items_questions[0].items,
            (std::vector<std::string>{"A & B", "Empty", "Secret"}));
  EXPECT_EQ(dialogs.items_questions[0].details,
            (std::vector<std::string>{"1 x 1", "0 x 0", "2 x 2"}));
  EXPECT_EQ(BytesOf(options), U32(5) + "0,1,3" + U32(0xFFFFFFFF));
  EXPECT_EQ(reader.GetNumCols(), 3);
  EXPECT_EQ(reader.GetNumRows(), 2) << "unlike older workbooks, which have one more";
  MemorySheet sheet;
  EXPECT_EQ(reader.Read(&sheet), 0);
  EXPECT_EQ(SheetText(sheet), "2 | . | .\n. | . | 1\n");

  Excel2007File again;
  dialogs.items.reset();
  ASSERT_EQ(again.Open(true, file.path(), &options), 0);
  EXPECT_EQ(again.GetNumCols(), 3);
  EXPECT_EQ(again.SetCurWorksheet(4), 5);
  EXPECT_EQ(again.SetCurWorksheet({3, 1}), 0);
  EXPECT_EQ(again.GetNumCols(), 3);
  std::vector<std::string> names;
  EXPECT_EQ(again.GetWorksheets(names), 0);
  EXPECT_EQ(names.size(), 3U);
  Excel2007File unanswered;
  EXPECT_EQ(unanswered.Open(true, file.path(), nullptr), 4);
}

// What a few bytes state or unpack to costs nothing, and a cell in the last column no more than one
// in the first.
TEST(Excel2007File, TakesNoMemoryByClaims) {
  const auto peak_of = [](const std::string& bytes, int status) {
    const MemoryFile file(bytes);
    const AllocationCounter counter;
    Excel2007File reader;
    SheetExtent sink;
    reader.Open(true, file.path(), nullptr);
    reader.Read(&sink);
    EXPECT_EQ(reader.GetStatus(), status);
    return counter.Peak();
  };
  constexpr std::size_t kLittle = 2 << 20;
  EXPECT_LT(peak_of(Xml(R"(<row r="1048576"><c r="XFD1048576"><v>1</v></c></row>)").File(), 0),
            kLittle);

  auto parts = Xml(R"(<row><c t="s"><v>4000000000</v></c></row>)").Parts();
  for (ZipPart& part : parts)
    if (part.name.ends_with("sharedStrings.xml"))
      part.bytes.replace(part.bytes.find("<sst"), 4,
                         R"(<sst count="4000000000" uniqueCount="4000000000")");
  EXPECT_LT(peak_of(ZipArchive(parts), 0), kLittle);

  for (ZipPart& part : parts)
    if (part.name.ends_with("sheet1.xml")) part.stated_size = 40 << 20;
  EXPECT_LT(peak_of(ZipArchive(parts), 3335), kLittle);
}

// A worksheet may come as often as somebody wants, but not for nothing.
TEST(Excel2007File, ReadsOneWorksheetAgainForItsCells) {
  const auto status_of = [](const std::string& rows) {
    PackageFixture workbook = Xml(rows);
    workbook.sheets.push_back({"<row><c><v>1</v></c></row>", "other"});
    const MemoryFile file(workbook.File());
    OpenOptions options =
        OpenOptions::Made(Excel2007File::GetImportOptions(std::vector<int>(300, 1), true));
    Excel2007File reader;
    SheetExtent sink;
    reader.Open(true, file.path(), options.get());
    reader.Read(&sink);
    return reader.GetStatus();
  };
  const std::string row = "<row>" + Repeated("<c><v>0</v></c>", 100) + "</row>";
  EXPECT_EQ(status_of(Repeated(row, 150)), 0);
  EXPECT_EQ(status_of("<!--" + std::string(1 << 20, 'x') + "-->" + row), 6);
}

// Those that memory has no room for are as good as the others.
// The size left open: what the first rows tell, the end of the read or a sink that has enough.
TEST(Excel2007File, ReadsWithoutLookingForTheSize) {
  std::string xml;
  std::string binary;
  for (unsigned row = 0; row < 300; ++row) {
    xml += "<row><c><v>" + std::to_string(row) + "</v></c>" +
           (row == 250 ? "<c/><c><v>7</v></c>" : "") + "</row>";
    binary +=
        BinaryRow(row) + BinaryCell(5, 0, F64(row)) + (row == 250 ? BinaryCell(5, 2, F64(7)) : "");
  }
  const struct {
    std::string file;
    int status;
    int rows;
    int all_rows;
  } kCases[] = {
      {Xml(xml).File(), 0, SpreadsheetFile::kOpenSize, 300},
      {Binary(binary).File(), 0, SpreadsheetFile::kOpenSize, 300},
      {Xml("<row><c><v>1</v></c></row>").File(), 0, 1, 1},
      {Xml(xml + "<row r='2000000'><c><v>1</v></c></row>").File(), 3330, SpreadsheetFile::kOpenSize,
       0},
  };
  for (const auto& c : kCases) {
    const TempFile file(c.file);
    Excel2007File reader;
    ASSERT_EQ(reader.Open(true, file.path(), nullptr), 0);
    EXPECT_TRUE(reader.LeaveSizeOpen());
    EXPECT_EQ(reader.GetNumCols(), 1);
    EXPECT_EQ(reader.GetNumRows(), c.rows);
    PickySheet head([](int previous) { return previous < 20 ? previous + 1 : -1; });
    EXPECT_EQ(reader.Read(&head), 0);
    EXPECT_EQ(head.GetNumberOfRows(), std::min(c.rows, 20));
    EXPECT_EQ(reader.GetNumRows(), c.rows);
    MemorySheet sheet;
    EXPECT_EQ(reader.Read(&sheet), c.status);
    if (c.status != 0) continue;
    EXPECT_EQ(SheetText(sheet), Read(c.file).sheet + "\n");
    EXPECT_EQ(reader.GetNumRows(), c.all_rows);
    EXPECT_EQ(reader.GetNumCols(), c.all_rows > 1 ? 3 : 1);
  }
}

TEST(Excel2007File, SharesMoreTextsThanMemoryHolds) {
  constexpr int kTexts = 1200;
  PackageFixture workbook{{{}}};
  for (int i = 0; i < kTexts; ++i) {
    workbook.strings += "<si><t>" + std::to_string(i) + std::string(50'000, 'x') + "</t></si>";
    // Forwards, and far away in turn.
    workbook.sheets[0].data +=
        R"(<row><c t="s"><v>)" + std::to_string(i % 2 == 0 ? i : kTexts - i) + "</v></c></row>";
  }
  class Sink : public MemorySheet {
   public:
    using MemorySheet::Set;
    void Set(int, int row, const char* text) override {
      const int i = row - 1;
      good +=
          text == std::to_string(i % 2 == 0 ? i : kTexts - i) + std::string(50'000, 'x') ? 1 : 0;
    }
    int good = 0;
  } sink;
  const MemoryFile file(workbook.File());
  const AllocationCounter counter;
  Excel2007File reader;
  EXPECT_EQ(reader.Open(true, file.path(), nullptr), 0);
  EXPECT_EQ(reader.Read(&sink), 0);
  EXPECT_EQ(sink.good, kTexts);
  EXPECT_LT(counter.Peak(), std::size_t{40} << 20) << "of 60 MB";

  const std::string before = std::filesystem::temp_directory_path().string();
  ::setenv("TMPDIR", "/nowhere", 1);
  Excel2007File without;
  EXPECT_EQ(without.Open(true, file.path(), nullptr), 0);
  EXPECT_EQ(without.Read(&sink), 6);
  ::setenv("TMPDIR", before.c_str(), 1);
}

}  // namespace

}  // namespace nvimport

#endif
