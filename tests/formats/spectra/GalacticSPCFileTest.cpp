#include <cmath>
#include <limits>

#include "nvimport/formats/spectra/GalacticSPCFile.h"
#include "nvimport/framework/FileSelection.h"
#include "tests/support/Cases.h"
#include "tests/support/SpcFixture.h"

namespace nvimport {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
using Floats = std::vector<float>;
using Longs = std::vector<std::int32_t>;
using Shorts = std::vector<std::int16_t>;

Outcome ImportPath(const std::string& path, const std::string& pairs = "range=1,0") {
  GalacticSPCFile file;
  return ImportFile(file, path, pairs);
}

const std::string kNames = "'Primary ID' | 'Name' | 10 | 12 | 14\n";
const std::string kOne = kNames + "1 | 'file.txt' | ";

TEST(GalacticSPCFile, ReadsEveryLayout) {
  const struct {
    const char* why;
    SpcFixture file;
    std::string sheet;
  } kCases[] = {
      {"floats, NaN and infinity as they are", SpcFixture{}.Add(Floats{1.5F, NAN, -INFINITY}),
       kOne + "1.5 | nan | -inf\n"},
      {"32-bit, point before the first bit",
       SpcFixture{.exponent = 0}.Add(Longs{INT32_MIN, 1 << 30, 0}), kOne + "-0.5 | 0.25 | 0\n"},
      {"32-bit, whole", SpcFixture{.exponent = 32}.Add(Longs{-7, 16777216, 1}),
       kOne + "-7 | 16777216 | 1\n"},
      {"the largest exponent", SpcFixture{.exponent = 127}.Add(Longs{1, 0, -1}),
       kOne + "3.961408125713217e+28 | 0 | -3.961408125713217e+28\n"},
      {"the smallest", SpcFixture{.exponent = -127}.Add(Longs{INT32_MIN, 0, 1 << 30}),
       kOne + "-2.938735877055719e-39 | 0 | 1.4693679385278594e-39\n"},
      {"16-bit", SpcFixture{.flags = 0x01, .exponent = 15}.Add(Shorts{-32768, 1, 3}),
       kOne + "-16384 | 0.5 | 1.5\n"},
      {"16-bit, multiplied", SpcFixture{.flags = 0x01, .exponent = 18}.Add(Shorts{-1, 1, 3}),
       kOne + "-4 | 4 | 12\n"},
      {"each sub-file its own exponent, floats among 16-bit ones",
       SpcFixture{.flags = 0x05, .exponent = 1}
           .Add(Shorts{2, 4, 6}, 16)
           .Add(Floats{1, 2, 3}, -128)
           .Add(Shorts{2, 4, 6}, 15),
       kNames + "1 | 'file.txt_1' | 2 | 4 | 6\n2 | 'file.txt_2' | 1 | 2 | 3\n3 | 'file.txt_3' | 1 "
                "| 2 | 3\n"},
      {"without that flag they don't count",
       SpcFixture{.exponent = 32}.Add(Longs{2, 4, 6}, -128).Add(Longs{1, 2, 3}, 1),
       kNames + "1 | 'file.txt_1' | 2 | 4 | 6\n2 | 'file.txt_2' | 1 | 2 | 3\n"},
      {"an x array", SpcFixture{.flags = 0x80, .x = {1, 2.5F, 7}}.Add(Floats{1, 2, 3}),
       "'Primary ID' | 'Name' | 1 | 2.5 | 7\n1 | 'file.txt' | 1 | 2 | 3\n"},
      {"no sub-files", SpcFixture{}, kNames},
      {"no points", SpcFixture{.points = 0}.Add(Floats{}),
       "'Primary ID' | 'Name'\n1 | 'file.txt'\n"},
      {"one point", SpcFixture{.points = 1}.Add(Floats{5}),
       "'Primary ID' | 'Name' | 10\n1 | 'file.txt' | 5\n"},
      {"descending x", SpcFixture{.first_x = 14, .last_x = 10}.Add(Floats{1, 2, 3}),
       "'Primary ID' | 'Name' | 14 | 12 | 10\n1 | 'file.txt' | 1 | 2 | 3\n"},
      {"old, 32-bit, high half first",
       SpcFixture{.version = 'M', .exponent = 32, .data = {"\1\0\0\0\0\0\1\0\xff\xff\xfe\xff"s}},
       kOne + "65536 | 1 | -2\n"},
      {"old, 16-bit",
       SpcFixture{.version = 'M', .flags = 0x01, .exponent = 16, .data = {"\1\0\2\0\xff\xff"s}},
       kOne + "1 | 2 | -1\n"},
      {"old, floats", SpcFixture{.version = 'M', .data = {SpcFixture::Values(Floats{1.5F, 2, 3})}},
       kOne + "1.5 | 2 | 3\n"},
      {"old, an exponent beyond reason",
       SpcFixture{.version = 'M', .exponent = 32767, .data = {"\1\0\0\0\0\0\0\0\xff\xff\xff\xff"s}},
       kOne + "1.6923032801030364e+125 | 0 | -2.5822498780869086e+120\n"},
  };
  for (const auto& c : kCases)
    EXPECT_EQ(Import<GalacticSPCFile>(c.file.Bytes(), "range=1,0").Summary(), c.sheet) << c.why;
}

TEST(GalacticSPCFile, RefusesWithAStatusAndAText) {
  const std::string not_spc = "2562 This file does not seem to be a valid Galactic SPC file.\n";
  const std::string cut = "2564 No further information available.\n";
  ExpectImports<GalacticSPCFile>({
      {"one byte", "\0"s, not_spc},
      {"another version", SpcFixture{.version = 'N'}.Bytes(), not_spc},
      {"the other byte order", "@L",
       "2563 This version of Galactic SPC files are not supported.\n"},
      {"a new header cut short", "\0K"s, cut},
      {"an old header cut short", "\0M"s, cut},
      {"an x array cut short", SpcFixture{.flags = 0x80, .x = {1, 2}}.Bytes(), cut},
      {"an old file with an x array", SpcFixture{.version = 'M', .flags = 0x80}.Bytes(),
       "2565 Unevenly spaced X-variables are not supported.\n"},
      {"a header cut short, whatever its flags", "\xc0K"s + std::string(509, '\0'), cut},
      {"an x array each", SpcFixture{.flags = 0x40, .points = -1}.Bytes(),
       "2568 Looks like GC-MS spectra file(s) and that is not supported at the moment. Contact the "
       "Quellon support.\n"},
      {"negative points", SpcFixture{.points = -1}.Bytes(), cut},
      {"negative sub-files", SpcFixture{.sub_files = INT32_MIN}.Bytes(), cut},
      {"points that are no number",
       SpcFixture{.version = 'M'}.Bytes().replace(4, 4, "\0\0\xc0\x7f"s), cut},
      {"a claim of points that would only cost", SpcFixture{.points = INT32_MAX}.Bytes(), cut,
       "range=1,0"},
      {"a claim of sub-files that would only cost",
       SpcFixture{.points = 0, .sub_files = 2000000}.Bytes(), cut, "range=1,0"},
  });
  ExpectNoFile<GalacticSPCFile>(
      "2560 Unable to open file.",
      "2561 Unable to read file. The file was not opened or Open File failed.", 2561);
  EXPECT_EQ(ImportPath("").text, "No files were selected, import aborted.");
}

// Instruments stop while they write: the whole sub-files before the cut are delivered.
TEST(GalacticSPCFile, DeliversTheWholeSubFilesOfAFileCutAnywhere) {
  const std::string whole =
      SpcFixture{.flags = 0x80, .x = {1, 2, 3}}.Add(Floats{1, 2, 3}).Add(Floats{4, 5, 6}).Bytes();
  constexpr std::size_t kHeaders = 512 + 12;
  const MemoryFile file;
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    file.Put(whole.substr(0, size));
    const Outcome got = ImportPath(file.path());
    EXPECT_EQ(got.status, size == whole.size() ? 0 : (size < 2 ? 2562 : 2564)) << size;
    EXPECT_EQ(std::ranges::count(got.sheet, '\n'), size < kHeaders ? 0 : 3) << size;
    EXPECT_EQ(got.sheet.find("_1' | 1 | 2 | 3\n") != std::string::npos, size >= kHeaders + 44)
        << size;
  }
}

