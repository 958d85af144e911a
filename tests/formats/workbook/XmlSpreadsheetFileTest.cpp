#ifdef NVIMPORT_HAS_PACKAGES

#include "nvimport/formats/workbook/XmlSpreadsheetFile.h"
#include "tests/support/BiffFixture.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

const std::string kHead =
    "<?xml version=\"1.0\"?><?mso-application progid=\"Excel.Sheet\"?>"
    "<Workbook xmlns=\"urn:schemas-microsoft-com:office:spreadsheet\" "
    "xmlns:ss=\"urn:schemas-microsoft-com:office:spreadsheet\">";

std::string Sheet(const std::string& rows, const std::string& name = "S",
                  const std::string& options = "") {
  return "<Worksheet ss:Name=\"" + name + "\"><Table>" + rows + "</Table>" + options +
         "</Worksheet>";
}

std::string Summary(const std::string& file, const std::string& options = "") {
  XmlSpreadsheetFile reader;
  OpenOptions given(options);
  std::string summary = ImportFile(reader, TempFile(file).path(), given.get()).Summary();
  if (!summary.empty() && summary.back() == '\n') summary.pop_back();
  return summary;
}

TEST(XmlSpreadsheetFile, ReadsCells) {
  const std::string styles =
      "<Styles><Style ss:ID='d'><NumberFormat ss:Format='Short Date'/></Style><Style "
      "ss:ID='e'><NumberFormat ss:Format='[h]:mm:ss'/></Style></Styles>";
  const struct {
    const char* why;
    std::string before;
    std::string rows;
    std::string sheet;
  } kCases[] = {
      {"every type", "",
       "<Row><Cell><Data ss:Type='Number'>1.5</Data></Cell><Cell><Data "
       "ss:Type='Number'>9007199254740993</Data></Cell><Cell><Data "
       "ss:Type='Boolean'>1</Data></Cell>"
       "<Cell ss:Formula='=1/0'><Data ss:Type='Error'>#DIV/0!</Data></Cell>"
       "<Cell><Data ss:Type='Number'>n/a</Data></Cell></Row>",
       "1.5 | 9007199254740993 | 1 | '' | 'n/a'\n1 error was delivered as an empty text"},
      {"texts, with fonts, and notes that are none of them", "",
       "<Row><Cell><Data ss:Type='String'>a&#10;b &lt;</Data><Comment><ss:Data>no</ss:Data>"
       "</Comment></Cell><Cell><ss:Data ss:Type='String' xmlns='h'><B>bo<I>l</I>d</B> x</ss:Data>"
       "</Cell><Cell><Data ss:Type='String'></Data></Cell><Cell><Data "
       "ss:Type='Number'/></Cell></Row>",
       "'a\nb <' | 'bold x' | ''"},
      {"dates", styles,
       "<Row><Cell ss:StyleID='d'><Data ss:Type='DateTime'>2023-03-15T00:00:00.000</Data></Cell>"
       "<Cell><Data ss:Type='DateTime'>2023-03-15T12:30:15.250</Data></Cell>"
       "<Cell><Data ss:Type='DateTime'>1899-12-31T06:00:00.000</Data></Cell>"
       "<Cell ss:StyleID='e'><Data ss:Type='DateTime'>1900-01-01T12:00:00.000</Data></Cell>"
       "<Cell ss:StyleID='e'><Data ss:Type='DateTime'>1899-12-31T01:00:00.000</Data></Cell></Row>",
       "'2023-03-15' | '2023-03-15 12:30:15.250' | '06:00:00' | '36:00:00' | '01:00:00'"},
      {"times where days begin in 1904", "<ExcelWorkbook><Date1904/></ExcelWorkbook>",
       "<Row><Cell><Data ss:Type='DateTime'>1904-01-01T06:00:00.000</Data></Cell></Row>",
       "'06:00:00'"},
      {"places", "",
       "<Column ss:Index='2'/><Row ss:Index='2'><Cell ss:MergeAcross='1'><Data "
       "ss:Type='Number'>1</Data></Cell><Cell><Data ss:Type='Number'>2</Data></Cell></Row>"
       "<Row ss:Span='1'/><Row><Cell ss:Index='2'><Data ss:Type='Number'>3</Data></Cell>"
       "<Cell ss:StyleID='d'/></Row>",
       ". | . | .\n1 | . | 2\n. | . | .\n. | . | .\n. | 3 | ."},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    std::string file = kHead + c.before + Sheet(c.rows) + "</Workbook>";
    std::ranges::replace(file, '\'', '"');
    EXPECT_EQ(Summary(file), c.sheet);
  }
}

TEST(XmlSpreadsheetFile, TakesEncodingsSheetsAndNothingElse) {
  const std::string one = "<Row><Cell><Data ss:Type=\"Number\">1</Data></Cell></Row>";
  const std::string two = "<Row><Cell><Data ss:Type=\"String\">\xE4\x80</Data></Cell></Row>";
  const std::string hidden =
      "<WorksheetOptions xmlns=\"x\"><Visible>SheetHidden</Visible></WorksheetOptions>";
  std::string ansi =
      kHead + Sheet(one, "A", hidden) + Sheet(two, "B") + Sheet("", "C") + "</Workbook>";
  ansi.replace(0, 21, R"(<?xml version="1.0" encoding="Windows-1252"?>)");
  const std::string first = U32(1) + "1" + U32(0);
  EXPECT_EQ(Summary(ansi, first), "'\xC3\xA4\xE2\x82\xAC'");
  EXPECT_EQ(Summary(ansi, U32(3) + "1,4" + U32(0xFFFFFFFF)),
            "5 The import options are not valid for this format.");
  EXPECT_EQ(Summary(ansi, U32(5) + "0,3,1" + U32(0xFFFFFFFF)), "1 | '\xC3\xA4\xE2\x82\xAC'");
}

TEST(XmlSpreadsheetFile, RefusesWhatItCannotRead) {
  const std::string cell = "<Row><Cell><Data ss:Type=\"Number\">1</Data></Cell></Row>";
  const std::string file = kHead + Sheet(cell) + "</Workbook>";
  const std::string other = "3843 This file does not appear to be a valid XML spreadsheet of 2003.";
  const std::string damaged = "3842 The XML spreadsheet is damaged. It breaks off or is invalid.";
  const ImportCase kCases[] = {
      {"text", "a,b\n", other},
      {"another document", "<Workbook xmlns=\"x\"/>", other},
      {"cut before its worksheets", kHead,
       "3841 The XML spreadsheet is damaged. It cannot be read."},
      {"cut behind a cell", file.substr(0, file.size() - 20), damaged + "\n1"},
      {"none", kHead + "</Workbook>", "3846 The XML spreadsheet does not contain any worksheets."},
      {"a column too many",
       kHead +
           Sheet(R"(<Row><Cell ss:Index="16385"><Data ss:Type="Number">1</Data></Cell></Row>)") +
           "</Workbook>",
       damaged},
  };
  for (const auto& c : kCases) EXPECT_EQ(Summary(c.bytes), c.summary) << c.why;
}

}  // namespace

}  // namespace nvimport

#endif
