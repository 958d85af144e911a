// What files say of themselves, format by format: each statement, each key, and no harm in damage.

#include <gtest/gtest.h>

#include <ctime>
#include <set>
#include <tuple>

#include "nvimport/formats/DescriptionKeys.h"
#include "nvimport/formats/matrix/MatFile.h"
#include "nvimport/formats/text/CsvFile.h"
#include "nvimport/formats/text/DIFFile.h"
#include "nvimport/formats/text/LotusFile.h"
#include "nvimport/formats/text/TextFile.h"
#include "nvimport/formats/workbook/Excel2007File.h"
#include "nvimport/formats/workbook/ExcelFile.h"
#include "nvimport/formats/workbook/OpenDocumentFile.h"
#include "nvimport/formats/workbook/TivonFile.h"
#include "nvimport/formats/workbook/XmlSpreadsheetFile.h"
#ifdef NVIMPORT_HAS_HTML
#include "plugins/complete/HtmlFile.h"
#endif
#include "tests/support/AllocationCounter.h"
#include "tests/support/Described.h"
#include "tests/support/Samples.h"
#include "tests/support/SummaryFixture.h"
#if __has_include(<gsf/gsf-outfile.h>)
#include "tests/support/CompoundWriter.h"
#define HAS_COMPOUND_FILES
#endif
#ifdef NVIMPORT_HAS_PACKAGES
#include "tests/support/MatFixture.h"
#include "tests/support/OpenDocumentFixture.h"
#include "tests/support/PackageFixture.h"
#endif