TEST(GalacticSPCFile, TakesARangeNamesAndARowOfX) {
  const std::string bytes = SpcFixture{}.Add(Floats{1, 2, 3}).Bytes();
  ExpectImports<GalacticSPCFile>({
      {"", bytes, "'Primary ID' | 'Name' | 12\n1 | 'file.txt' | 2\n", "range=2,2"},
      {"", bytes, "'Primary ID' | 'Name' | 12 | 14\n1 | 'file.txt' | 2 | 3\n", "range=2,99"},
      {"", bytes, "'Primary ID' | 'Name' | 't 14'\n1 | 'file.txt' | 3\n",
       "names=text;zork=1;range=3,0"},
      {"", bytes,
       "'Primary ID' | 'Name' | 10 | 12\n. | 'X-values' | 10 | 12\n2 | 'file.txt' | 1 | 2\n",
       "xrow=1;range=1,2;"},
  });
  ExpectRefusedOptions<GalacticSPCFile>(
      bytes, {"range=0,1", "range=4,0", "range=3,2", "range=1", "range=1,2,3", "range=a,b",
              "names=x", "xrow=2", "files=2", "files=0", "files=", "range", "=1"});
  ExpectMade(GalacticSPCFile::GetImportOptions({2, 3}, {2, 1}, true, true),
             "range=2,3;files=2,1;names=text;xrow=1");

  // The row of x values serves one read.
  const TempFile file(bytes);
  GalacticSPCFile spc;
  ASSERT_EQ(spc.Open(true, file.path(), OpenOptions::Pairs("range=1,0;xrow=1").get()), 0);
  for (const int rows : {3, 2}) {
    EXPECT_EQ(spc.GetNumRows(), rows);
    MemorySheet sheet;
    EXPECT_EQ(spc.Read(&sheet), 0);
    EXPECT_EQ(sheet.GetNumberOfRows(), rows);
  }
}

