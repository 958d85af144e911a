#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <sstream>

#include "nvimport/formats/spectra/NsasFile.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/MemoryFile.h"
#include "tests/support/NsasFixture.h"
#include "tests/support/PairOptions.h"
#include "tests/support/Support.h"

namespace nvimport {

using namespace std::string_literals;

namespace {

Outcome ImportPath(const std::string& path, const std::string& pairs = "") {
  PairOptions options(pairs);
  NsasFile file;
  return ImportFile(file, path.c_str(), options.get());
}

// The sheet of `spectra` from the column of the first wavelength on, which others precede.
std::string Values(const std::vector<NsasSpectrum>& spectra) {
  const MemoryFile file(NsasBytes(spectra));
  const Outcome got = ImportPath(file.path(), "columns=5,0");
  EXPECT_EQ(got.status, 0) << got.text;
  std::istringstream lines(got.sheet);
  std::string values;
  for (std::string line; std::getline(lines, line);)
    values += line.substr(". | . | . | . | "s.size()) + "\n";
  return values;
}

TEST(NsasFile, ReadsSpectraAndTheirConstituents) {
  const std::string da = NsasBytes({{.constituents = 2},
                                    {.model = 1,
                                     .number = -2,
                                     .name = " \x01\xe9 t\0xyz"s,
                                     .constituents = 2,
                                     .time = {2014, -7, 31, 100, 0, -32768}}});
  const std::vector<std::vector<float>> values = {{1.5F, 2}, {-3, 4}};
  const std::string spectra =
      R"("SampleNo" | "SpectrumNo" | "SampleName" | "Time" | "w1100" | "w1110" | "w1120")";
  const std::string no_constituents =
      spectra + "\n\"/Instrument model 6500\" | . | . | . | . | . | .\n" +
      R"(1 | 7 | "Oats" | "01-02-98 03:04:05" | 1 | 2 | 3)" + "\n" +
      "2 | -2 | \"\xe9 t\" | \"31--7-2014 100:00:-32768\" | 1 | 2 | 3\n";
  const auto with = [&](const std::string& names) {
    return spectra + names + "\n\"/Instrument model 6500\" | . | . | . | . | . | . | . | .\n" +
           R"(1 | 7 | "Oats" | "01-02-98 03:04:05" | 1 | 2 | 3 | 1.5 | 2)" + "\n" +
           "2 | -2 | \"\xe9 t\" | \"31--7-2014 100:00:-32768\" | 1 | 2 | 3 | -3 | 4\n";
  };
  const std::string names = "Protein 1x  Oil\0     "s;
  const struct {
    const char* why;
    const char* da_name;
    const char* cn_name;
    std::string cn;
    std::string sheet;
  } kCases[] = {
      {"no CN file", "a.da", "b.cn", "", no_constituents},
      {"names, the first of all its ten characters", "a.da", "a.cn",
       NsasConstituents(names, values), with(R"( | "Protein 1x" | "Oil")")},
      {"no names", "a.b.DA", "a.b.cn", NsasConstituents("", values), with(R"( | "" | "")")},
      {"capitals", "a.DA", "a.CN", NsasConstituents("", values), with(R"( | "" | "")")},
      {"both", "a", "a.Cn", NsasConstituents("", values), with(R"( | "" | "")")},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    const TempFolder folder;
    folder.Put(c.cn_name, c.cn);
    const Outcome got = ImportPath(folder.Put(c.da_name, da));
    EXPECT_EQ(got.status, 0) << got.text;
    EXPECT_EQ(got.sheet, c.sheet);
  }
}

TEST(NsasFile, PlacesValuesByTheirWavelength) {
  const struct {
    const char* why;
    std::vector<NsasSpectrum> spectra;
    std::string values;
    std::vector<std::string> notes;
  } kCases[] = {
      {"one value", {{.points = 1, .first = 1, .end = 2}}, "\"w1\"\n.\n1\n", {}},
      {"a fraction",
       {{.first = 2, .end = 3}},
       "\"w2\" | \"w2.33333\" | \"w2.66667\"\n. | . | .\n1 | 2 | 3\n",
       {}},
      {"starts apart; the smallest last wavelength ends the sheet",
       {{.first = 1110, .end = 1140}, {}, {.points = 5, .end = 1150}},
       "\"w1100\" | \"w1110\" | \"w1120\"\n. | . | .\n. | 1 | 2\n1 | 2 | 3\n1 | 2 | 3\n",
       {"3 values at the ends of spectra, at wavelengths that not all spectra have, were not "
        "delivered"}},
      {"a spectrum that begins beyond the end",
       {{}, {.first = 2100, .end = 2130}},
       "\"w1100\" | \"w1110\" | \"w1120\"\n. | . | .\n1 | 2 | 3\n. | . | .\n",
       {"3 values at the ends of spectra, at wavelengths that not all spectra have, were not "
        "delivered"}},
      {"a little off the grid",
       {{}, {.first = 1104, .end = 1134}},
       "\"w1100\" | \"w1110\" | \"w1120\"\n. | . | .\n1 | 2 | 3\n. | 2 | 3\n",
       {"1 values at the ends of spectra, at wavelengths that not all spectra have, were not "
        "delivered"}},
      {"half a step",
       {{}, {.first = 1105, .end = 1135}},
       "\"w1100\" | \"w1110\" | \"w1120\"\n. | . | .\n1 | 2 | 3\n. | 1 | 2\n",
       {"1 values at the ends of spectra, at wavelengths that not all spectra have, were not "
        "delivered"}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    const LogRecorder log;
    EXPECT_EQ(Values(c.spectra), c.values);
    EXPECT_EQ(log.Notes(), c.notes);
  }
}

TEST(NsasFile, EveryHabitCostsCells) {
  const std::string good = NsasBytes({{}, {}});
  const std::string head =
      R"("SampleNo" | "SpectrumNo" | "SampleName" | "Time" | "w1100" | "w1110" | "w1120")";
  const std::string model = R"("/Instrument model 6500" | . | . | .)";
  const auto row = [](int number, const std::string& values) {
    return std::to_string(number) + R"( | 7 | "Oats" | "01-02-98 03:04:05")" + values + "\n";
  };
  const std::string one = head + "\n" + model + " | . | . | .\n" + row(1, " | 1 | 2 | 3");
  const std::string two = one + row(2, " | 1 | 2 | 3");
  const struct {
    bool NsasRules::*habit;
    std::string da;
    std::string cn;
    std::string kept;
    std::string without;
  } kCases[] = {
      {&NsasRules::ends_with_shortest_spectrum, NsasBytes({{}, {.first = 1120, .end = 1150}}), "",
       one + row(2, " | . | . | 1"),
       head + R"( | "w1130" | "w1140")" + "\n" + model + " | . | . | . | . | .\n" +
           row(1, " | 1 | 2 | 3 | . | .") + row(2, " | . | . | 1 | 2 | 3")},
      {&NsasRules::columns_lie_within_spectra, NsasBytes({{}, {.first = 1104, .end = 1134}}), "",
       one + row(2, " | . | 2 | 3"), two},
      {&NsasRules::constituents_fit, good, "x",
       "CN-file corrupt! File size do not match any known version of CN file formats.", two},
      {&NsasRules::damage_refuses_files, good + NsasSpectrum{}.Bytes().substr(0, 70), "",
       "DA-file corrupt! Could not read the whole header for spectra (possibly end of file).", two},
      {&NsasRules::damage_refuses_files, good.substr(0, 256 + 128 + 9), "",
       "DA-file corrupt! Could not read all the data for spectra (possibly end of file).",
       one + row(2, " | 1 | 2 | .")},
      {&NsasRules::damage_refuses_files, NsasBytes({{}, {.points = 0}, {}}), "",
       "Spectra header in DA-file is corrupt! Spectra header contains corrupt information about "
       "starting, ending wavelength, or number of data points.",
       one},
  };
  for (const auto& c : kCases) {
    const TempFolder folder;
    const std::string path = folder.Put("a.da", c.da);
    if (!c.cn.empty()) folder.Put("a.cn", c.cn);
    const auto result = [&](NsasRules rules) {
      NsasFile reader(rules);
      const Outcome got = ImportFile(reader, path.c_str(), nullptr);
      return got.status == 0 ? got.sheet : got.text;
    };
    NsasRules rules;
    EXPECT_EQ(result(rules), c.kept);
    rules.*c.habit = false;
    EXPECT_EQ(result(rules), c.without);
    EXPECT_EQ(result(NsasRules::Off()), c.without);
  }
  // Two spectra a billion steps apart.
  const MemoryFile file(NsasBytes(
      {{.points = 32767, .first = 1, .end = 2}, {.points = 32767, .first = 32766, .end = 32767}}));
  NsasFile reader(NsasRules::Off());
  EXPECT_EQ(ImportFile(reader, file.path(), nullptr).status, 2);
}

// Steps that no double holds, where a column that is cut instead of rounded is one too few.
TEST(NsasFile, RoundsToTheNearestColumn) {
  for (int steps = 1; steps < 100; ++steps) {
    const auto points = static_cast<std::int16_t>(7 * steps);
    const std::string sheet = Values({{.points = points, .first = 1006, .end = 1013},
                                      {.points = points, .first = 1000, .end = 1007}});
    std::string expected = "\n";
    for (int i = 0; i < 6 * steps; ++i) expected += ". | ";
    for (int i = 1; i <= steps; ++i) expected += std::to_string(i) + (i < steps ? " | " : "\n");
    EXPECT_NE(sheet.find(expected), std::string::npos) << steps;
  }
}

TEST(NsasFile, RefusesWithAStatusAndAText) {
  constexpr const char* kBadHeader =
      "Spectra header in DA-file is corrupt! Spectra header contains corrupt information about "
      "starting, ending wavelength, or number of data points.";
  constexpr const char* kDiffer =
      "Spectra header in DA-file is corrupt! Spectra header contains information that doesn't "
      "match earlier read spectra. Spectra wavelengths or number of constituents does not match.";
  const struct {
    const char* why;
    std::vector<NsasSpectrum> spectra;
    int status;
    const char* text;
  } kCases[] = {
      {"empty",
       {},
       1282,
       "DA-file corrupt! Could not read the whole header for spectra (possibly end of file)."},
      {"no values", {{}, {.points = 0}}, 1283, kBadHeader},
      {"fewer", {{.points = -32768}}, 1283, kBadHeader},
      {"end before first", {{.end = 1099}}, 1283, kBadHeader},
      {"end at first", {{.end = 1100}}, 1283, kBadHeader},
      {"first at 0", {{.first = 0}}, 1283, kBadHeader},
      {"constituents below 0", {{.constituents = -1}}, 1283, kBadHeader},
      {"another step", {{}, {.end = 1131}}, 1284, kDiffer},
      {"other constituents", {{}, {.constituents = 1}}, 1284, kDiffer},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    const MemoryFile file(NsasBytes(c.spectra));
    const Outcome got = ImportPath(file.path());
    EXPECT_EQ(got.status, c.status);
    EXPECT_EQ(got.text, c.text);
    EXPECT_EQ(got.sheet, "");
  }
  EXPECT_EQ(ImportPath("/none.da").status, 1280);
  EXPECT_EQ(ImportPath("/none.da").text, "Failed to open stream for reading.");
  NsasFile file;
  EXPECT_EQ(file.Open(false, "a.da", nullptr), 3);
  file.Close();
  EXPECT_EQ(file.GetNumRows(), -1);
  EXPECT_EQ(ErrorText(file),
            "Wrong file mode. The executed operation is only supported in read mode.");
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
    const Outcome got = ImportPath(path);
    EXPECT_EQ(got.status, size == 128 || size == 512 ? 0 : 1291) << size;
  }

  constexpr const char* kTooMany =
      "CN-file corrupt! Could not read the whole value record for constituents (possibly end of "
      "file).";
  for (const std::int16_t constituents : {std::int16_t{33}, std::int16_t{32767}}) {
    folder.Put("a.da", NsasBytes({{.constituents = constituents}}));
    folder.Put("a.cn", whole);
    NsasFile file;
    ASSERT_EQ(file.Open(true, path.c_str(), nullptr), 0);
    EXPECT_EQ(file.GetNumCols(), 4 + 3 + constituents);
    MemorySheet sheet;
    EXPECT_EQ(file.Read(&sheet), 1289);
    EXPECT_EQ(ErrorText(file), kTooMany);
    EXPECT_EQ(sheet.GetNumberOfColumns(), 0);
    folder.Put("a.cn", "");
    EXPECT_EQ(ImportPath(path).status, 1291);
    std::filesystem::remove(folder.path() + "/a.cn");
    EXPECT_EQ(ImportPath(path).status, 0);
  }
}

TEST(NsasFile, TakesColumns) {
  const TempFolder folder;
  const std::string path =
      folder.Put("a.da", NsasBytes({{.constituents = 2}, {.end = 1130, .constituents = 2}}));
  folder.Put("a.cn", NsasConstituents("Fat       Ash", {{8, 9}, {10, 11}}));
  const struct {
    const char* pairs;
    std::string sheet;
  } kCases[] = {
      {"columns=6,8;zork=1",
       R"(. | . | . | . | . | "w1110" | "w1120" | "Fat" | .)"
       "\n. | . | . | . | . | . | . | . | .\n"
       ". | . | . | . | . | 2 | 3 | 8 | .\n. | . | . | . | . | 2 | 3 | 10 | .\n"},
      {"columns=1,2", R"("SampleNo" | "SpectrumNo" | . | . | . | . | . | . | .)"
                      "\n\"/Instrument model 6500\" | . | . | . | . | . | . | . | .\n"
                      "1 | 7 | . | . | . | . | . | . | .\n2 | 7 | . | . | . | . | . | . | .\n"},
      {"columns=2147483647,0",
       ". | . | . | . | . | . | . | . | .\n. | . | . | . | . | . | . | . | .\n"
       ". | . | . | . | . | . | . | . | .\n. | . | . | . | . | . | . | . | .\n"},
  };
  for (const auto& c : kCases) EXPECT_EQ(ImportPath(path, c.pairs).sheet, c.sheet) << c.pairs;

  for (const char* pairs : {"columns=0,1", "columns=3,2", "columns=1", "columns=1,2,3",
                            "columns=a,b", "columns=", "columns=-1,0", "columns"}) {
    const LogRecorder log;
    const Outcome got = ImportPath(path, pairs);
    EXPECT_EQ(got.status, 5) << pairs;
    EXPECT_EQ(got.text, "The import options are not valid for this format.");
    EXPECT_EQ(log.entries().size(), 1U);
  }

  const std::unique_ptr<NvImportOpenOptions> options(NsasFile::GetImportOptions({2, 3}));
  EXPECT_EQ(std::string(options->data, options->data + options->size), "\v\0\0\0columns=2,3"s);
  SpreadsheetOpenOptions::FreeOpenOptions(options.get());
}

}  // namespace

}  // namespace nvimport
