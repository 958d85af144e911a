// Every reader over every sample damaged in every way on a list, and over files that claim the most
// for the fewest bytes: each ends, within memory and time that the file is worth.

#include <cctype>
#include <ctime>
#include <set>

#include "nvimport/framework/Description.h"
#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/FormatRegistry.h"
#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/Paths.h"
#include "plugins/complete/CompleteFormats.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/BiffFixture.h"
#include "tests/support/BrimroseFixture.h"
#include "tests/support/Cases.h"
#include "tests/support/ChemStationFixture.h"
#include "tests/support/JCAMPFixture.h"
#include "tests/support/NetcdfFixture.h"
#include "tests/support/NsasFixture.h"
#include "tests/support/OpusFixture.h"
#include "tests/support/Samples.h"
#include "tests/support/SpcFixture.h"
#ifdef NVIMPORT_HAS_PACKAGES
#include "tests/support/OpenDocumentFixture.h"
#include "tests/support/PackageFixture.h"
#endif

namespace nvimport {

namespace {

// Counts cells and keeps none.
class CountingSink : public ReadSpreadSheetData {
 public:
  using ReadSpreadSheetData::Set;
  void Set(int, int, const char* text) override { cells += 1 + std::strlen(text) / 1000; }
  void Set(int, int, float) override { ++cells; }
  void SetDataSize(int, int) override {}
  int GetNumberOfColumns() override { return 0; }
  int GetNumberOfRows() override { return 0; }