class SpcSet : public testing::Test {
 protected:
  SpcSet() {
    Put("a.spc", SpcFixture{}.Add(Floats{1, 2, 3}));
    Put("b.spc", SpcFixture{.last_x = 16, .points = 4}.Add(Floats{4, 5, 6, 7}));
    Put("c.spc", SpcFixture{.last_x = 20}.Add(Floats{8, 9, 0}).Add(Floats{8, 9, 0}));
    Put("x.spc", SpcFixture{.flags = 0x80, .x = {1, 2, 3}}.Add(Floats{1, 2, 3}));
    Put("y.spc", SpcFixture{.flags = 0x80, .x = {1, 2, 4}}.Add(Floats{4, 5, 6}));
    Put("near.spc", SpcFixture{.first_x = 10 + 1e-7, .last_x = 14 + 1e-7}.Add(Floats{1, 1, 1}));
    Put("nan.spc", SpcFixture{.first_x = kNaN}.Add(Floats{1, 1, 1}));
    Put("nan2.spc", SpcFixture{.first_x = kNaN}.Add(Floats{2, 2, 2}));
    Put("bad.spc", SpcFixture{.version = 'L'});
  }
  void Put(const std::string& name, const SpcFixture& file) { folder_.Put(name, file.Bytes()); }

  std::string Paths(const std::vector<std::string>& names) const {
    std::vector<std::string> paths;
    paths.reserve(names.size());
    for (const std::string& name : names) paths.push_back(folder_.path() + "/" + name);
    return FileSelection::Join(paths);
  }

  TempFolder folder_;
};

