#include <sstream>

#include "nvimport/formats/spectra/NsasFile.h"
#include "tests/support/Cases.h"
#include "tests/support/NsasFixture.h"

namespace nvimport {

namespace {

// What a DA file comes to beside a CN file, if there is one.
std::string ImportNsas(const std::string& da, const std::string& cn = "", NsasRules rules = {},
                       const std::string& pairs = "") {
  const TempFolder folder;
  if (!cn.empty()) folder.Put("a.cn", cn);
  NsasFile reader(rules);
  return ImportFile(reader, folder.Put("a.da", da), pairs).Summary();
}

// The sheet of `spectra` from the column of the first wavelength on, which others precede, and the
// notes.
std::string Values(const std::vector<NsasSpectrum>& spectra) {
  const std::string before = ". | . | . | . | ";
  std::istringstream lines(ImportNsas(NsasBytes(spectra), "", {}, "columns=5,0"));
  std::string values;
  for (std::string line; std::getline(lines, line);)
    values += line.substr(line.starts_with(before) ? before.size() : 0) + "\n";
  return values;
}

const std::string kHead =
    "'SampleNo' | 'SpectrumNo' | 'SampleName' | 'Time' | 'w1100' | 'w1110' | 'w1120'";
const std::string kModel = "\n'/Instrument model 6500' | . | . | .";

TEST(NsasFile, ReadsSpectraAndTheirConstituents) {
  const std::string da = NsasBytes({{.constituents = 2},
                                    {.model = 1,
                                     .number = -2,
                                     .name = " \x01\xe9 t\0xyz"s,
                                     .constituents = 2,
                                     .time = {2014, -7, 31, 100, 0, -32768}}});
  const std::vector<std::vector<float>> values = {{1.5F, 2}, {-3, 4}};
  const auto sheet = [&](const char* names, const char* none, const char* one, const char* two) {
    return kHead + names + kModel + " | . | . | ." + none +
           "\n1 | 7 | 'Oats' | '01-02-98 03:04:05' | 1 | 2 | 3" + one +
           "\n2 | -2 | '\xe9 t' | '31--7-2014 100:00:-32768' | 1 | 2 | 3" + two + "\n";
  };
  const auto with = [&](const char* names) {
    return sheet(names, " | . | .", " | 1.5 | 2", " | -3 | 4");
  };
  const std::string names = "Protein 1x  Oil\0     "s;
  const struct {
    const char* why;
    const char* da_name;
    const char* cn_name;
    std::string cn;
    std::string sheet;
  } kCases[] = {
      {"no CN file", "a.da", "b.cn", "", sheet("", "", "", "")},
      {"names, the first of all its ten characters", "a.da", "a.cn",
       NsasConstituents(names, values), with(" | 'Protein 1x' | 'Oil'")},
      {"no names", "a.b.DA", "a.b.cn", NsasConstituents("", values), with(" | '' | ''")},
      {"capitals", "a.DA", "a.CN", NsasConstituents("", values), with(" | '' | ''")},
      {"both", "a", "a.Cn", NsasConstituents("", values), with(" | '' | ''")},
  };
  for (const auto& c : kCases) {
    const TempFolder folder;
    folder.Put(c.cn_name, c.cn);
    NsasFile reader;
    EXPECT_EQ(ImportFile(reader, folder.Put(c.da_name, da)).Summary(), c.sheet) << c.why;
  }
}

TEST(NsasFile, PlacesValuesByTheirWavelength) {
  const std::string names = "'w1100' | 'w1110' | 'w1120'\n. | . | .\n";
  const std::string left_out =
      " values at the ends of spectra, at wavelengths that not all spectra have, were not "
      "delivered\n";
  const struct {
    const char* why;
    std::vector<NsasSpectrum> spectra;
    std::string values;
  } kCases[] = {
      {"one value", {{.points = 1, .first = 1, .end = 2}}, "'w1'\n.\n1\n"},
      {"a fraction",
       {{.first = 2, .end = 3}},
       "'w2' | 'w2.33333' | 'w2.66667'\n. | . | .\n1 | 2 | 3\n"},
      {"starts apart; the smallest last wavelength ends the sheet",
       {{.first = 1110, .end = 1140}, {}, {.points = 5, .end = 1150}},
       names + ". | 1 | 2\n1 | 2 | 3\n1 | 2 | 3\n3" + left_out},
      {"a spectrum that begins beyond the end",
       {{}, {.first = 2100, .end = 2130}},
       names + "1 | 2 | 3\n. | . | .\n3" + left_out},
      {"a little off the grid",
       {{}, {.first = 1104, .end = 1134}},
       names + "1 | 2 | 3\n. | 2 | 3\n1" + left_out},
      {"a spectrum that ends before the last column",
       {{.points = 5, .end = 1150}, {.first = 1116, .end = 1146}},
       "'w1100' | 'w1110' | 'w1120' | 'w1130' | 'w1140'\n. | . | . | . | .\n1 | 2 | 3 | 4 | 5\n"
       ". | . | 1 | 2 | .\n1" +
           left_out},
      {"half a step",
       {{}, {.first = 1105, .end = 1135}},
       names + "1 | 2 | 3\n. | 1 | 2\n1" + left_out},
  };
  for (const auto& c : kCases) EXPECT_EQ(Values(c.spectra), c.values) << c.why;
}

TEST(NsasFile, EveryHabitCostsCells) {
  const std::string good = NsasBytes({{}, {}});
  const auto row = [](int number, const std::string& values) {
    return std::to_string(number) + " | 7 | 'Oats' | '01-02-98 03:04:05'" + values + "\n";
  };
  const std::string one = kHead + kModel + " | . | . | .\n" + row(1, " | 1 | 2 | 3");
  const std::string two = one + row(2, " | 1 | 2 | 3");
  const std::string left_out =
      " values at the ends of spectra, at wavelengths that not all spectra have, were not "
      "delivered\n";
  const std::string cut =
      "the DA file is cut or damaged, and what follows the last spectrum was not delivered\n";
  const struct {
    bool NsasRules::*habit;
    std::string da;
    std::string cn;
    std::string kept;
    std::string without;
  } kCases[] = {
      {&NsasRules::ends_with_shortest_spectrum, NsasBytes({{}, {.first = 1120, .end = 1150}}), "",
       one + row(2, " | . | . | 1") + "2" + left_out,
       kHead + " | 'w1130' | 'w1140'" + kModel + " | . | . | . | . | .\n" +
           row(1, " | 1 | 2 | 3 | . | .") + row(2, " | . | . | 1 | 2 | 3")},
      {&NsasRules::columns_lie_within_spectra, NsasBytes({{}, {.first = 1104, .end = 1134}}), "",
       one + row(2, " | . | 2 | 3") + "1" + left_out, two},
      {&NsasRules::constituents_fit, good, "x",
       "1291 CN-file corrupt! File size do not match any known version of CN file formats.\n",
       two + "the size of the CN file fits no version of it, and the constituents were not "
             "delivered\n"},
      {&NsasRules::damage_refuses_files, good + NsasSpectrum{}.Bytes().substr(0, 70), "",
       "1282 DA-file corrupt! Could not read the whole header for spectra (possibly end of "
       "file).\n",
       two + cut},
      {&NsasRules::damage_refuses_files, good.substr(0, 256 + 128 + 9), "",
       "1286 DA-file corrupt! Could not read all the data for spectra (possibly end of file).\n",
       one + row(2, " | 1 | 2 | .") + cut},
      {&NsasRules::damage_refuses_files, NsasBytes({{}, {.points = 0}, {}}), "",
       "1283 Spectra header in DA-file is corrupt! Spectra header contains corrupt information "
       "about "
       "starting, ending wavelength, or number of data points.\n",
       one + cut},
      {&NsasRules::spectra_are_alike,
       NsasBytes({{.constituents = 2}, {.first = 1110, .end = 1116, .constituents = 1}}),
       NsasConstituents("Fat       Ash", {{8, 9}, {10, 11}}),
       "1284 Spectra header in DA-file is corrupt! Spectra header contains information that "
       "doesn't match earlier read spectra. Spectra wavelengths or number of constituents does "
       "not match.\n",
       "'SampleNo' | 'SpectrumNo' | 'SampleName' | 'Time' | 'w1100' | 'w1110' | 'w1112' | 'w1114' "
       "| 'w1120' | 'Fat' | 'Ash'" +
           kModel + Repeated(" | .", 7) + "\n" + row(1, " | 1 | 2 | . | . | 3 | 8 | 9") +
           row(2, " | . | 1 | 2 | 3 | . | 10 | .")},
  };
  for (const auto& c : kCases) {
    NsasRules rules;
    EXPECT_EQ(ImportNsas(c.da, c.cn), c.kept);
    rules.*c.habit = false;
    EXPECT_EQ(ImportNsas(c.da, c.cn, rules), c.without);
    EXPECT_EQ(ImportNsas(c.da, c.cn, NsasRules::Off()), c.without);
  }
  // Names of close points.
  const std::string close = NsasBytes({{.points = 12, .first = 30'001, .end = 30'002}});
  EXPECT_NE(ImportNsas(close, "").find("'w30001.2' | 'w30001.2'"), std::string::npos);
  EXPECT_NE(ImportNsas(close, "", NsasRules::Off()).find("'w30001.17' | 'w30001.25'"),
            std::string::npos);
  // Two spectra a billion steps apart.
  EXPECT_EQ(ImportNsas(NsasBytes({{.points = 32767, .first = 1, .end = 2},
                                  {.points = 32767, .first = 32766, .end = 32767}}),
                       "", NsasRules::Off())
                .substr(0, 2),
            "2 ");
}

// Steps that no double holds, where a column that is cut instead of rounded is one too few.
TEST(NsasFile, RoundsToTheNearestColumn) {
  for (int steps = 1; steps < 100; ++steps) {
    const auto points = static_cast<std::int16_t>(7 * steps);
    const std::string sheet = Values({{.points = points, .first = 1006, .end = 1013},
                                      {.points = points, .first = 1000, .end = 1007}});
    std::string expected = "\n" + Repeated(". | ", 6 * static_cast<std::size_t>(steps));
    for (int i = 1; i <= steps; ++i) expected += std::to_string(i) + (i < steps ? " | " : "\n");
    EXPECT_NE(sheet.find(expected), std::string::npos) << steps;
  }
}

TEST(NsasFile, RefusesWithAStatusAndAText) {
  const std::string bad_header =
      "1283 Spectra header in DA-file is corrupt! Spectra header contains corrupt information "
      "about starting, ending wavelength, or number of data points.\n";
  const std::string differ =
      "1284 Spectra header in DA-file is corrupt! Spectra header contains information that doesn't "
      "match earlier read spectra. Spectra wavelengths or number of constituents does not "
      "match.\n";
  ExpectImports<NsasFile>({
      {"no values", NsasBytes({{}, {.points = 0}}), bad_header},
      {"fewer", NsasBytes({{.points = -32768}}), bad_header},
      {"end before first", NsasBytes({{.end = 1099}}), bad_header},
      {"end at first", NsasBytes({{.end = 1100}}), bad_header},
      {"first at 0", NsasBytes({{.first = 0}}), bad_header},
      {"constituents below 0", NsasBytes({{.constituents = -1}}), bad_header},
      {"another step", NsasBytes({{}, {.end = 1131}}), differ},
      {"other constituents", NsasBytes({{}, {.constituents = 1}}), differ},
  });
  ExpectNoFile<NsasFile>(
      "1280 Failed to open stream for reading.",
      "1281 Wrong file mode. The executed operation is only supported in read mode.", 1281);
}

// A file is sized by walking through it, so that one cut anywhere but between spectra has no size.
TEST(NsasFile, SizesNoFileThatIsCutInsideASpectrum) {
  const std::string whole = NsasBytes({{.points = 40}, {.points = 40, .end = 1130}});
  constexpr std::size_t kSpectrum = 128 + 256;
  ASSERT_EQ(whole.size(), 2 * kSpectrum);
  const MemoryFile cut;
  const MemoryFile cut_later;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::size_t within = size % kSpectrum;
    const bool between = within == 0 && size > 0;
    const int expected = within < 80 ? 1282 : (within < 128 ? 1285 : 1286);
    cut.Put(whole.substr(0, size));
    NsasFile file;
    ASSERT_EQ(file.Open(true, cut.path(), nullptr), 0);
    EXPECT_EQ(file.GetNumRows(), between ? 3 : -1) << size;
    EXPECT_EQ(file.GetStatus(), between ? 0 : expected) << size;

    // The same where another program cuts it between the two looks.
    NsasFile other;
    cut_later.Put(whole);
    ASSERT_EQ(other.Open(true, cut_later.path(), nullptr), 0);
    ASSERT_EQ(other.GetNumRows(), 4);
    cut_later.Put(whole.substr(0, size));
    MemorySheet sheet;
    EXPECT_EQ(other.Read(&sheet), within < 128 + 160 ? expected : 1287) << size;
    EXPECT_EQ(sheet.IsNumber(1, 3), size >= 128 + 160) << size;
  }
}

TEST(NsasFile, TakesNoConstituentsFromAFileOfAnotherSize) {
  const TempFolder folder;
  const std::string path = folder.Put("a.da", NsasBytes({{.constituents = 2}}));
  const std::string whole = NsasConstituents("Fat", {{1, 2}});
  for (std::size_t size = 0; size <= whole.size() + 128; ++size) {
    folder.Put("a.cn", (whole + whole).substr(0, size));
    NsasFile reader;
    EXPECT_EQ(ImportFile(reader, path).status, size == 128 || size == 512 ? 0 : 1291) << size;
  }

  // As many as fit, and more.
  EXPECT_TRUE(ImportNsas(NsasBytes({{.constituents = 32}}),
                         NsasConstituents("", {std::vector<float>(32, 1.5F)}))
                  .ends_with(Repeated(" | 1.5", 32) + "\n"));
  for (const std::int16_t constituents : {std::int16_t{33}, std::int16_t{32767}}) {
    const std::string da = NsasBytes({{.constituents = constituents}});
    EXPECT_EQ(ImportNsas(da, whole),
              "1289 CN-file corrupt! Could not read the whole value record for constituents "
              "(possibly end of file).\n");
    EXPECT_EQ(ImportNsas(da, whole.substr(1)).substr(0, 5), "1291 ");
    EXPECT_EQ(ImportNsas(da), ImportNsas(NsasBytes({{}})));
  }
}

TEST(NsasFile, TakesColumns) {
  const std::string da = NsasBytes({{.constituents = 2}, {.end = 1130, .constituents = 2}});
  const std::string cn = NsasConstituents("Fat       Ash", {{8, 9}, {10, 11}});
  const std::string nothing = ". | . | . | . | . | . | . | . | .\n";
  const struct {
    const char* pairs;
    std::string sheet;
  } kCases[] = {
      {"columns=6,8;zork=1",
       ". | . | . | . | . | 'w1110' | 'w1120' | 'Fat' | .\n" + nothing +
           ". | . | . | . | . | 2 | 3 | 8 | .\n. | . | . | . | . | 2 | 3 | 10 | .\n"},
      {"columns=1,2",
       "'SampleNo' | 'SpectrumNo' | . | . | . | . | . | . | .\n"
       "'/Instrument model 6500' | . | . | . | . | . | . | . | .\n"
       "1 | 7 | . | . | . | . | . | . | .\n2 | 7 | . | . | . | . | . | . | .\n"},
      {"columns=2147483647,0", nothing + nothing + nothing + nothing},
  };
  for (const auto& c : kCases) EXPECT_EQ(ImportNsas(da, cn, {}, c.pairs), c.sheet) << c.pairs;
  ExpectRefusedOptions<NsasFile>(da, {"columns=0,1", "columns=3,2", "columns=1", "columns=1,2,3",
                                      "columns=a,b", "columns=", "columns=-1,0", "columns"});
  ExpectMade(NsasFile::GetImportOptions({2, 3}), "columns=2,3");
}

}  // namespace

}  // namespace nvimport
