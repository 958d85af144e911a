#include <cmath>

#include "nvimport/formats/spectra/BrukerOPUSFile.h"
#include "nvimport/framework/FileSelection.h"
#include "tests/support/Cases.h"
#include "tests/support/OpusFixture.h"

namespace nvimport {

namespace {

using Floats = std::vector<float>;
using Longs = std::vector<std::int32_t>;
using Opus = OpusFixture;

const std::string kNames = "'Primary ID' | 'Name' | 10 | 8 | 6\n";
const std::string kOne = kNames + "1 | 'file.txt' | ";
constexpr const char* kBadBlock =
    "4390 The file is corrupt! A data block that was selected is damaged or cut short.\n";

Opus Good() { return Opus{}.AddSpectrum(Opus::kAbsorbance, {1, 2, 3}); }

// A spectrum of each of these types.
std::string Several(const std::vector<std::uint32_t>& types) {
  Opus file;
  for (const std::uint32_t type : types) file.AddSpectrum(type, {1});
  return file.File();
}

// Of so many spectra, of which the file has `data`.
Opus Series(std::int32_t spectra, const std::string& data, std::int32_t said = 4) {
  const std::string head = Opus::Values(Longs{0, spectra, 32, 12, said, 1, 0, 9});
  return Opus{}.AddData(Opus::kAbsorbance + Opus::kSeriesOf, Opus::Status(3, 10, 6), head + data);
}

TEST(BrukerOPUSFile, ReadsValues) {
  const std::string values = Opus::Values(Floats{1.5F, -2, NAN});
  const auto said = [&](const std::string& status) {
    return Opus{}.AddData(Opus::kAbsorbance, status, values).File();
  };
  const auto named = [](const std::string& parameters) {
    return Good().Add(Opus::kSampleOrigin, parameters).File();
  };
  const std::string series = Opus::Values(Floats{1, 2, 3, -1, 4, 5, 6, -1, 7, 8, 9});
  const std::string rows = kNames + "1 | 'file.txt_1' | 1 | 2 | 3\n2 | 'file.txt_2' | 4 | 5 | 6\n";
  ExpectImports<BrukerOPUSFile>({
      {"floats as they are", said(Opus::Status(3, 10, 6)), kOne + "1.5 | -2 | nan\n"},
      {"times a factor that a float has not",
       said(Opus::Status(3, 10, 6, Opus::Number("CSF", 0.1))),
       kOne + "0.15000000000000002 | -0.2 | nan\n"},
      {"whole numbers, bytes behind them",
       Opus{}
           .AddData(Opus::kAbsorbance, Opus::Status(2, 10, 8, Opus::Whole("DPF", 2)),
                    Opus::Values(Longs{INT32_MAX, -7, 5}))
           .File(),
       "'Primary ID' | 'Name' | 10 | 8\n1 | 'file.txt' | 2147483647 | -7\n"},
      {"one point", Opus{}.AddSpectrum(Opus::kAbsorbance, {5}).File(),
       "'Primary ID' | 'Name' | 10\n1 | 'file.txt' | 5\n"},
      {"a range", said(Opus::Status(3, 10, 6)), "'Primary ID' | 'Name' | 8\n1 | 'file.txt' | -2\n",
       "range=2,2"},
      {"a name in Windows-1252", named(Opus::Text("SNM", "Fr\xfchling\x80")),
       kNames + "1 | 'Frühling€' | 1 | 2 | 3\n"},
      {"in a page that is stated", named(Opus::Text("SNM", "\xc4") + Opus::Whole("CPG", 1251)),
       kNames + "1 | 'Д' | 1 | 2 | 3\n"},
      {"in UTF-8", named(Opus::Text("SNM", "Früh")), kNames + "1 | 'Früh' | 1 | 2 | 3\n"},
      {"blanks are no name", named(Opus::Text("SNM", "  ")), kOne + "1 | 2 | 3\n"},
      {"behind the end of parameters", named("END\0\0\0\0\0"s + Opus::Text("SNM", "no")),
       kOne + "1 | 2 | 3\n"},
      {"a parameter that is cut", named(Opus::Text("SNM", "yes") + "CNM\0\2\0\xff\0"s),
       kNames + "1 | 'yes' | 1 | 2 | 3\n"},
      {"a series", Series(2, series.substr(0, 32)).File(), rows},
      {"what is said of the last is cut off", Series(2, series.substr(0, 28)).File(), rows},
      {"fewer than announced", Series(9, series.substr(0, 36)).File(),
       rows + "7 spectra of series are cut off and were not delivered\n"},
  });
}

TEST(BrukerOPUSFile, TakesWhatTheFileIsAbout) {
  constexpr std::uint32_t kReflectance = 0x300f;
  constexpr std::uint32_t kTransmittance = 0x140f;
  constexpr std::uint32_t kRaman = 0x280f;
  constexpr std::uint32_t kReference = 0x40b;
  constexpr std::uint32_t kPhase = 0xc07;
  constexpr std::uint32_t kDerivative = 0x2100f;
  constexpr std::uint32_t kReferenceInterferogram = 0x80b;
  const struct {
    const char* why;
    std::vector<std::uint32_t> types;
    std::vector<std::size_t> usual;
  } kCases[] = {
      {"a result before what it is from",
       {Opus::kSampleInterferogram, kPhase, Opus::kSampleSpectrum, kReference, kReflectance},
       {4}},
      {"results in their order", {kRaman, kReflectance, kTransmittance, Opus::kAbsorbance}, {3}},
      {"the same of the rest", {kRaman, kReflectance, kTransmittance}, {2}},
      {"what became of it", {Opus::kAbsorbance + Opus::kOriginal, Opus::kAbsorbance}, {1}},
      {"two alike", {Opus::kAbsorbance, kReference, Opus::kAbsorbance}, {0, 2}},
      {"before its derivative", {kDerivative, Opus::kAbsorbance}, {1}},
      {"the sample's", {kReference, Opus::kSampleSpectrum}, {1}},
      {"the reference", {kReferenceInterferogram, kReference}, {1}},
      {"interferograms alone", {kReferenceInterferogram, Opus::kSampleInterferogram}, {1}},
  };
  for (const auto& c : kCases) {
    ScriptedDialogs dialogs;
    EXPECT_EQ(Import<BrukerOPUSFile>(Several(c.types)).status, 4) << c.why;
    ASSERT_EQ(dialogs.items_questions.size(), 1) << c.why;
    EXPECT_EQ(dialogs.items_questions[0].usual, c.usual) << c.why;
  }
}

TEST(BrukerOPUSFile, AsksWhichBlocks) {
  const std::string bytes = Opus{}
                                .AddSpectrum(Opus::kSampleSpectrum, {1, 2}, Opus::Text("DXU", "WN"))
                                .Add(0x60100f, "a report, which has no points")
                                .AddSpectrum(0x5407, {3})
                                .AddSpectrum(Opus::kAbsorbance, {4, 5, 6})
                                .AddSpectrum(Opus::kAbsorbance + Opus::kOriginal, {7})
                                .File();
  const TempFile file(bytes);
  ScriptedDialogs dialogs;
  dialogs.items = ItemsChoice{{2, 0}, 0};
  NvImportOpenOptions options{0, nullptr};
  BrukerOPUSFile reader;
  EXPECT_EQ(ImportFile(reader, file.path(), &options).Summary(),
            "'Primary ID' | 'Name' | 6 | 8 | 10\n1 | 'file.txt_1' | . | 2 | 1\n"
            "2 | 'file.txt_2' | 6 | 5 | 4\n");
  EXPECT_EQ(PairsOf(options), "blocks=1,3;range=1,0");
  ASSERT_EQ(dialogs.items_questions.size(), 1);
  const ItemsQuestion& question = dialogs.items_questions[0];
  EXPECT_EQ(question.title, "Select Data Blocks");
  EXPECT_EQ(question.items, (std::vector<std::string>{"Sample Spectrum", "Sample Data of kind 21",
                                                      "Absorbance", "Absorbance, original"}));
  EXPECT_EQ(question.details[0], "2 points, x from 10 to 8 cm-1");
  reader.Close();
  dialogs.items = ItemsChoice{};
  EXPECT_EQ(ImportFile(reader, file.path()).Summary(), "4389 No data blocks were selected.\n");
  ExpectMade(BrukerOPUSFile::GetImportOptions({1, 3}, {2, 4}, 3),
             "range=2,4;blocks=1,3;reference=3");
  ExpectRefusedOptions<BrukerOPUSFile>(
      bytes, {"blocks=0", "blocks=5", "blocks=x", "blocks=1;range=0,1", "blocks=1;range=3,0",
              "blocks=1;range=2,1", "blocks=1,3;reference=2", "blocks=1,3;reference=1,3"});
}

// Those of a reference begin and end beyond the sample's, and lie on the same points but for what
// rounding does.
TEST(BrukerOPUSFile, PutsEveryValueUnderItsX) {
  const auto on = [](const char* name, double first, double last, const Floats& values) {
    return Opus{}
        .AddData(Opus::kAbsorbance,
                 Opus::Status(static_cast<std::int32_t>(values.size()), first, last),
                 Opus::Values(values))
        .Add(Opus::kSampleOrigin, Opus::Text("SNM", name));
  };
  const TempFolder folder;
  const auto read = [&](const std::vector<Opus>& files, const std::string& pairs) {
    std::vector<std::string> paths;
    paths.reserve(files.size());
    for (const Opus& file : files)
      paths.push_back(folder.Put("f" + std::to_string(paths.size()), file.File()));
    BrukerOPUSFile reader;
    return ImportFile(reader, FileSelection::Join(paths), pairs).Summary();
  };
  const Opus a = on("a", 0.3, 0.1, {3, 2, 1});
  const Opus b = on("b", 0.4, 0.1, {40, 30, 20, 10});
  EXPECT_EQ(read({a, a}, "blocks=1,2"),
            "'Primary ID' | 'Name' | 0.3 | 0.2 | 0.1\n1 | 'a' | 3 | 2 | 1\n2 | 'a' | 3 | 2 | 1\n");
  const std::string united =
      "'Primary ID' | 'Name' | 0.1 | 0.2 | 0.3 | 0.4\n1 | 'a' | 1 | 2 | 3 | .\n"
      "2 | 'b' | 10 | 20 | 30 | 40\n";
  EXPECT_EQ(read({a, b}, "blocks=1,2"), united);
  EXPECT_EQ(read({a, b}, "blocks=1,2;range=4,0"),
            "'Primary ID' | 'Name' | 0.4\n1 | 'a' | .\n2 | 'b' | 40\n");
  EXPECT_EQ(read({on("a", 3, 1, {3, 2, 1}), on("b", 4, 0, {40, 20, 10})}, "blocks=1,2;reference=1"),
            "'Primary ID' | 'Name' | 3 | 2 | 1\n1 | 'a' | 3 | 2 | 1\n2 | 'b' | 30 | 20 | 15\n");
  ScriptedDialogs dialogs;
  EXPECT_EQ(read({a, Opus{}.AddSpectrum(Opus::kSampleInterferogram, {1})}, ""),
            "4 AbortedByUser\n");
  EXPECT_EQ(dialogs.items_questions.at(0).usual, std::vector<std::size_t>{0});
  EXPECT_EQ(read({a, Good().Add(Opus::kAbsorbance, "")}, "blocks=3"),
            "5 The import options are not valid for this format.\n");
  EXPECT_EQ(read({a, Opus{}}, ""),
            "4387 Error in file 'f1': The file is corrupt! Its directory of blocks is damaged or "
            "cut short.\n");
}

TEST(BrukerOPUSFile, RefusesWhatIsDamaged) {
  const std::string good = Good().File();
  const auto with = [&](std::size_t at, std::int32_t value) {
    return std::string(good).replace(at, 4, Opus::Bytes(value));
  };
  const auto stated = [](const std::string& status) {
    return Opus{}.AddData(Opus::kAbsorbance, status, Opus::Values(Floats{1, 2, 3})).File();
  };
  constexpr const char* kDirectory =
      "4387 The file is corrupt! Its directory of blocks is damaged or cut short.\n";
  constexpr const char* kNothing = "4388 The file does not contain any data block with spectra.\n";
  constexpr const char* kOther = "4386 This file does not seem to be a valid Bruker OPUS file.\n";
  ExpectImports<BrukerOPUSFile>({
      {"nothing", "", kOther},
      {"another magic", "\x0a\x0a\xfe\xff" + good.substr(4), kOther},
      {"a header that is cut", good.substr(0, 23), kDirectory},
      {"a directory within the header", with(12, 20), kDirectory},
      {"more entries than there is room for", with(20, 3), kDirectory},
      {"more than the file has", std::string(with(16, 1000)).replace(20, 4, Opus::Bytes(1000)),
       kDirectory},
      {"an entry is left room", with(36, 0), kNothing},
      {"another type than its status", with(36, 0x1013), kNothing},
      {"a block behind the file", with(44, 1 << 30), kBadBlock},
      {"a cut file", good.substr(0, good.size() - 1), kBadBlock},
      {"more points than bytes", stated(Opus::Status(4, 10, 6)), kBadBlock},
      {"no points", stated(Opus::Status(0, 10, 6)), kBadBlock},
      {"2^31 points", stated(Opus::Status(INT32_MAX, 10, 6)), kBadBlock},
      {"an x that is no number", stated(Opus::Status(3, 10, NAN)), kBadBlock},
      {"no first x", stated(Opus::Whole("NPT", 3) + Opus::Number("LXV", 6)), kBadBlock},
      {"values of a form that is not known", stated(Opus::Status(3, 10, 6, Opus::Whole("DPF", 3))),
       kBadBlock},
      {"a series whose spectra are shorter than they say",
       Series(1, Opus::Values(Floats{1, 2})).File(), kBadBlock},
      {"a series without an end", Series(INT32_MAX, "", INT32_MAX).File(), kBadBlock},
      {"another block behind the file",
       Good().Add(Opus::kSampleOrigin, Opus::Text("SNM", "x")).File().substr(0, good.size() + 12),
       kOne + "1 | 2 | 3\n1 block lies beyond the end of a file, which may be damaged\n"},
      {"a form that is not read", Opus{}.AddSpectrum(Opus::kAbsorbance + 0x200000, {1}).File(),
       "4391 A data block that was selected is stored in a compact form, which is not "
       "supported.\n"},
      {"another one that is whole", Good().AddData(Opus::kSampleSpectrum, "", "").File(),
       kOne + "1 | 2 | 3\n", "blocks=1"},
  });
  ExpectNoFile<BrukerOPUSFile>(
      "4384 Unable to open file.",
      "4385 Unable to read file. The file was not opened or Open File failed.", 4385);
}

// Who is certain silences every other format.
TEST(BrukerOPUSFile, IsCertainOfWholeFilesOnly) {
  const std::string good = Good().File();
  const struct {
    std::string bytes;
    int answer;
  } kCases[] = {{good, 2},
                {good + "more", 2},
                {good.substr(0, good.size() - 1), 1},
                {good.substr(0, 20), 1},
                {"\x0a\x0a\xfe", 0},
                {"", 0}};
  for (const auto& c : kCases) {
    const TempFile file(c.bytes);
    EXPECT_EQ(NvImportIsCorrectFileType(4, file.path()), c.answer) << c.bytes.size();
  }
}

}  // namespace

}  // namespace nvimport