TEST_F(SpcSet, FilesThatFitAreOneSheet) {
  EXPECT_EQ(ImportPath(Paths({"a.spc", "b.spc", "near.spc"})).sheet,
            "'Primary ID' | 'Name' | 10 | 12 | 14 | 16\n1 | 'a.spc' | 1 | 2 | 3 | .\n"
            "2 | 'b.spc' | 4 | 5 | 6 | 7\n3 | 'near.spc' | 1 | 1 | 1 | .\n");
  EXPECT_EQ(ImportPath(Paths({"a.spc", "c.spc", "b.spc"}), "files=3,1;range=4,0").sheet,
            "'Primary ID' | 'Name' | 16\n1 | 'b.spc' | 7\n2 | 'a.spc' | .\n");
  EXPECT_EQ(ImportPath(Paths({"nan.spc", "nan2.spc"})).status, 0);
  EXPECT_EQ(ImportPath(Paths({"a.spc", "bad.spc", "c.spc"})).status, 2563);
}

TEST_F(SpcSet, FilesThatDoNotStandUnderTheirOwnXWithoutTheHabit) {
  GalacticSPCRules rules;
  rules.one_grid = false;
  const auto import = [&](const std::vector<std::string>& names, const char* pairs) {
    GalacticSPCFile file(rules);
    return ImportFile(file, Paths(names), pairs).Summary();
  };
  Put("later.spc",
      SpcFixture{.flags = 0x01, .exponent = 16, .first_x = 13, .last_x = 15}.Add(Shorts{1, 2, 3}));
  EXPECT_EQ(import({"a.spc", "later.spc", "x.spc"}, "range=1,0"),
            "'Primary ID' | 'Name' | 1 | 2 | 3 | 10 | 12 | 13 | 14 | 15\n"
            "1 | 'a.spc' | . | . | . | 1 | 2 | . | 3 | .\n"
            "2 | 'later.spc' | . | . | . | . | . | 1 | 2 | 3\n"
            "3 | 'x.spc' | 1 | 2 | 3 | . | . | . | . | .\n");
  EXPECT_EQ(import({"a.spc", "later.spc"}, "range=3,4;names=text"),
            "'Primary ID' | 'Name' | 't 13' | 't 14'\n1 | 'a.spc' | . | 3\n"
            "2 | 'later.spc' | 1 | 2\n");
}

TEST_F(SpcSet, FilesThatDoNotAreChosenFrom) {
  const struct {
    std::vector<std::string> files;
    const char* logged;
  } kCases[] = {
      {{"a.spc", "c.spc"}, "The data did not have the same X-spacing."},
      {{"a.spc", "nan.spc"}, "The data did not have the same X-spacing."},
      {{"x.spc", "y.spc"}, "The X variable names in files differ from each other"},
      {{"x.spc", "a.spc"}, "The X variable names in files differ from each other"},
      {{"a.spc", "x.spc"}, "The X variable names in files differ from each other"},
  };
  for (const auto& c : kCases) {
    const LogRecorder log;
    EXPECT_EQ(ImportPath(Paths(c.files)).text, "AbortedByUser");
    ASSERT_EQ(log.entries().size(), 1U);
    EXPECT_EQ(log.entries()[0].text, c.logged);
  }

  const std::string paths = Paths({"a.spc", "c.spc", "b.spc"});
  ScriptedDialogs dialogs;
  NvImportOpenOptions options{0, nullptr};
  GalacticSPCFile file;
  EXPECT_EQ(ImportFile(file, paths, &options).status, 4) << "nobody chose";
  file.Close();
  dialogs.items = ItemsChoice{{}, 0};
  EXPECT_EQ(ImportFile(file, paths, &options).status, 2566);
  file.Close();
  dialogs.items = ItemsChoice{{0, 1, 2}, 0};
  EXPECT_EQ(ImportFile(file, paths, &options).status, 2567) << "all of them again";
  file.Close();
  dialogs.items = ItemsChoice{{2, 0}, 0};
  EXPECT_EQ(ImportFile(file, paths, &options).status, 4) << "nobody gave a range";
  file.Close();
  dialogs.range = RangeChoice{2, 4};
  const Outcome chosen = ImportFile(file, paths, &options);
  EXPECT_EQ(
      chosen.sheet,
      "'Primary ID' | 'Name' | 12 | 14 | 16\n1 | 'b.spc' | 5 | 6 | 7\n2 | 'a.spc' | 2 | 3 | .\n");

  const ItemsQuestion& question = dialogs.items_questions.back();
  EXPECT_EQ(question.title, "Select Files");
  EXPECT_EQ(question.prompt,
            "The files did not have the same properties. Please only select the files with same "
            "properties from the ones you want to import. ");
  EXPECT_EQ(question.heading, "File");
  EXPECT_EQ(question.items,
            (std::vector<std::string>{
                "a.spc [Num values: 3, First value: 10, Last value: 14, X-Spacing: 2]",
                "c.spc [Num sub-files: 2, Num values: 3]",
                "b.spc [Num values: 4, First value: 10, Last value: 16, X-Spacing: 2]"}));
  const RangeQuestion& range = dialogs.range_questions.back();
  EXPECT_EQ(range.title, "Galactic SPC File Import Wizard");
  EXPECT_EQ(range.first_x, 10);
  EXPECT_EQ(range.last_x, 16);
  EXPECT_EQ(range.spacing, 2);
  EXPECT_EQ(range.points, 4);

  const std::size_t asked = dialogs.items_questions.size() + dialogs.range_questions.size();
  GalacticSPCFile again;
  EXPECT_EQ(ImportFile(again, paths, &options).sheet, chosen.sheet);
  EXPECT_EQ(dialogs.items_questions.size() + dialogs.range_questions.size(), asked);
}

