#include <cmath>

#include "nvimport/formats/matrix/NetCDFFile.h"
#include "nvimport/framework/FileSelection.h"
#include "nvimport/platform/Paths.h"
#include "tests/support/Cases.h"
#include "tests/support/NetcdfFixture.h"

namespace nvimport {

namespace {

using Net = NetcdfFixture;

// Two rows along records or not, of which the third dimension makes columns.
Net Table(bool has_records = false, int version = 1) {
  return {.version = version,
          .dimensions = {{"sample", has_records ? 0U : 2U}, {"nm", 3}, {"letters", 3}},
          .variables = {{"nm", {1}, Net::kShort, Net::Values<std::int16_t>({400, 500, 600})},
                        {"id", {0, 2}, Net::kChar, std::string("a  b\0x", 6)},
                        {"light", {0, 1}, Net::kFloat, Net::Values<float>({1, 2, 3, 4, 5, 6})},
                        {"y", {0}, Net::kDouble, Net::Values<double>({0.1, NAN})}},
          .records = has_records ? 2U : 0U};
}

const std::string kUsual =
    "'id' | 400 | 500 | 600 | 'y'\n'a' | 1 | 2 | 3 | 0.1\n'b' | 4 | 5 | 6 | .\n";

std::string Of(std::uint32_t type, const std::string& values, std::size_t count,
               const std::vector<Net::Attribute>& attributes = {}, int version = 1) {
  return Net{.version = version,
             .dimensions = {{"n", static_cast<std::uint32_t>(count)}},
             .variables = {{"v", {0}, type, values, attributes}}}
      .Bytes();
}

TEST(NetCDFFile, ReadsTablesOfAnyLayout) {
  const char* const all = "variables=light,y";
  Net open = Table(true);
  open.counts_records = false;
  // Alone, the values of a record are not padded.
  const Net alone{.dimensions = {{"n", 0}},
                  .variables = {{"v", {0}, Net::kShort, Net::Values<std::int16_t>({1, 2, 3})}},
                  .records = 3};
  ExpectImports<NetCDFFile>({
      {"fixed", Table().Bytes(), kUsual, all},
      {"records", Table(true).Bytes(), kUsual, all},
      {"64-bit offsets", Table(true, 2).Bytes(), kUsual, all},
      {"64-bit sizes", Table(true, 5).Bytes(), kUsual, all},
      {"records as many as there are", open.Bytes(), kUsual, all},
      {"one variable in a record", alone.Bytes(), "'v'\n1\n2\n3\n"},
      {"without names", Table().Bytes(), "1 | 2 | 3 | 0.1\n4 | 5 | 6 | .\n",
       "variables=light,y;names=0"},
      {"a page", Table(true).Bytes(), "'id' | 'light'\n'a' | 3\n'b' | 6\n",
       "variables=light;page=nm:3"},
      {"columns of two", Table().Bytes(),
       "'id' | 'light[1]' | 'light[2]' | 'light[3]' | 'light[1]' | 'light[2]' | 'light[3]'\n"
       "'a' | 1 | 2 | 3 | 1 | 2 | 3\n'b' | 4 | 5 | 6 | 4 | 5 | 6\n",
       "variables=light,light"},
      {"rows of several lengths", Table().Bytes(), "'nm' | 'y'\n400 | 0.1\n500 | .\n600 | .\n",
       "variables=nm,y"},
  });
}

TEST(NetCDFFile, TakesValuesAsTheirAttributesSay) {
  const std::string shorts = Net::Values<std::int16_t>({-1, 10, 20, 30});
  const std::string bytes("\xff\x01\x02\x03", 4);
  const auto half = Net::Number("scale_factor", Net::kFloat, 0.1F);
  ExpectImports<NetCDFFile>({
      {"fill", Of(3, shorts, 4, {Net::Number<std::int16_t>("_FillValue", 3, 10)}),
       "'v'\n-1\n.\n20\n30\n"},
      {"unwritten", Of(3, Net::Values<std::int16_t>({-32767, 1}), 2), "'v'\n.\n1\n"},
      {"missing, of another type", Of(3, shorts, 4, {Net::Number("missing_value", 6, 20.0)}),
       "'v'\n-1\n10\n.\n30\n"},
      {"range", Of(3, shorts, 4, {{"valid_range", 3, 2, Net::Values<std::int16_t>({0, 20})}}),
       "'v'\n.\n10\n20\n.\n"},
      {"packed", Of(3, shorts, 4, {half}), "'v'\n-0.1\n1\n2\n3\n"},
      {"range of what is packed",
       Of(3, shorts, 4, {half, Net::Number("valid_max", Net::kFloat, 2.5F)}),
       "'v'\n-0.1\n1\n2\n.\n"},
      {"offset", Of(3, shorts, 4, {Net::Number("add_offset", 6, 0.5)}),
       "'v'\n-0.5\n10.5\n20.5\n30.5\n"},
      {"without a sign",
       Of(1, bytes, 4,
          {Net::Text("_Unsigned", "true"), {"_FillValue", 1, 1, std::string("\x01", 1)}}),
       "'v'\n255\n.\n2\n3\n"},
      {"bytes", Of(1, bytes, 4), "'v'\n-1\n1\n2\n3\n"},
      {"64 bits", Of(10, Net::Values<std::int64_t>({9007199254740993, -1}), 2, {}, 5),
       "'v'\n9007199254740993\n-1\n"},
      {"64 bits without a sign", Of(11, Net::Values<std::uint64_t>({1ULL << 63, 7}), 2, {}, 5),
       "'v'\n9223372036854775808\n7\n"},
      {"no number", Of(6, Net::Values<double>({NAN, 9.9692099683868690e+36, 1}), 3),
       "'v'\n.\n.\n1\n"},
  });
}

TEST(NetCDFFile, OffersVariables) {
  const MemoryFile place(Table().Bytes());
  ScriptedDialogs dialogs;
  dialogs.items = ItemsChoice{{3}, 0};
  NvImportOpenOptions options{0, nullptr};
  NetCDFFile file;
  EXPECT_EQ(ImportFile(file, place.path(), &options).sheet, "'id' | 'y'\n'a' | 0.1\n'b' | .\n");
  ASSERT_EQ(dialogs.items_questions.size(), 1U);
  const ItemsQuestion& question = dialogs.items_questions.front();
  EXPECT_EQ(question.title, "Select Variables");
  EXPECT_EQ(question.items, (std::vector<std::string>{"nm", "id", "light", "y"}));
  EXPECT_EQ(question.details[2], "sample 2 x nm 3, float");
  EXPECT_EQ(question.usual, (std::vector<std::size_t>{2, 3}));
  ExpectMade(NetCDFFile::GetImportOptions({"y"}, {"nm:2"}), "variables=y;names=1;page=nm:2");
  ExpectRefusedOptions<NetCDFFile>(
      Table().Bytes(), {"variables=z", "variables=y;page=nm:4", "variables=y;page=nm:0",
                        "variables=y;page=nm", "variables=y;page=x:1", "variables=y;names=2"});
}

TEST(NetCDFFile, ReadsChromatograms) {
  const std::string one = Net::Chromatogram().Bytes();
  Net late = Net::Chromatogram();
  late.variables[0].values = Net::Bytes(0.75F);
  Net minutes = Net::Chromatogram("");
  minutes.attributes[2] = Net::Text("retention_units", "Time in Minutes");
  minutes.variables[1] = {"raw_data_retention", {0}, Net::kFloat, Net::Values<float>({1, 2, 3, 5})};
  Net numbered = Net::Chromatogram();
  numbered.variables.erase(numbered.variables.begin(), numbered.variables.begin() + 2);
  const std::string head = "'Primary ID' | 'Name' | ";
  ExpectImports<NetCDFFile>({
      {"even", one, head + "0.5 | 0.75 | 1 | 1.25\n1 | 'juice' | 1 | 2.5 | 4 | 3\n"},
      {"range", one, head + "0.75 | 1\n1 | 'juice' | 2.5 | 4\n", "range=2,3"},
      {"peaks", one,
       head + "'peak_name' | 'peak_area'\n1 | 'juice' | 'ab' | 10.5\n2 | 'juice' | 'cd' | .\n",
       "view=peaks"},
      {"without times", numbered.Bytes(),
       head + "1 | 2 | 3 | 4\n1 | 'juice' | 1 | 2.5 | 4 | 3\n"
              "the file states no times, and points are numbered\n"},
      {"a variable", one, "'peak_name' | 'peak_area'\n'ab' | 10.5\n'cd' | -9999\n",
       "variables=peak_area"},
  });
  ExpectRefusedOptions<NetCDFFile>(one, {"view=scans", "range=5,6", "range=2,1"});
  ExpectMade(NetCDFFile::GetImportOptions(NetCDFFile::View::kPeaks), "view=peaks;range=1,0");

  const MemoryFile first(one);
  const MemoryFile second(late.Bytes());
  const MemoryFile third(minutes.Bytes());
  const LogRecorder log;
  NetCDFFile file;
  const std::string paths = FileSelection::Join({first.path(), second.path(), third.path()});
  const std::string sheet = ImportFile(file, paths.c_str(), nullptr).sheet;
  EXPECT_EQ(sheet.substr(0, sheet.find('\n')),
            head + "0.5 | 0.75 | 1 | 1.25 | 1.5 | 60 | 120 | 180 | 300");
  EXPECT_NE(sheet.find(" | . | 1 | 2.5 | 4 | 3 | . | . | . | .\n"), std::string::npos) << sheet;
  EXPECT_EQ(log.Notes(), "some files state minutes and others seconds; all times are in seconds\n");
}

TEST(NetCDFFile, PutsTheSameVariablesOfSeveralFilesBelowOneAnother) {
  const auto of = [](const std::vector<Net>& files) {
    std::vector<std::unique_ptr<MemoryFile>> places;
    std::vector<std::string> paths;
    for (const Net& one : files) {
      places.push_back(std::make_unique<MemoryFile>(one.Bytes()));
      paths.emplace_back(places.back()->path());
    }
    NetCDFFile file;
    return ImportFile(file, FileSelection::Join(paths), "variables=light,y").Summary();
  };
  Net longer = Table(true);
  longer.records = 3;
  for (auto& variable : longer.variables)
    if (variable.dimensions[0] == 0)
      variable.values += variable.values.substr(0, variable.values.size() / 2);
  EXPECT_EQ(of({Table(), longer}),
            kUsual + kUsual.substr(kUsual.find('\n') + 1) + "'a' | 1 | 2 | 3 | 0.1\n");
  const std::string refused =
      "4426 The netCDF files do not have the same variables under the same names of columns. "
      "Please select files of one kind.\n";
  Net other = Table();
  other.variables[0].values = Net::Values<std::int16_t>({400, 501, 600});
  EXPECT_EQ(of({Table(), other}), refused) << "names of columns";
  other = Table();
  other.variables[3].name = "z";
  EXPECT_EQ(of({Table(), other}), refused) << "variables";
  other = Table();
  other.variables[2].dimensions = {0, 0};
  EXPECT_EQ(of({Table(), other}), refused) << "columns";
}

TEST(NetCDFFile, ReadsMassSpectra) {
  const Net spectra = Net::MassSpectra();
  Net unsummed = spectra;
  unsummed.variables[1].values = Net::Values<double>({-9999, -9999, -9999});
  Net beyond = spectra;
  beyond.variables[3].values = Net::Values<std::int32_t>({2, 0, 4});
  Net library = spectra;
  library.dimensions.push_back({"letters", 2});
  library.variables.push_back({"entry_name",
                               {1, static_cast<std::uint32_t>(library.dimensions.size() - 1)},
                               Net::kChar,
                               std::string("a \0\0c\0", 6)});
  const std::string entries = Import<NetCDFFile>(library.Bytes()).sheet;
  EXPECT_NE(entries.find("\n1 | 'a' | 1.5"), std::string::npos) << entries;
  EXPECT_NE(entries.find("_2' | 2 | "), std::string::npos) << entries;
  const MemoryFile place(spectra.Bytes());
  const std::string name = FileName(place.path());
  NetCDFFile file;
  EXPECT_EQ(ImportFile(file, place.path(), nullptr).sheet,
            "'Primary ID' | 'Name' | 'Time' | 9 | 10 | 22\n1 | '" + name +
                "_1' | 1.5 | 10 | . | 20\n2 | '" + name + "_2' | 2 | . | . | .\n3 | '" + name +
                "_3' | 2.5 | 40 | . | 30\n");
  const auto total = [](const Net& from) {
    const std::string text = Import<NetCDFFile>(from.Bytes(), "view=total").Summary();
    return text.substr(0, text.find('\n')) + text.substr(text.rfind("' |"));
  };
  EXPECT_EQ(total(spectra), "'Primary ID' | 'Name' | 1.5 | 2 | 2.5' | 30 | 0 | 70\n");
  EXPECT_EQ(total(unsummed), "'Primary ID' | 'Name' | 1.5 | 2 | 2.5' | 30 | 0 | 70\n");
  ExpectImports<NetCDFFile>(
      {{"a scan of more points than there are", beyond.Bytes(),
        "4430 The netCDF file is damaged: its scans are not where it says.\n"}});
}

TEST(NetCDFFile, RefusesWhatIsNoneAndWhatIsDamaged) {
  const std::string whole = Table().Bytes();
  Net more = Table(true);
  more.records = 3;
  Net bad = Table();
  bad.variables[2].dimensions = {0, 7};
  Net no_signal = Net::Chromatogram();
  no_signal.variables.resize(2);
  const std::string claim = "CDF\1" + Net::Bytes(0U) + Net::Bytes(10U) + Net::Bytes(~0U);
  ExpectImports<NetCDFFile>({
      {"something else", "Sample,1", "4417 This file does not seem to be a valid netCDF file.\n"},
      {"another version", "CDF\3" + whole.substr(4),
       "4417 This file does not seem to be a valid netCDF file.\n"},
      {"HDF5", "\x89HDF\r\n\x1a\n",
       "4418 This is a netCDF-4 file, which is HDF5. The package nvimport-hdf5 brings its reader; "
       "copied with nccopy -k cdf5 it can be read without.\n"},
      {"NASA", "\xcd\xf3\0\1\0\0\xff\xff"s,
       "4419 This is a CDF file of NASA, a format of its own that cannot be read.\n"},
      {"a cut header", whole.substr(0, 60),
       "4420 The netCDF file is cut short within its header. It cannot be read.\n"},
      {"a claim", claim,
       "4420 The netCDF file is cut short within its header. It cannot be read.\n"},
      {"nothing", Net{}.Bytes(), "4422 The netCDF file does not contain any values.\n"},
      {"cut values", whole.substr(0, whole.size() - 1),
       "4423 The netCDF file is cut short. What was chosen cannot be read.\n", "variables=y"},
      {"no signal", no_signal.Bytes(), "4427 The netCDF file does not contain a chromatogram.\n"},
      {"no peaks", Net{.attributes = {Net::Text("aia_template_revision", "1")}}.Bytes(),
       "4428 The netCDF file does not contain any peaks.\n", "view=peaks"},
      {"no scans", Net{.attributes = {Net::Text("ms_template_revision", "1")}}.Bytes(),
       "4429 The netCDF file does not contain any mass spectra.\n"},
  });
  ExpectNoFile<NetCDFFile>("4416 Unable to open file.",
                           "4431 Unable to read file. The file was not opened or Open File failed.",
                           4431);
}

TEST(NetCDFFile, EveryShorterFileFailsOrGivesTheSameCells) {
  const struct {
    std::string bytes;
    const char* pairs;
  } kFiles[] = {{Table(true).Bytes(), "variables=light,y"},
                {Net::Chromatogram().Bytes(), ""},
                {Net::Chromatogram().Bytes(), "view=peaks"},
                {Net::MassSpectra().Bytes(), "view=total"}};
  for (const auto& [bytes, pairs] : kFiles)
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      const Outcome outcome = Import<NetCDFFile>(bytes.substr(0, size), pairs);
      if (outcome.status != 0) continue;
      EXPECT_EQ(outcome.sheet, Import<NetCDFFile>(bytes, pairs).sheet) << size;
    }
}

TEST(NetCDFFile, IsKnownByItsHeader) {
  const auto confidence = [](const std::string& bytes) {
    return NetCDFFile::IsNetCDFFile(MemoryFile(bytes).path());
  };
  EXPECT_EQ(confidence(Net::Chromatogram().Bytes()), 0);
  EXPECT_EQ(confidence(Net::MassSpectra().Bytes()), 0);
  EXPECT_EQ(confidence(Table().Bytes()), 1);
  EXPECT_EQ(confidence(Table().Bytes().substr(0, 50)), 1);
  EXPECT_EQ(confidence("\x89HDF\r\n\x1a\n"), 3);
  EXPECT_EQ(confidence("\xcd\xf3\0\1"s), 3);
  EXPECT_EQ(confidence("CDF3"), 3);
  EXPECT_EQ(confidence(""), 3);
}

}  // namespace

}  // namespace nvimport