  std::size_t cells = 0;
};

// The readers of a format: the built-in one, and the one of NvImport Complete.
std::vector<std::unique_ptr<SpreadsheetFile>> ReadersOf(std::string_view format) {
  std::vector<std::unique_ptr<SpreadsheetFile>> readers;
  for (FormatRegistry* const formats : {&FormatRegistry::Own(), &CompleteFormats()})
    for (int index = 1; index <= formats->size(); ++index)
      if (formats->Find(index)->name == format) readers.push_back(formats->CreateReader(index));
  EXPECT_FALSE(readers.empty()) << format;
  return readers;
}

// Reads `bytes` and says what it took too much of, "" for nothing. Time is the process's own, so
// that a busy machine does not count.
std::string ReadWithin(SpreadsheetFile& reader, const MemoryFile& file, std::size_t size) {
  CountingSink sink;
  const AllocationCounter memory;
  const std::clock_t start = std::clock();
  if (reader.Open(true, file.path(), nullptr) == 0 && reader.GetNumCols() >= 0) reader.Read(&sink);
  {
    Description description;
    reader.Describe(description);
  }
  reader.Close();
  const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  const auto bytes = static_cast<double>(size);
  const auto cells = static_cast<double>(sink.cells);
  if (static_cast<double>(memory.Peak()) > (64 << 20) + 3 * bytes)
    return std::to_string(memory.Peak()) + " bytes of memory";
  if (seconds > 1 + bytes / 10e6 + cells / 10e6)
    return std::to_string(seconds) + " s for " + std::to_string(sink.cells) + " cells";
  return {};
}

// Calls `read` with `whole` in every damaged form.
void ForEachDamage(const std::string& whole,
                   const std::function<void(const std::string& bytes, const char* how)>& read) {
  const std::size_t size = whole.size();
  for (std::size_t cut = 0; cut < size; ++cut) read(whole.substr(0, cut), "cut");
  for (std::size_t at = 0; at < size; ++at) {
    std::string bytes = whole;
    for (const int value : {0x00, 0x7F, 0x80, 0xFF, whole[at] ^ 1, whole[at] ^ 0x20}) {
      bytes[at] = static_cast<char>(value);
      read(bytes, "a byte");
    }
  }
  constexpr std::uint32_t kExtremes[] = {0,          0x7FFFFFFF, 0x80000000,
                                         0xFFFFFFFF, 0x0000FFFF, 0x7F800000};
  // Two of them at each place: the places beside it, which are of the same field or number, get
  // others.
  for (std::size_t at = 0; at + 4 <= size; ++at)
    for (const std::size_t which : {at % 6, (at + 3) % 6}) {
      std::string bytes = whole;
      std::memcpy(&bytes[at], &kExtremes[which], sizeof kExtremes[which]);
      read(bytes, "a field");
    }
  for (const std::size_t length : {16U, 128U, 512U})
    for (std::size_t at = 0; at < size; at += length) {
      const std::string block = whole.substr(at, length);
      read(std::string(whole).erase(at, block.size()), "a block gone");
      read(std::string(whole).insert(at, block), "a block twice");
      read(std::string(whole).replace(at, block.size(), block.size(), '\0'), "a block of zeros");
      read(std::string(whole).replace(at, block.size(), whole, 0, block.size()),
           "the first block again");
    }
  read(whole + whole, "the whole twice");
  read(whole + std::string(4096, '\xFF'), "something behind");
}

// The name of the format, those that only NvImport Complete has among them; empty for none.
std::string FormatOf(const std::string& path) {
  std::vector<KnownFormat> formats = BuiltInFormats();
  for (int index = 1; index <= CompleteFormats().size(); ++index)
    if (SprFileFactory::Describe(CompleteFormats().Find(index)->name) == nullptr)
      formats.push_back({CompleteFormats().Find(index), [index](const char* file) {
                           return CompleteFormats().TestFile(index, file);
                         }});
  const int format = DetectFormat(formats, path.c_str()).format;
  return format < 1 ? "" : formats[static_cast<std::size_t>(format - 1)].info->name;
}

std::set<std::string> SmallSamples() {
  auto samples = Samples();
  std::erase_if(samples, [](const auto& path) {
    return std::filesystem::file_size(path) > 4096 || FormatOf(path).empty();
  });
  return samples;
}

class DamagedSample : public testing::TestWithParam<std::string> {};

TEST_P(DamagedSample, EndsWithinItsBounds) {
  const std::string whole = Contents(GetParam());
  Obliging dialogs;
  const MemoryFile file;
  std::size_t runs = 0;
  for (const auto& reader : ReadersOf(FormatOf(GetParam())))
    ForEachDamage(whole, [&](const std::string& bytes, const char* how) {
      file.Put(bytes);
      const std::string excess = ReadWithin(*reader, file, bytes.size());
      ASSERT_EQ(excess, "") << how << ", run " << runs;
      ++runs;
      dialogs.items_questions.clear();
      dialogs.range_questions.clear();
    });
  EXPECT_GT(runs, 9 * whole.size() - 9);
}

INSTANTIATE_TEST_SUITE_P(Damage, DamagedSample, testing::ValuesIn(SmallSamples()),
                         [](const auto& sample) {
                           std::string name = FileName(sample.param);
                           for (char& c : name)
                             if (std::isalnum(static_cast<unsigned char>(c)) == 0) c = '_';
                           return name;
                         });

// One worksheet that a workbook names again and again.
std::string SheetNamedOften() {
  WorkbookFixture workbook{{{.cells = Number(0, 0, 1), .rows = 65536, .columns = 256}}};
  const auto named = [](std::uint32_t position) {
    return Record(0x0085, U32(position) + U8(0) + U8(0) + U8(1) + U8(0) + "S");
  };
  const std::string head = Bof(0x0005) + Repeated(named(0), 255) + Eof();
  const std::string sheet = Bof(0x0010) + Record(0x0200, U32(0) + U32(65536) + U16(0) + U32(256)) +
                            Row() + Number(0, 0, 1) + Eof();
  return Bof(0x0005) + Repeated(named(static_cast<std::uint32_t>(head.size())), 255) + Eof() +
         sheet;
}

// So many entries of the directory of one spectrum.
std::string SpectrumNamedOften(std::int32_t entries) {
  const std::vector<float> values(1000);
  const std::string one = OpusFixture{}.AddSpectrum(OpusFixture::kAbsorbance, values).File();
  constexpr std::size_t kHeader = 24;
  constexpr std::size_t kEntries = 24;
  const auto at = static_cast<std::int32_t>(one.size());
  return one.substr(0, 12) + OpusFixture::Bytes(at) + OpusFixture::Bytes(2 * entries) +
         OpusFixture::Bytes(2 * entries) + one.substr(kHeader) +
         Repeated(one.substr(kHeader, kEntries), static_cast<std::size_t>(entries));
}

#ifdef NVIMPORT_HAS_PACKAGES
// A workbook with these sheets, relationships and rows; `folder` is that of its part.
std::string Package(const std::string& sheets, const std::string& relationships,
                    const std::string& rows, const std::string& folder = "xl") {
  const std::string one = R"(<Relationship Id="a" Type="/worksheet" Target="/s.xml"/>)";
  return ZipArchive(
      {{"_rels/.rels", PackageFixture::Relationships(R"(<Relationship Type="/officeDocument" )"
                                                     "Target=\"" +
                                                     folder + "/workbook.xml\"/>")},
       {folder + "/workbook.xml",
        "<workbook xmlns:r=\"r\"><sheets>" + sheets + "</sheets></workbook>"},
       {folder + "/_rels/workbook.xml.rels", PackageFixture::Relationships(relationships + one)},
       {"s.xml", "<worksheet><sheetData>" + rows + "</sheetData></worksheet>"}});
}
std::string Rows(const std::string& rows) { return Package(R"(<sheet r:id="a"/>)", "", rows); }
std::string Document(const std::string& rows) { return OpenDocumentFixture{{{rows}}}.Package(); }
#endif

TEST(Damage, FilesThatClaimTheMostEndWithinTheirBounds) {
  std::string sub_files = SpcFixture{.flags = 4, .points = 1, .sub_files = 65536}.Bytes();
  const struct {
    const char* why;
    const char* format;
    std::string bytes;
  } kBombs[] = {
      {"2^31 points", "GalacticSPC File", SpcFixture{.points = 0x7FFFFFFF, .sub_files = 1}.Bytes()},
      {"2^31 sub-files", "GalacticSPC File", SpcFixture{.sub_files = 0x7FFFFFFF}.Bytes()},
      {"empty sub-files", "GalacticSPC File",
       SpcFixture{.flags = 4, .points = 0, .sub_files = 65536}.Bytes() +
           std::string(std::size_t{65536} * 32, '\0')},
      {"sub-files of a point", "GalacticSPC File",
       sub_files + std::string(std::size_t{65536} * 36, '\0')},
      {"old, of zeros", "GalacticSPC File",
       SpcFixture{.version = 'M', .points = 1}.Bytes() + std::string(1 << 20, '\0')},
      {"2^31 points", "JCAMP-DX File", JCAMPFixture{.points = "2147483647"}.Bytes()},
      {"a billion repetitions", "JCAMP-DX File",
       JCAMPFixture{.points = "900000", .data = Repeated("1@s999999999\n", 50)}.Bytes()},
      {"ten thousand blocks", "JCAMP-DX File",
       Repeated(JCAMPFixture{.points = "1", .data = "1 1\n"}.Bytes(), 10'000)},
      {"a hundred thousand empty blocks", "JCAMP-DX File", Repeated("##TITLE=\n##END=\n", 100'000)},
      {"ten thousand open blocks", "JCAMP-DX File", Repeated("##TITLE=\n", 10'000)},
      {"a label of megabytes", "JCAMP-DX File", "##TITLE=" + std::string(4 << 20, 'x')},
      {"a spectrum named 20,000 times", "Bruker OPUS File", SpectrumNamedOften(20'000)},
      {"a spectrum named 200,000 times", "Bruker OPUS File", SpectrumNamedOften(200'000)},
      {"2^32 records", "NetCDF Files",
       NetcdfFixture::MassSpectra().Bytes().replace(4, 4, "\xff\xff\xff\xfe")},
      {"2^32 points", "NetCDF Files",
       NetcdfFixture{.dimensions = {{"n", ~0U}}, .variables = {{"v", {0}, 6, ""}}}.Bytes()},
      {"attributes of no bytes", "NetCDF Files",
       NetcdfFixture{.attributes = {200'000, NetcdfFixture::Text("", "")}}.Bytes()},
      {"variables of no name", "NetCDF Files",
       NetcdfFixture{.variables = {50'000, {"", {}, 1, "\1"}}}.Bytes()},
      {"variables in a record", "NetCDF Files",
       NetcdfFixture{
           .dimensions = {{"n", 0}}, .variables = {5'000, {"v", {0}, 1, "\1\2\3"}}, .records = 3}
           .Bytes()},
      {"scans of the same points", "NetCDF Files",
       [] {
         NetcdfFixture file = NetcdfFixture::MassSpectra();
         file.dimensions[1].length = 20'000;
         file.records = 20'000;
         file.variables[0].values = file.variables[1].values = std::string(160'000, '\0');
         file.variables[2].values = std::string(80'000, '\0');
         file.variables[3].values = Repeated(NetcdfFixture::Bytes(20'000), 20'000);
         file.variables[4].values.clear();
         for (int i = 0; i < 20'000; ++i)
           file.variables[4].values += NetcdfFixture::Bytes(static_cast<std::int16_t>(i));
         file.variables[5].values = std::string(80'000, '\1');
         return file.Bytes();
       }()},
      {"segments without values", "HPLC ChemStation File",
       ChemStationFixture{.body = Repeated("\x10\0"s, 1 << 20)}.Bytes()},
      {"2^32 scans", "HPLC ChemStation File",
       ChemStationFixture{.version = 131,
                          .scans = 0xFFFFFFFF,
                          .body = ChemStationFixture::Scan(0, std::string(6, '\0'))}
           .Bytes()},
      {"the smallest scans", "HPLC ChemStation File",
       ChemStationFixture{.version = 131,
                          .body = Repeated(ChemStationFixture::Scan(0, "\0\0"s, 1), 1 << 17)}
           .Bytes()},
      {"65535 x 65535 values", "Brimrose File",
       BrimroseFixture{.last = 66634, .step = 1, .points = 65535, .observations = 65535}.Bytes()},
      {"a file of headers", "NSAS File", std::string(1 << 20, '\0')},
      {"32767 points", "NSAS File", NsasBytes({{.points = 32767, .first = 0, .end = 32767}})},
      {"2^31 vectors", "DIF File(OEM)",
       "TABLE\n0,1\n\"\"\nVECTORS\n0,2147483647\n\"\"\nTUPLES\n0,2147483647\n\"\"\nDATA\n0,0\n"
       "\"\"\n-1,0\nBOT\n0,1\nV\n-1,0\nEOD\n"},
      {"a million tuples", "DIF File(OEM)",
       "TABLE\n0,1\n\"\"\nDATA\n0,0\n\"\"\n" + Repeated("-1,0\nBOT\n", 1'000'000) + "-1,0\nEOD\n"},
      {"the largest range", "Lotus 1-2-3 File",
       std::string("\0\0\2\0\4\4\6\0\x8\0", 10) + std::string("\0\0\0\0\xFF\xFF\xFF\xFF", 8) +
           std::string("\1\0\0\0", 4)},
      {"the largest sheet, named 255 times", "Excel File", SheetNamedOften()},
      {"2^32 shared strings", "Excel File",
       WorkbookFixture{{{}}, Record(0x00FC, U32(0xFFFFFFFF) + U32(0xFFFFFFFF) + "xxxx")}.Stream()},
      {"a million records", "Excel File",
       WorkbookFixture{{{.cells = Repeated(Record(0x00FF), 1'000'000)}}}.Stream()},
      {"a field a byte", "Text File", std::string(4 << 20, '\t')},
      {"a line a byte", "Text File", std::string(4 << 20, '\n')},
      {"a field a byte", "CSV File", std::string(4 << 20, ',')},
      {"a line a byte", "CSV File", std::string(4 << 20, '\n')},
      {"a quote a byte", "CSV File", std::string(4 << 20, '"')},
      {"a quoted line end a byte", "CSV File", "\"" + std::string(4 << 20, '\n')},
#ifdef NVIMPORT_HAS_PACKAGES
      {"a million '>' in a value", "Excel2007 File",
       Rows("<row a=\"" + std::string(1'000'000, '>') + "\"></row>")},
      {"a million '>' in a comment", "Excel2007 File",
       Rows("<!--" + std::string(1'000'000, '>') + "--><row></row>")},
      {"a million elements in each other", "Excel2007 File", Rows(Repeated("<a>", 1'000'000))},
      {"twenty million elements", "Excel2007 File", Rows(Repeated("<a/>", 20'000'000))},
      {"a text of twenty megabytes", "Excel2007 File",
       Rows("<row><c t=\"str\"><v>" + Repeated("x", 20'000'000) + "</v></c></row>")},
      {"half a million sheets", "Excel2007 File", Package(Repeated("<sheet/>", 500'000), "", "")},
      {"a worksheet named a million times", "Excel2007 File",
       Package(Repeated("<sheet r:id=\"a\"/>", 1'000'000), "", "")},
      {"80,000 sheets and relationships", "Excel2007 File",
       Package(Repeated("<sheet r:id=\"b\"/>", 80'000), Repeated("<Relationship/>", 80'000), "")},
      {"a long folder's relationships", "Excel2007 File",
       Package(Repeated("<sheet r:id=\"a\"/>", 1), Repeated("<Relationship Target=\"x\"/>", 90'000),
               "", std::string(60'000, 'd'))},
      {"the largest sheet of a value", "OpenDocument Spreadsheet",
       Document("<r t:number-rows-repeated='1048576'><c t:number-columns-repeated='16384' "
                "v='float' o:value='1'/></r>")},
      {"a thousand values in a column each", "OpenDocument Spreadsheet",
       Document(Repeated("<r t:number-rows-repeated='1000'><c v='float' o:value='1'/></r>", 1000))},
      {"a text for a column", "OpenDocument Spreadsheet",
       Document("<r t:number-rows-repeated='1048576'><c v='string'><p>" +
                std::string(1'000'000, 'x') + "</p></c></r>")},
      {"blanks by the thousand", "OpenDocument Spreadsheet",
       Document(Repeated("<r><c v='string'><p><x:s x:c='65536'/></p></c></r>", 20'000))},
      {"a hundred thousand worksheets", "XML Spreadsheet 2003",
       "<Workbook xmlns=\"urn:schemas-microsoft-com:office:spreadsheet\">" +
           Repeated("<Worksheet/>", 100'000)},
      {"half a million sheets", "OpenDocument Spreadsheet",
       OpenDocumentFixture{std::vector<OpenDocumentFixture::Table>(500'000)}.Package()},
      {"a million spans in each other", "OpenDocument Spreadsheet",
       Document("<r><c><p>" + Repeated("<x:a>", 1'000'000))},
      {"a million blank cells", "OpenDocument Spreadsheet",
       Document("<r>" + Repeated("<c/>", 1'000'000) + "</r>")},
#endif
#ifdef NVIMPORT_HAS_HTML
      {"a hundred thousand tables in each other", "HTML Tables", Repeated("<table><td>1", 100'000)},
      {"a hundred thousand elements and other ends", "HTML Tables",
       "<table><td>" + Repeated("<b>", 100'000) + Repeated("</i>", 100'000)},
      {"half a million tables", "HTML Tables", Repeated("<table></table>", 500'000)},
      {"wide and high cells", "HTML Tables",
       "<table>" + Repeated("<tr><td rowspan=65534 colspan=1000>1", 100'000)},
      {"a hundred thousand names", "HTML Tables",
       [] {
         std::string page = "<table>";
         for (int i = 0; i < 100'000; ++i)
           page += "<a" + std::to_string(i) + " b" + std::to_string(i) + "=1>";
         return page;
       }()},
      {"an open comment of megabytes", "HTML Tables", "<table><!--" + Repeated("- >", 1'000'000)},
      {"a tag of megabytes", "HTML Tables", "<table a=\"" + std::string(4'000'000, 'x')},
      {"a text of megabytes", "HTML Tables", "<table><td>" + Repeated("x &amp; ", 200'000)},
#endif
      {"three million empty fields", "Text File", Repeated(std::string(3000, '\t') + "\n", 1000)},
  };
  Obliging dialogs;
  for (const auto& bomb : kBombs) {
    SCOPED_TRACE(bomb.why);
    const MemoryFile file(bomb.bytes);
    for (const auto& reader : ReadersOf(bomb.format))
      EXPECT_EQ(ReadWithin(*reader, file, bomb.bytes.size()), "") << bomb.format;
  }
}

}  // namespace

}  // namespace nvimport