TEST_F(SpcSet, AFileThatVanishesEndsTheReadWhereItStood) {
  GalacticSPCFile file;
  ASSERT_EQ(
      file.Open(true, Paths({"a.spc", "b.spc"}).c_str(), OpenOptions::Pairs("range=1,1").get()), 0);
  std::filesystem::remove(folder_.path() + "/b.spc");
  MemorySheet sheet;
  EXPECT_EQ(file.Read(&sheet), 2560);
  EXPECT_EQ(SheetText(sheet), "'Primary ID' | 'Name' | 10\n1 | 'a.spc' | 1\n. | . | .\n");
}

// The same file, big-endian: fields of a header, then numbers of `width` bytes in sub-files, each
// of which has a header whose points are all that matter.
std::string Swapped(const SpcFixture& file, std::size_t width) {
  std::string bytes = file.Bytes();
  const auto swap = [&](std::size_t at, std::size_t size) {
    std::reverse(&bytes[at], &bytes[at] + size);
  };
  bytes[1] = 'L';
  swap(4, 4);
  swap(8, 8);
  swap(16, 8);
  swap(24, 4);
  std::size_t at = 512;
  for (; at < 512 + file.x.size() * 4; at += 4) swap(at, 4);
  for (const std::string& sub_file : file.data) {
    const std::size_t end = at + sub_file.size();
    swap(at + 16, 4);
    for (at += 32; at < end; at += width) swap(at, width);
  }
  return bytes;
}