namespace nvimport {

namespace {

void AddTexts(std::vector<Described>& all) {
  const auto text = By<TextFile>();
  const auto csv = By<CsvFile>();
  const auto add = [&](const char* why, const auto& reader, std::string bytes, std::string expected,
                       std::string options = {}) {
    all.push_back(
        {"Text and CSV", why, reader, std::move(bytes), std::move(expected), std::move(options)});
  };
  const std::string ascii = "encoding [encoding] = US-ASCII\n";
  const std::string lf = "line ends [line-ends] = LF\n";
  const std::string tab = "delimiter [delimiter] = tab\n";
  add("nothing", text, "", "");
  add("one word", text, "x", ascii);
  add("a table", text, "a\tb\n", ascii + lf + tab);
  add("lines without their delimiter", text, "a,b\r\n", ascii + "line ends [line-ends] = CR LF\n");
  add("umlauts, of which one lies across two reads", text,
      std::string(256 * 1024 - 1, 'x') + "\xC3\xA4\tb", "encoding [encoding] = UTF-8\n" + tab);
  add("what shows no encoding", text, "\xE4\n", lf);
  add("a character that breaks off", text, "\xC3", "");
  add("a mark", text, "\xEF\xBB\xBFx\ry\nz\r\n",
      "byte order mark [byte-order-mark] = EF BB BF\nencoding [encoding] = UTF-8\n"
      "line ends [line-ends] = mixed: 1 CR LF, 1 LF, 1 CR\n");
  add("UTF-16", csv, "\xFF\xFE" + Wide(u"ä;b\r"),
      "byte order mark [byte-order-mark] = FF FE\nencoding [encoding] = UTF-16LE\n"
      "line ends [line-ends] = CR\ndelimiter [delimiter] = semicolon\n");
  add("quotes around all that would mislead", csv, "\"a\r\n\"\",\"\n", ascii + lf);
  add("a delimiter behind quotes", csv, "\"a\"\"\n\",b\n",
      ascii + lf + "delimiter [delimiter] = comma\n");
  add("a named delimiter, another given", csv, "sep=;\na;b|c\n",
      ascii + lf + "sep= [delimiter] = semicolon\ndelimiter [delimiter] = bar\n" +
          "header row [header-row] = left out\n",
      "delimiter=bar;header=0");
  add("no quotes", csv, "\"a,\n", ascii + lf + "delimiter [delimiter] = comma\n", "quote=none");
}

void AddWorksheets(std::vector<Described>& all) {
  const std::string dif =
      "TABLE\n0,1\n\"M\x81sli\"\nLABEL\n1,0\n\"x\"\nCOMMENT\n0,0\n\"by hand\"\nVECTORS\n0,2\n"
      "\"columns\"\nTUPLES\n0,1\n\"rows\"\nDATA\n0,0\n\"data\"\n-1,0\nBOT\n0,1\nV\n-1,0\nEOD\n";
  const std::string said =
      "LABEL [] = 1,0 x\nCOMMENT [comment] = by hand\nVECTORS [stated-columns] = 2\n"
      "VECTORS comment [comment] = columns\nTUPLES [stated-rows] = 1\n"
      "TUPLES comment [comment] = rows\nDATA comment [comment] = data\n";
  all.push_back({"DIF", "kept", By<DIFFileOEM>(), dif,
                 "TABLE version [version] = 1\nTABLE [title] = M\xFCsli\n" + said});
  all.push_back({"DIF", "complete", By<DIFFileOEM>(DIFRules::Off()), dif,
                 "TABLE version [version] = 1\nTABLE [title] = Müsli\n" + said});
  all.push_back({"DIF", "a size that is no number", By<DIFFile>(),
                 "VECTORS\n0,many\n\"\"\nDATA\n0,0\n\"\"\n", ""});

  const auto lotus = [&](unsigned version, const std::string& range) {
    return Record(0, U16(version)) + range + Record(1);
  };
  const std::string range = Record(6, U16(1) + U16(2) + U16(26) + U16(9));
  const std::string stated = "RANGE [stated-range] = B3:AA10\n";
  all.push_back({"Lotus 1-2-3", "WKS", By<LotusFile>(), lotus(0x0404, range),
                 "BOF [version] = Lotus 1-2-3 release 1A (WKS)\n" + stated});
  all.push_back({"Lotus 1-2-3", "no range", By<LotusFile>(LotusRules::Off()),
                 lotus(0x0405, Record(6, U16(0xFFFF) + U16(0) + U16(0xFFFF) + U16(0))),
                 "BOF [version] = Symphony 1.0 (WRK)\n"});
}

// A worksheet that stands alone and whole workbooks, in files without summaries.
void AddWorkbooks(std::vector<Described>& all) {
  const auto kept = By<ExcelFile>();
  const auto complete = By<ExcelFile>(ExcelRules::Off());
  const std::string size =
      "DIMENSIONS [stated-range] = A1:I9\nfound columns [found-columns] = 3\n"
      "found rows [found-rows] = 4\n";
  all.push_back({"Workbook", "BIFF4", kept, SheetFile(0x0409, Number(3, 2, 1)),
                 "BOF [version] = BIFF4\n" + size});
  WorkbookFixture book{
      .sheets = {{.cells = Number(0, 0, 1), .rows = 5, .columns = 1, .name = "H\xE4lfte"},
                 {.name = "Hidden"},
                 {.name = "Very"},
                 {.name = "Chart", .type = 2}},
      .globals = Record(0x0022, U16(1)) + Record(0x0042, U16(1252)),
      .is_biff8 = false};
  std::string bytes = book.Stream();
  bytes[bytes.find("Hidden") - 3] = '\1';
  bytes[bytes.find("Very") - 3] = '\2';
  all.push_back({"Workbook", "BIFF5", complete, bytes,
                 "BOF [version] = BIFF5\nDATEMODE [date-system] = 1904\n"
                 "CODEPAGE [code-page] = 1252\nBOUNDSHEET [worksheet] = Hälfte\n"
                 "DIMENSIONS [stated-range] = A1:A5\nfound columns [found-columns] = 1\n"
                 "found rows [found-rows] = 1\nBOUNDSHEET hidden [hidden-worksheet] = Hidden\n"
                 "BOUNDSHEET very hidden [very-hidden-worksheet] = Very\n"});
  const std::string sheet = SheetFile(0x0409, Number(3, 2, 1));
  const std::string name = U32(static_cast<std::uint32_t>(sheet.size())) + U8(1) + "W";
  all.push_back(
      {"Workbook", "BIFF4 workspace", complete,
       Record(0x0409, U16(0) + U16(0x0100) + U16(0)) + Record(0x008F, name) + sheet + Eof(),
       "BOF [version] = BIFF4\nBUNDLEHEADER [worksheet] = W\n" + size});
}

#ifdef HAS_COMPOUND_FILES
void AddCompoundFiles(std::vector<Described>& all) {
  constexpr std::uint64_t kTime = 133'540'953'370'000'000;  // 2024-03-05T06:55:37Z
  const std::string summary = PropertySets({{kSummaryId,
                                             {{1, Page(1251)},
                                              {2, Lpstr("\xD2\xE5\xF1\xF2")},
                                              {2, Lpstr("twice")},
                                              {3, Lpwstr(u"Über")},
                                              {4, Lpstr("A")},
                                              {5, Lpstr("k, w")},
                                              {6, Lpstr("two\r\nlines")},
                                              {7, Lpstr("t.xlt")},
                                              {8, Lpstr("B")},
                                              {9, Lpstr("3")},
                                              {10, Filetime(900'000'000)},
                                              {11, Filetime(0)},
                                              {12, Filetime(kTime)},
                                              {13, Filetime(kTime + 2'500'000)},
                                              {14, U32(3) + U32(0)},
                                              {18, Lpstr("App")}}}});
  const std::string printed = PropertySets({{kSummaryId, {{2, Lpstr("  ")}, {11, Filetime(1)}}}});
  const std::string document = PropertySets(
      {{kDocumentId,
        {{1, Page(1200)},
         {2, U32(30) + U32(4) + Wide(u"C") + U16(0)},
         {14, Lpwstr(u"M")},
         {15, Lpwstr(u"Co")},
         {23, U32(3) + U32(0x000B0011)},
         {26, Lpwstr(u"ct")},
         {27, Lpwstr(u"cs")},
         {28, Lpwstr(u"de")},
         {29, Lpwstr(u"1.0")}}},
       {kUsersId,
        {{0, U32(5) + U32(2) + U32(3) + "Ja\0"s + U32(3) + U32(2) + "N\0"s + U32(4) + U32(2) +
                 "D\0"s + U32(5) + U32(2) + "T\0"s + U32(6) + U32(2) + "U\0"s},
         {1, Page(1252)},
         {2, U32(11) + U32(0xFFFF)},
         {3, U32(5) + F64(0.1)},
         {4, U32(7) + F64(45356.25)},
         {5, Filetime(kTime)},
         {6, Lpstr("\xFC")},
         {7, Lpstr("nameless")}}}});
  const std::string stated =
      "Title [title] = Тест\nSubject [subject] = Über\nAuthor [author] = A\n"
      "Keywords [keywords] = k, w\nComments [comment] = two\r\nlines\nTemplate [template] = t.xlt\n"
      "Last Saved By [last-author] = B\nRevision Number [revision] = 3\n"
      "Total Editing Time [editing-time] = 1.5\n"
      "Create Time/Date [created] = 2024-03-05T06:55:37Z\n"
      "Last Saved Time/Date [modified] = 2024-03-05T06:55:37.25Z\n"
      "Name of Creating Application [application] = App\n"
      "Category [category] = C\nManager [manager] = M\nCompany [company] = Co\n"
      "Version [application-version] = 11.0017\nContent Type [content-type] = ct\n"
      "Content Status [content-status] = cs\nDocument Language [language] = de\n"
      "Document Version [document-version] = 1.0\nJa [] = true\nN [] = 0.1\n"
      "D [] = 2024-03-05T06:00:00\nT [] = 2024-03-05T06:55:37Z\nU [] = ü\n";
  const std::string book = WorkbookFixture{{{.cells = Number(0, 0, 1)}}}.Stream();
  all.push_back({"Workbook", "summaries", By<ExcelFile>(),
                 WriteCompoundFile({{"Workbook", book},
                                    {"\5SummaryInformation", summary},
                                    {"\5DocumentSummaryInformation", document},
                                    {"Object/\5SummaryInformation", printed}}),
                 stated + "BOF [version] = BIFF8\nBOUNDSHEET [worksheet] = Sheet\n"
                          "DIMENSIONS [stated-range] = A1:B2\nfound columns [found-columns] = 1\n"
                          "found rows [found-rows] = 1\n"});
  all.push_back({"Workbook", "blank summaries", By<TivonFile>(),
                 WriteCompoundFile({{"w.dat", "a"}, {"\5SummaryInformation", printed}}),
                 "encoding [encoding] = US-ASCII\n"
                 "Last Printed [printed] = 1601-01-01T00:00:00.0000001Z\n"
                 "stream [worksheet] = w.dat\n"});
  all.push_back({"TIVON", "a stream", By<TivonFile>(), WriteCompoundFile({{"Sub/W.DAT", "a\tb\n"}}),
                 "encoding [encoding] = US-ASCII\nline ends [line-ends] = LF\n"
                 "delimiter [delimiter] = tab\nstream [worksheet] = W.DAT\n"});
}
#endif

#ifdef NVIMPORT_HAS_PACKAGES
// The package with these parts behind its own, named by relationships of these types, and something
// put before the rows of its worksheets.
std::string PackageWith(const PackageFixture& package, const std::vector<ZipPart>& properties,
                        const std::vector<std::string>& types, const std::string& before_rows) {
  std::vector<ZipPart> parts = package.Parts();
  std::string references =
      package.Relationship("rId1", "officeDocument", "xl/workbook" + package.Extension());
  for (std::size_t i = 0; i < types.size(); ++i)
    references += package.Relationship("p" + std::to_string(i), types[i], properties[i].name);
  const std::string rows = package.is_binary ? BinaryRecord(145) : "<sheetData>";
  for (ZipPart& part : parts) {
    if (part.name == "_rels/.rels") part.bytes = PackageFixture::Relationships(references);
    if (part.name.starts_with("xl/worksheets"))
      part.bytes.insert(part.bytes.find(rows), before_rows);
  }
  parts.insert(parts.end(), properties.begin(), properties.end());
  return ZipArchive(parts);
}

void AddOpenDocuments(std::vector<Described>& all) {
  const std::string meta =
      "<meta:initial-creator>A</meta:initial-creator><dc:title> T&amp;T </dc:title>"
      "<dc:subject>S</dc:subject><dc:description>two\nlines</dc:description>"
      "<meta:keyword>k</meta:keyword><meta:keyword>l</meta:keyword><dc:creator>B</dc:creator>"
      "<dc:date>2024-03-05T06:55:37.123</dc:date><meta:creation-date>2024-03-05</"
      "meta:creation-date>"
      "<meta:print-date>yesterday</meta:print-date><meta:print-date>2024-03</meta:print-date>"
      "<meta:generator>App</meta:generator><dc:language>de</dc:language>"
      "<meta:editing-cycles>3</meta:editing-cycles><meta:editing-duration>PT1M</"
      "meta:editing-duration><meta:document-statistic/>"
      "<meta:user-defined meta:name=\"title\">mine</meta:user-defined>";
  const OpenDocumentFixture document{
      {{"", "H", true}, {"<r><c/><c v='float' o:value='1'/></r>", "One"}, {"", "Two"}}, meta};
  const std::string said =
      "initial-creator [author] = A\ntitle [title] = T&T\nsubject [subject] = S\n"
      "description [comment] = two\nlines\nkeyword [keywords] = k\nkeyword [keywords] = l\n"
      "creator [last-author] = B\ndate [modified] = 2024-03-05T06:55:37.123\n"
      "creation-date [created] = 2024-03-05\nprint-date [] = yesterday\n"
      "print-date [printed] = 2024-03\ngenerator [application] = App\nlanguage [language] = de\n"
      "editing-cycles [revision] = 3\nediting-duration [editing-time] = PT1M\n"
      "title [] = mine\nworksheet hidden [hidden-worksheet] = H\nworksheet [worksheet] = One\n"
      "found columns [found-columns] = 2\nfound rows [found-rows] = 1\n"
      "worksheet [worksheet] = Two\n";
  all.push_back({"OpenDocument", "package", By<OpenDocumentFile>(), document.Package(), said});
  all.push_back({"OpenDocument", "flat", By<OpenDocumentFile>(), document.Flat(), said});
}

void AddXmlSpreadsheets(std::vector<Described>& all) {
  const std::string properties =
      "<Title>T&amp;T</Title><Subject>S</Subject><Author>A</Author><Keywords>k</Keywords>"
      "<Description>d</Description><LastAuthor>B</LastAuthor><Revision>3</Revision>"
      "<TotalTime>12</TotalTime><LastPrinted>never</LastPrinted><LastPrinted>2024-03</LastPrinted>"
      "<Created>2024-03-05T06:55:37Z</Created><LastSaved>2024-03-06</LastSaved>"
      "<Category>c</Category><Manager>M</Manager><Company>Co</Company><Version>16.00</Version>";
  all.push_back(
      {"XML Spreadsheet 2003", "document", By<XmlSpreadsheetFile>(),
       "<w:Workbook xmlns:w=\"urn:schemas-microsoft-com:office:spreadsheet\"><DocumentProperties>" +
           properties +
           "</DocumentProperties><Worksheet w:Name=\"One\"><Table><Row><Cell w:Index=\"2\">"
           "<Data>x</Data></Cell></Row></Table></Worksheet><Worksheet w:Name=\"H\">"
           "<WorksheetOptions><Visible>SheetHidden</Visible></WorksheetOptions></Worksheet>"
           "</w:Workbook>",
       "Title [title] = T&T\nSubject [subject] = S\nAuthor [author] = A\nKeywords [keywords] = k\n"
       "Description [comment] = d\nLastAuthor [last-author] = B\nRevision [revision] = 3\n"
       "TotalTime [editing-time] = 12\nLastPrinted [] = never\nLastPrinted [printed] = 2024-03\n"
       "Created [created] = 2024-03-05T06:55:37Z\nLastSaved [modified] = 2024-03-06\n"
       "Category [category] = c\nManager [manager] = M\nCompany [company] = Co\n"
       "Version [application-version] = 16.00\nworksheet [worksheet] = One\n"
       "found columns [found-columns] = 2\nfound rows [found-rows] = 1\n"
       "worksheet hidden [hidden-worksheet] = H\n"});
}

#ifdef NVIMPORT_HAS_HTML
void AddPages(std::vector<Described>& all) {
  all.push_back({"HTML", "a page", By<HtmlFile>(),
                 "<html><head><title> T&amp;T\n</title><meta name=Author content=A><meta "
                 "name=description content=d><meta name=keywords content=k><meta name=generator "
                 "content=App><meta name=robots content=none><meta name=title content=no></head>"
                 "<table><caption>One</caption><tr><td>1<td>2</table>",
                 "title [title] = T&T\nauthor [author] = A\ndescription [comment] = d\n"
                 "keywords [keywords] = k\ngenerator [application] = App\n"
                 "worksheet [worksheet] = One\nfound columns [found-columns] = 2\n"
                 "found rows [found-rows] = 1\n"});
}
#endif

void AddPackages(std::vector<Described>& all) {
  const auto package = By<Excel2007File>();
  const std::string core =
      "<cp:coreProperties xmlns:cp=\"c\" xmlns:dc=\"d\" xmlns:t=\"t\"><dc:title> T&amp;T "
      "</dc:title>"
      "<dc:subject>S</dc:subject><dc:creator>A</dc:creator><cp:keywords>k</cp:keywords>"
      "<dc:description>two\nlines</dc:description><cp:lastModifiedBy>B</cp:lastModifiedBy>"
      "<cp:revision>3</cp:revision><cp:lastPrinted>yesterday</cp:lastPrinted>"
      "<cp:lastPrinted>2024-03-05T06:55:37.5+01:00</cp:lastPrinted>"
      "<t:created>2024-03-05T06:55:37Z</t:created><t:modified>2024-03</"
      "t:modified><t:modified>2024-03-05T06:55-05:00</t:modified>"
      "<cp:category/><cp:category>c</cp:category><cp:contentType>ct</cp:contentType>"
      "<cp:contentStatus>cs</cp:contentStatus><dc:language>de</dc:language>"
      "<cp:version>1.0</cp:version><dc:rights>none</dc:rights></cp:coreProperties>";
  const std::string extended =
      "<Properties><Template>t</Template><Manager>M</Manager><Company>Co</Company>"
      "<TitlesOfParts><v:vector xmlns:v=\"v\"><v:lpstr>S</v:lpstr></v:vector></TitlesOfParts>"
      "<TotalTime>0</TotalTime><TotalTime>12</TotalTime><Application>App</Application>"
      "<AppVersion>12.0000</AppVersion></Properties>";
  const std::string custom =
      "<Properties xmlns:v=\"v\"><property name=\"Title\"><v:lpwstr>mine</v:lpwstr></property>"
      "<property name=\"n\"><v:i4>5</v:i4></property><property name=\"no\"/></Properties>";
  const std::string said =
      "title [title] = T&T\nsubject [subject] = S\ncreator [author] = A\nkeywords [keywords] = k\n"
      "description [comment] = two\nlines\nlastModifiedBy [last-author] = B\n"
      "revision [revision] = 3\nlastPrinted [] = yesterday\n"
      "lastPrinted [printed] = 2024-03-05T06:55:37.5+01:00\n"
      "created [created] = 2024-03-05T06:55:37Z\nmodified [modified] = 2024-03\nmodified "
      "[modified] = 2024-03-05T06:55-05:00\n"
      "category [category] = c\ncontentType [content-type] = ct\n"
      "contentStatus [content-status] = cs\nlanguage [language] = de\n"
      "version [document-version] = 1.0\nTemplate [template] = t\nManager [manager] = M\n"
      "Company [company] = Co\nTotalTime [editing-time] = 12\nApplication [application] = App\n"
      "AppVersion [application-version] = 12.0000\nTitle [] = mine\nn [] = 5\n";
  PackageFixture xml{{{R"(<row r="4"><c r="C4"><v>1</v></c></row>)", "Two", "hidden"},
                      {"", "One"},
                      {"", "Three", "veryHidden"}}};
  xml.properties = "date1904=\"1\"";
  const std::string sheets =
      "date1904 [date-system] = 1904\nsheet hidden [hidden-worksheet] = Two\n"
      "sheet [worksheet] = One\ndimension [stated-range] = B2:D4\n"
      "found columns [found-columns] = 0\nfound rows [found-rows] = 0\n"
      "sheet veryHidden [very-hidden-worksheet] = Three\n";
  all.push_back(
      {"Workbook", "XML", package,
       PackageWith(xml,
                   {{"docProps/core.xml", core},
                    {"docProps/app.xml", extended},
                    {"docProps/custom.xml", custom}},
                   {"metadata/core-properties", "extended-properties", "custom-properties"},
                   "<dimension ref=\"B2:D4\"/>"),
       said + sheets});
  PackageFixture binary{{{BinaryRow(3) + BinaryCell(5, 2, F64(1)), "Only"}}};
  binary.is_binary = true;
  all.push_back(
      {"Workbook", "binary parts", package,
       PackageWith(binary, {{"p.xml", "<Properties><Company>Co</Company><Manager>M</Mana"}},
                   {"extendedProperties"}, BinaryRecord(148, U32(1) + U32(3) + U32(0) + U32(27))),
       "Company [company] = Co\ndate1904 [date-system] = 1900\nsheet [worksheet] = Only\n"
       "dimension [stated-range] = A2:AB4\nfound columns [found-columns] = 3\n"
       "found rows [found-rows] = 4\n"});
}
#endif

void AddMatrices(std::vector<Described>& all) {
  all.push_back({"Matlab", "a sample", By<MatFile>(), Contents(NVIMPORT_TEST_SAMPLES "/worts.mat"),
                 "level [version] = 4\nvariable [matrix] = wort 3 x 2 double\n"
                 "variable [matrix] = labels 3 x 6 char\n"});
#ifdef NVIMPORT_HAS_PACKAGES
  const MatFixture mat;
  all.push_back({"Matlab", "a header", By<MatFile>(),
                 mat.Header() + mat.Doubles({1, 1}, {1}, "a") + mat.Array(16, {1, 1}, "", "f"),
                 "level [version] = 5\n"
                 "header [comment] = MATLAB 5.0 MAT-file, Platform: PCWIN, Created on: today\n"
                 "Platform [platform] = PCWIN\nCreated on [created] = today\n"
                 "variable [matrix] = a 1 x 1 double\nvariable [matrix] = f 1 x 1 function handle\n"
                 "left out [left-out] = f function handle\n"});
#endif
}

std::vector<Described> AllDescribed() {
  std::vector<Described> all;
  AddSpectra(all);
  AddTexts(all);
  AddWorksheets(all);
  AddWorkbooks(all);
  AddMatrices(all);
#ifdef HAS_COMPOUND_FILES
  AddCompoundFiles(all);
#endif
#ifdef NVIMPORT_HAS_PACKAGES
  AddPackages(all);
  AddOpenDocuments(all);
  AddXmlSpreadsheets(all);
#ifdef NVIMPORT_HAS_HTML
  AddPages(all);
#endif
#endif
  return all;
}

// The files of a case in a folder.
class DescribedFiles {
 public:
  explicit DescribedFiles(const Described& one)
      : path_(folder_.Put(one.format == std::string_view("TIVON") ? "a.mip" : "a", one.bytes)) {
    if (!one.beside.empty()) folder_.Put("a.cn", one.beside);
  }
  const char* path() const { return path_.c_str(); }

