#ifdef NVIMPORT_HAS_PACKAGES

#include "nvimport/formats/workbook/OpenDocumentFile.h"
#include "nvimport/platform/NvApp.h"
#include "tests/support/Cases.h"
#include "tests/support/OpenDocumentFixture.h"

namespace nvimport {

namespace {

std::string Read(const std::string& file, const std::string& options = "") {
  OpenDocumentFile reader;
  OpenOptions given(options);
  std::string summary = ImportFile(reader, TempFile(file).path(), given.get()).Summary();
  if (!summary.empty() && summary.back() == '\n') summary.pop_back();
  return summary;
}

TEST(OpenDocumentFile, ReadsCells) {
  const struct {
    const char* why;
    std::string rows;  // of the first table; "c" stands for a cell, "r" for a row
    std::string sheet;
  } kCases[] = {
      {"numbers, with their unit, as they are",
       "<r><c v='float' o:value='1.5'><p>1,50</p></c><c v='percentage' o:value='0.25'/>"
       "<c v='currency' o:currency='EUR' o:value='-2E+3'><p>-2.000 EUR</p></c></r>",
       "1.5 | 0.25 | -2000"},
      {"what is no number is what it shows",
       "<r><c v='float' o:value='NaN'><p>none</p></c><c v='float'><p>7</p></c><c v='float' "
       "o:value='inf'/></r>",
       "'none' | '7' | 'inf'"},
      {"a whole number that no double holds", "<r><c v='float' o:value='9007199254740993'/></r>",
       "9007199254740993"},
      {"dates and times",
       "<r><c v='date' o:date-value='2023-03-15'/><c v='date' "
       "o:date-value='2023-03-15T12:30:15.25'/>"
       "<c v='date' o:date-value='2023-03-15T00:00:00'/><c v='date' "
       "o:date-value='1815-06-18T11:35:00'/>"
       "<c v='date' o:date-value='1815-06-18T00:00:00'/><c v='date' o:date-value='1900-02-03'/></r>"
       "<r><c v='time' o:time-value='PT06H05M00S'/><c v='time' o:time-value='P1DT12H'/>"
       "<c v='time' o:time-value='-PT1H0M0.5S'/><c v='time' o:time-value='P'/></r>",
       "'2023-03-15' | '2023-03-15 12:30:15.250' | '2023-03-15' | '1815-06-18 11:35:00' | "
       "'1815-06-18' | '1900-02-03'\n'06:05:00' | '36:00:00' | '-01:00:00.500' | 'P' | . | ."},
      {"truth, formulas, errors",
       "<r><c v='boolean' o:boolean-value='true'/><c v='boolean' o:boolean-value='false'/>"
       "<c t:formula='of:=1' v='string' o:string-value='xy'><p>xy</p></c><c "
       "t:formula='x'><p/></c>"
       "<c t:formula='x' v='string' o:string-value='' calcext:value-type='error'><p>#X</p></c>"
       "<c t:formula='x' v='float' o:value='0'><p>Err:508</p></c><c v='string'><p>#N/A</p></c></r>",
       "1 | 0 | 'xy' | '' | '' | '' | '#N/A'\n2 errors were delivered as empty texts"},
      {"paragraphs, blanks, what stands at a cell and is none of it",
       "<r><c v='string'><o:annotation><p>no</p></o:annotation><p>one</p><p>two</p></c>"
       "<c v='string'><p>a  b\n <x:s x:c='3'/>c<x:tab/>d<x:line-break/>e</p></c>"
       "<c v='string'><p> <x:span>l<x:a>i</x:a></x:span>nk </p></c><c "
       "v='string'><p>p<o:annotation><p>no</p></o:annotation>q\n  </p></c>"
       "<c><p>untyped</p></c><c v='string'><p>&lt;\xC3\xA9&gt;</p></c><c v='string'/></r>",
       "'one\ntwo' | 'a b    c\td\ne' | 'link ' | 'pq' | 'untyped' | '<\xC3\xA9>' | ''"},
      {"repeated cells and rows; blank ones are none, however many",
       "<t:table-header-rows><r><c/><c t:number-columns-repeated='2' v='float' o:value='7'/>"
       "<c t:number-columns-repeated='16381'/></r></t:table-header-rows>"
       "<r t:number-rows-repeated='2'><c t:number-columns-repeated='3'/></r><t:table-row-group>"
       "<r t:number-rows-repeated='2'><c v='string'><p>x</p></c></r></t:table-row-group>"
       "<r t:number-rows-repeated='1048571'><c t:number-columns-repeated='16384'/></r>",
       ". | 7 | 7\n. | . | .\n. | . | .\n'x' | . | .\n'x' | . | ."},
      {"merged cells",
       "<r><c v='float' o:value='1' t:number-columns-spanned='2'/><t:covered-table-cell/>"
       "<c v='float' o:value='2'/></r><r><t:covered-table-cell v='float' o:value='3'/></r>",
       "1 | . | 2\n3 | . | ."},
      {"what is not known is passed over",
       "<t:shapes><r><c v='float' o:value='8'/></r></t:shapes><!-- > --><r><c v='float' "
       "o:value='1'/></r>",
       "1"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    const OpenDocumentFixture document{{{c.rows}}};
    EXPECT_EQ(Read(document.Flat()), c.sheet);
    EXPECT_EQ(Read(document.Package()), c.sheet);
    // Other prefixes, a comment in each row and blanks between tags leave nothing for the short
    // way.
    EXPECT_EQ(Read(document.Flat("off", "tab", "<!-- -->\n ")), c.sheet);
  }
}

TEST(OpenDocumentFile, TakesTheSheetsChosenEachInItsPlace) {
  const std::string one = "<r><c v='float' o:value='1'/></r>";
  const std::string two = "<r/><r><c/><c v='float' o:value='2'/></r>";
  const OpenDocumentFixture document{{{one, "A", true}, {two, "B"}, {"", "C"}}};
  const auto chosen = [](const std::string& text, int single) {
    return U32(static_cast<std::uint32_t>(text.size())) + text +
           U32(static_cast<std::uint32_t>(single));
  };
  EXPECT_EQ(Read(document.Package(), chosen("1,1", 0)), ". | .\n. | 2") << "the hidden one is last";
  EXPECT_EQ(Read(document.Package(), chosen("1,3,1,3", -1)), "1 | .\n. | .\n. | 2\n1 | .");
  EXPECT_EQ(Read(document.Package(), chosen("0,1,2,3", -1)), ". | . | 1\n. | 2 | .");
  EXPECT_EQ(Read(document.Package(), chosen("1,4", -1)),
            "5 The import options are not valid for this format.");
}

TEST(OpenDocumentFile, RefusesWhatItCannotRead) {
  NvApp::SetName("");
  const OpenDocumentFixture document{{{"<r><c v='float' o:value='1'/></r>"}}};
  const std::string flat = document.Flat();
  std::vector<ZipPart> encrypted = document.Parts();
  encrypted.push_back(
      {"META-INF/manifest.xml",
       "<m:manifest><m:file-entry><m:encryption-data/></m:file-entry></m:manifest>"});
  std::vector<ZipPart> text = document.Parts();
  text[0].bytes = "application/vnd.oasis.opendocument.text";
  const std::string other =
      "3587 This file does not appear to be a valid OpenDocument spreadsheet.";
  const struct {
    const char* why;
    std::string file;
    std::string summary;
  } kCases[] = {
      {"text", "a,b\n", other},
      {"another document", ZipArchive(text), other},
      {"no body", "<office:document/>", other},
      {"cut before a sheet", flat.substr(0, flat.find("<table:table ")),
       "3585 The OpenDocument spreadsheet is damaged. Its content cannot be read."},
      {"cut behind a cell", flat.substr(0, flat.find("</table:table-row>")),
       "3586 The OpenDocument spreadsheet is damaged. Its content breaks off or is invalid.\n1"},
      {"cut package", document.Package().substr(0, 500),
       "3588 The OpenDocument spreadsheet is damaged or incomplete. The directory of its parts "
       "cannot be read."},
      {"encrypted", ZipArchive(encrypted),
       "3589 nvimport-tests cannot read OpenDocument spreadsheets that are encrypted. You will "
       "need to "
       "save it without a password to be able to read the file into nvimport-tests."},
      {"no sheet", OpenDocumentFixture{}.Package(),
       "3590 The OpenDocument spreadsheet does not contain any sheets."},
      {"a column too many",
       OpenDocumentFixture{{{"<r><c t:number-columns-repeated='16384'/><c v='float' "
                             "o:value='1'/></r>"}}}
           .Flat(),
       "3586 The OpenDocument spreadsheet is damaged. Its content breaks off or is invalid."},
      {"more cells than the file is worth",
       OpenDocumentFixture{{{"<r t:number-rows-repeated='1048576'><c "
                             "t:number-columns-repeated='16384' v='float' o:value='1'/></r>"}}}
           .Flat(),
       "6 The file would take more memory or time than a file of its size may."},
  };
  for (const auto& c : kCases) EXPECT_EQ(Read(c.file), c.summary) << c.why;
}

}  // namespace

}  // namespace nvimport

#endif