TEST(GalacticSPCFile, EveryHabitCostsCells) {
  SpcFixture old{.version = 'M', .flags = 0x04, .data = {SpcFixture::Values(Floats{1, 2, 3})}};
  old.Add(Floats{4, 5, 6}, -128).Add(Floats{7, 8, 9}, -128);
  SpcFixture exponents{.version = 'M', .flags = 0x04, .exponent = 5, .first_exponent = 3};
  const std::string ones = "\0\x20\0\0\0\x20\0\0\0\x20\0\0"s;  // an eighth of the whole range
  exponents.data = {ones};
  exponents.Add(std::vector{0x2000, 0x2000, 0x2000}, 4);
  const std::string two = SpcFixture{}.Add(Floats{1, 2, 3}).Add(Floats{4, 5, 6}).Bytes();
  SpcFixture own_x{.flags = 0xc4, .points = 70000};
  own_x.AddOwnX({5, 3, 5, 4}, Floats{1, 2, 3, 4}).AddOwnX({3}, Floats{5}).AddOwnX({}, Floats{});
  SpcFixture own_x_fixed{.flags = 0xc5, .exponent = 16};
  own_x_fixed.AddOwnX({1, 2}, Shorts{7, 8});
  const std::string byte_order = "2563 This version of Galactic SPC files are not supported.\n";
  const std::string mass_spectra =
      "2568 Looks like GC-MS spectra file(s) and that is not supported at the moment. Contact the "
      "Quellon support.\n";
  const std::string united =
      "'Primary ID' | 'Name' | 3 | 4 | 5 | 5\n1 | 'file.txt_1' | 2 | 4 | 1 | 3\n"
      "2 | 'file.txt_2' | 5 | . | . | .\n3 | 'file.txt_3' | . | . | . | .\n";
  using Rules = GalacticSPCRules;
  const std::string close =
      SpcFixture{.first_x = 1'000'001, .last_x = 1'000'002}.Add(Floats{1, 2, 3}).Bytes();
  ExpectRules<GalacticSPCFile, Rules>({
      {"names of close points", &Rules::names_of_six_digits, close,
       "'Primary ID' | 'Name' | 't 1e+06' | 't 1e+06' | 't 1e+06'\n1 | 'file.txt' | 1 | 2 | 3\n",
       "'Primary ID' | 'Name' | 't 1000001' | 't 1000001.5' | 't 1000002'\n"
       "1 | 'file.txt' | 1 | 2 | 3\n",
       "range=1,0;names=text"},
      {"old files", &Rules::one_spectrum_of_old_files, old.Bytes(),
       kOne + "1 | 2 | 3\n2 further spectra of files of the old layout were not delivered\n",
       kNames + "1 | 'file.txt_1' | 1 | 2 | 3\n2 | 'file.txt_2' | 4 | 5 | 6\n"
                "3 | 'file.txt_3' | 7 | 8 | 9\n",
       "range=1,0"},
      {"floats", &Rules::refuse_other_byte_order,
       Swapped(SpcFixture{}.Add(Floats{1.5F, -2, NAN}), 4), byte_order, kOne + "1.5 | -2 | nan\n",
       "range=1,0"},
      {"16-bit values", &Rules::refuse_other_byte_order,
       Swapped(SpcFixture{.flags = 0x81, .exponent = 16, .x = {1, 2, 4}}.Add(Shorts{1, -2, 300}),
               2),
       byte_order, "'Primary ID' | 'Name' | 1 | 2 | 4\n1 | 'file.txt' | 1 | -2 | 300\n",
       "range=1,0"},
      {"old files of exponents each", &Rules::one_spectrum_of_old_files, exponents.Bytes(),
       kOne + "4 | 4 | 4\n1 further spectrum of a file of the old layout was not delivered\n",
       kNames + "1 | 'file.txt_1' | 1 | 1 | 1\n2 | 'file.txt_2' | 2 | 2 | 2\n", "range=1,0"},
      {"a cut second spectrum", &Rules::refuse_cut_files, two.substr(0, two.size() - 1),
       "2564 No further information available.\n" + kNames +
           "1 | 'file.txt_1' | 1 | 2 | 3\n. | . | . | . | .\n",
       kNames + "1 | 'file.txt_1' | 1 | 2 | 3\n1 spectrum is cut short and was not delivered\n",
       "range=1,0"},
      {"the flag of own x arrays alone", &Rules::refuse_own_x_arrays,
       SpcFixture{.flags = 0x40}.Add(Floats{1, 2, 3}).Bytes(), mass_spectra, kOne + "1 | 2 | 3\n",
       "range=1,0"},
      {"x of each", &Rules::refuse_own_x_arrays, own_x.Bytes(), mass_spectra, united, "range=1,0"},
      {"a range of it", &Rules::refuse_own_x_arrays, own_x.Bytes(), mass_spectra,
       "'Primary ID' | 'Name' | 4 | 5\n1 | 'file.txt_1' | 4 | 1\n2 | 'file.txt_2' | . | .\n"
       "3 | 'file.txt_3' | . | .\n",
       "range=2,3"},
      {"of 16-bit values", &Rules::refuse_own_x_arrays, own_x_fixed.Bytes(), mass_spectra,
       "'Primary ID' | 'Name' | 1 | 2\n1 | 'file.txt' | 7 | 8\n", "range=1,0"},
  });
  EXPECT_EQ(Import<GalacticSPCFile>(Swapped(own_x, 4), "range=1,0", Rules::Off()).sheet, united);
}

}  // namespace

}  // namespace nvimport