 private:
  TempFolder folder_;
  std::string path_;
};

TEST(Description, IsWhatTheFileSaysBeforeReadingAndAfter) {
  Obliging dialogs;
  for (const Described& one : AllDescribed()) {
    SCOPED_TRACE(std::string(one.format) + ", " + one.why);
    const DescribedFiles bytes(one);
    const auto plain = one.reader();
    const Outcome read = ImportFile(*plain, bytes.path(), one.options);
    const auto file = one.reader();
    OpenOptions options = OpenOptions::Pairs(one.options);
    ASSERT_EQ(file->Open(true, bytes.path(), options.get()), 0);
    EXPECT_EQ(TextOf(*file), one.expected);
    MemorySheet sheet;
    EXPECT_EQ(file->Read(&sheet), read.status);
    EXPECT_EQ(SheetText(sheet), read.sheet);
    if (read.status == 0) {
      EXPECT_EQ(TextOf(*file), one.expected);
    }
  }
}

// A key that no file gives is none, as is one that the page does not tell.
TEST(Description, EachKeyOfTheTablesComesFromAFile) {
  Obliging dialogs;
  std::set<std::tuple<std::string, std::string>> seen;
  std::set<std::string> formats;
  for (const Described& one : AllDescribed()) {
    const DescribedFiles bytes(one);
    const auto file = one.reader();
    OpenOptions options = OpenOptions::Pairs(one.options);
    Description description;
    file->Open(true, bytes.path(), options.get());
    file->Describe(description);
    formats.insert(one.format);
    for (const Statement& statement : description.statements())
      if (!statement.key.empty()) seen.emplace(statement.label, statement.key);
  }
  const std::string page = Contents(NVIMPORT_TEST_SCHEMAS "/../descriptions-keys.md");
  std::size_t told = 0;
  for (const FormatKeys& keys : kFormatKeys) {
#if defined(HAS_COMPOUND_FILES) && defined(NVIMPORT_HAS_PACKAGES) && defined(NVIMPORT_HAS_HTML)
    EXPECT_TRUE(formats.contains(std::string(keys.format))) << keys.format;
#endif
    if (!formats.contains(std::string(keys.format))) continue;
    for (const KeySource& source : keys.sources) {
      const std::string label(source.label);
      const std::string key(source.key);
      EXPECT_TRUE(seen.contains({label, key})) << keys.format << ": " << label;
      const std::string row =
          "\n| `" + key + "` | " + std::string(keys.format) + " | " + label + " | ";
      const bool is_told = page.find(row) != std::string::npos;
      EXPECT_TRUE(is_told) << row;
      told += is_told ? 1 : 0;
    }
  }
  std::size_t rows = 0;
  for (std::size_t at = 0; (at = page.find("\n| `", at)) != std::string::npos; ++at) ++rows;
  EXPECT_EQ(told, rows) << "rows of the page without a source";
}

TEST(Description, OfAFileThatIsCutIsABeginning) {
  Obliging dialogs;
  const MemoryFile file;
  for (const Described& one : AllDescribed()) {
    SCOPED_TRACE(std::string(one.format) + ", " + one.why);
    const std::size_t step = one.bytes.size() > 20'000 ? 997 : 1;
    for (std::size_t size = 0; size < one.bytes.size(); size += step) {
      file.Put(std::string_view(one.bytes).substr(0, size));
      const auto reader = one.reader();
      OpenOptions options = OpenOptions::Pairs(one.options);
      if (reader->Open(true, file.path(), options.get()) == 0) TextOf(*reader);
    }
  }
}

// Files that say the most for the fewest bytes. The format's name is not looked at.
std::vector<Described> Bombs() {
  std::vector<Described> bombs = {
      {"DIF", "a million topics", By<DIFFileOEM>(DIFRules::Off()),
       Repeated("X\n0,1\n\"x\"\n", 1'000'000) + "DATA\n0,0\n\"\"\n", ""},
      {"DIF", "a topic of megabytes", By<DIFFileOEM>(DIFRules::Off()),
       "TABLE\n0,1\n\"" + std::string(40 << 20, 'x') + "\"\nDATA\n0,0\n\"\"\n", ""}};
  AddSpectraBombs(bombs);
#ifdef HAS_COMPOUND_FILES
  constexpr std::uint32_t kMany = 100'000;
  PropertySetFixture users{kUsersId, {{1, Page(1252)}}};
  std::string names = U32(kMany);
  for (std::uint32_t i = 2; i < 2 + kMany; ++i) {
    users.properties.emplace_back(i, "");
    names += U32(i) + U32(1) + "n";
  }
  users.properties.emplace_back(2, Lpstr(std::string(120'000, ' ')));
  users.properties.emplace_back(0, names);
  const std::string one_text = PropertySets({{kDocumentId, {}}, users});
  std::string sets = PropertySets({{kSummaryId, {}}});
  sets.replace(24, 4, U32(0xFFFFFFFF)).replace(52, 4, U32(0xFFFFFFFF));
  const std::string book = WorkbookFixture{{{.cells = Number(0, 0, 1)}}}.Stream();
  for (const std::string& stream : {one_text, sets})
    bombs.push_back({"Workbook", "properties of one text, sets without end", By<ExcelFile>(),
                     WriteCompoundFile({{"Workbook", book},
                                        {"\5SummaryInformation", sets},
                                        {"\5DocumentSummaryInformation", stream}}),
                     ""});
#endif
#ifdef NVIMPORT_HAS_PACKAGES
  const auto package = [&](const char* why, const char* type, const std::string& inside) {
    bombs.push_back(
        {"Workbook", why, By<Excel2007File>(),
         PackageWith({{{""}}}, {{"p.xml", "<Properties>" + inside + "</Properties>"}}, {type}, ""),
         ""});
  };
  package("a million properties", "custom-properties",
          Repeated("<property name=\"n\"><i4>1</i4></property>", 1'000'000));
  package("a value of megabytes", "extended-properties",
          "<Company>" + Repeated("x", 50'000'000) + "</Company>");
  package("a million companies", "extended-properties",
          Repeated("<Company>" + std::string(100, 'x') + "</Company>", 1'000'000));
#endif
  return bombs;
}

TEST(Description, OfHostileFilesEndsWithinBounds) {
  Obliging dialogs;
  for (const Described& bomb : Bombs()) {
    SCOPED_TRACE(bomb.why);
    const MemoryFile bytes(bomb.bytes);
    const auto file = bomb.reader();
    const AllocationCounter memory;
    const std::clock_t start = std::clock();
    ASSERT_EQ(file->Open(true, bytes.path(), nullptr), 0);
    {
      Description description;
      EXPECT_EQ(file->Describe(description), 0);
    }
    EXPECT_LT(memory.Peak(), (64 << 20) + 3 * bomb.bytes.size());
    EXPECT_LT(std::clock() - start, 30 * CLOCKS_PER_SEC) << "it does not come back";
    MemorySheet sheet;
    EXPECT_EQ(file->GetStatus(), 0);
    if (bomb.format == std::string_view("Workbook")) {
      EXPECT_EQ(file->Read(&sheet), 0) << "what it says costs the reading nothing";
    }
  }
}

}  // namespace

std::string TextOf(SpreadsheetFile& file) {
  Description description;
  const int status = file.Describe(description);
  std::string text = status == 0 ? "" : std::to_string(status) + " ";
  for (const Statement& one : description.statements())
    text += (one.row > 0 ? "row " + std::to_string(one.row) + " " : "") + one.label + " [" +
            one.key + "] = " + one.value + "\n";
  for (const Axis axis : {Axis::kX, Axis::kY, Axis::kZ}) {
    const AxisName& name = description.name(axis);
    if (name.label.empty() && name.unit.empty()) continue;
    text += "xyz"[static_cast<int>(axis)] + ": "s + name.label + " (" + name.unit + ")\n";
  }
  return text;
}

}  // namespace nvimport
