#include <filesystem>
#include <limits>

#include "nvimport/formats/spectra/ChemStationFile.h"
#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Cases.h"
#include "tests/support/ChemStationFixture.h"

namespace nvimport {

namespace {

using Fixture = ChemStationFixture;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

const std::string kHeads = "'Primary ID' | 'Name' | 0 | 1 | 2\n";
const std::string kSheet = kHeads + "1 | 'file.txt' | 10 | -20000 | -20001.5\n";
const std::string kDeltas = Fixture::Segment({Fixture::Delta(20)}) +
                            Fixture::Segment({Fixture::Absolute(-40'000), Fixture::Delta(-3)});
const std::string kDoubleDeltas =
    Fixture::DoubleAbsolute(20) + Fixture::DoubleAbsolute(-40'000) + Fixture::Delta(-3);
const std::string kDoubles =
    Fixture::Little(20.0) + Fixture::Little(-40'000.0) + Fixture::Little(-40'003.0);
const std::string kEnd(2, '\0');

std::string Chromatogram(Fixture file = {}) {
  if (file.body.empty()) file.body = kDeltas + kEnd;
  return file.Bytes();
}

// Two spectra, of 10, 11, 12 and 20, -20000, 0.
Fixture Spectra(int version = 131) {
  Fixture file{.version = version};
  file.Add(0,
           Fixture::Scan(0, Fixture::Little<std::int16_t>(20) + Fixture::Little<std::int16_t>(2) +
                                Fixture::Little<std::int16_t>(2)));
  return file.Add(90'000, Fixture::Scan(90'000, Fixture::Little<std::int16_t>(40) +
                                                    Fixture::Little<std::int16_t>(INT16_MIN) +
                                                    Fixture::Little<std::int32_t>(-40'000) +
                                                    Fixture::Little<std::int16_t>(5)));
}

const std::string kScanHeads = "'Primary ID' | 'Name' | 'Time' | 200 | 202 | 204\n";
const std::string kFirstScan = "1 | 'file.txt_1' | 0 | 10 | 11 | 12\n";
const std::string kSpectra =
    kScanHeads + kFirstScan + "2 | 'file.txt_2' | 1.5 | 20 | -20000 | -19997.5\n";

TEST(ChemStationFile, ReadsEveryVersion) {
  const auto with = [](int version, const std::string& body) {
    return Chromatogram({.version = version, .body = body});
  };
  Fixture doubles{.version = 131, .type = "OL DATA FILE"};
  doubles.Add(60'000, Fixture::Scan(60'000, kDoubles));
  ExpectImports<ChemStationFile>({
      {"8", with(8, kDeltas + kEnd), kSheet},
      {"30", with(30, kDeltas + kEnd), kSheet},
      {"81", with(81, kDoubleDeltas), kSheet},
      {"130", with(130, kDeltas + kEnd), kSheet},
      {"179", with(179, kDoubles), kSheet},
      {"180, differences", with(180, kDeltas + kEnd), kSheet},
      {"180, double differences", with(180, kDoubleDeltas + kEnd), kSheet},
      {"180, doubles", with(180, kDoubles), kSheet},
      {"181", with(181, kDoubleDeltas + kEnd), kSheet},
      {"31", Spectra(31).Bytes(), kSpectra},
      {"131", Spectra(131).Bytes(), kSpectra},
      {"131 of doubles", doubles.Bytes(),
       kScanHeads + "1 | 'file.txt_1' | 1 | 10 | -20000 | -20001.5\n"},
      {"beyond 32 bits",
       with(181,
            Fixture::DoubleAbsolute(-0x3'0000'0000) + Fixture::Delta(2) + Fixture::Delta(2) + kEnd),
       kHeads + "1 | 'file.txt' | -6442450944 | -6442450943 | -6442450941\n"},
      {"a point",
       Chromatogram({.last_time = 0, .body = Fixture::Segment({Fixture::Delta(4)}) + kEnd}),
       "'Primary ID' | 'Name' | 0\n1 | 'file.txt' | 2\n"},
      {"an intercept", Chromatogram({.intercept = 0.25}),
       kHeads + "1 | 'file.txt' | 10.25 | -19999.75 | -20001.25\n"},
  });
}

TEST(ChemStationFile, TakesOptions) {
  const std::string one = Chromatogram();
  const std::string many = Spectra().Bytes();
  const std::string x = "'Primary ID' | 'Name' | 0 | 1.5\n";
  ExpectImports<ChemStationFile>({
      {"", one, "'Primary ID' | 'Name' | 1 | 2\n1 | 'file.txt' | -20000 | -20001.5\n", "range=2,0"},
      {"", one, kHeads + "1 | 'file.txt' | 20 | -40000 | -40003\n", "scale=0"},
      {"", many,
       "'Primary ID' | 'Name' | 'Time' | 202\n1 | 'file.txt_1' | 0 | 11\n"
       "2 | 'file.txt_2' | 1.5 | -20000\n",
       "range=2,2"},
      {"", many, x + "1 | 'file.txt, 202 nm' | 11 | -20000\n", "wavelength=202"},
      {"the nearest", many, x + "1 | 'file.txt, 204 nm' | 12 | -19997.5\n", "wavelength=204.9"},
      {"", many, "4410 The file has no values at the wavelength that was chosen.\n",
       "wavelength=254"},
  });
  ExpectRefusedOptions<ChemStationFile>(one,
                                        {"range=4,5", "scale=2", "wavelength=x", "wavelength=-1"});
  ExpectMade(ChemStationFile::GetImportOptions({2, 0}, 254.5, false),
             "range=2,0;wavelength=254.5;scale=0");
}

TEST(ChemStationFile, AsksForTheRange) {
  ScriptedDialogs dialogs;
  dialogs.range = RangeChoice{2, 2};
  EXPECT_EQ(Import<ChemStationFile>(Chromatogram()).Summary(),
            "'Primary ID' | 'Name' | 1\n1 | 'file.txt' | -20000\n");
  ASSERT_EQ(dialogs.range_questions.size(), 1U);
  EXPECT_EQ(dialogs.range_questions[0].last_x, 2);
  dialogs.range.reset();
  EXPECT_EQ(Import<ChemStationFile>(Chromatogram()).Summary(), "4 AbortedByUser\n");
}

TEST(ChemStationFile, TellsWhatDoesNotHold) {
  const std::string may_be = ", so the file may be damaged\n";
  const std::string extremes =
      "the largest or the smallest value is not the one that the header states" + may_be;
  const auto noted = [](const Fixture& file, const std::string& sheet, const std::string& note) {
    return ImportCase{"", file.Bytes(), sheet + note};
  };
  Fixture moved = Spectra();
  moved.index[0] ^= 1;
  Fixture lost = Spectra();
  lost.scans = 1;
  Fixture aborted = Spectra();
  aborted.scans = 0;
  aborted.index.clear();
  Fixture cut = aborted;
  cut.body.pop_back();
  ExpectImports<ChemStationFile>({
      noted({.largest = 20, .smallest = -40'003, .body = kDeltas + kEnd}, kSheet, ""),
      noted({.largest = 21, .smallest = -40'003, .body = kDeltas + kEnd}, kSheet, extremes),
      noted({.largest = 20, .smallest = -40'004, .body = kDeltas + kEnd}, kSheet, extremes),
      noted({.step = 30, .body = kDeltas + kEnd}, kSheet,
            "the number of values is not that of the times and their step that the header states" +
                may_be),
      noted({.first_time = 1, .last_time = 0, .body = kDeltas + kEnd},
            "'Primary ID' | 'Name' | 1 | 2 | 3\n" + kSheet.substr(kHeads.size()),
            "the header states no times that make sense, and points are numbered instead\n"),
      noted({.scale = kNaN, .body = kDeltas + kEnd},
            kHeads + "1 | 'file.txt' | 20 | -40000 | -40003\n",
            "the header states no scale that makes sense, and values are as they are stored\n"),
      noted({.body = kDeltas}, kSheet,
            "nothing marks the end of the values, so some may be missing\n"),
      noted({.body = kDeltas + kEnd + "abc"}, kSheet,
            "3 bytes stand behind the values and were not delivered\n"),
      noted(moved, kSpectra,
            "the index says otherwise of 1 spectra than these themselves" + may_be),
      noted(lost, kScanHeads + kFirstScan, "the index of spectra does not fit them" + may_be),
      noted(aborted, kSpectra,
            "the header states no number of spectra, so the run may have been aborted\n"),
      noted(cut, kScanHeads + kFirstScan,
            "the last spectrum is cut short and was not delivered\n"
            "the header states no number of spectra, so the run may have been aborted\n"),
  });
}

TEST(ChemStationFile, RefusesWithAStatusAndAText) {
  const std::string cut = "4405 The file is cut short. It cannot be read.\n";
  const std::string damaged = "4406 The file is damaged within its values. It cannot be read.\n";
  const std::string other = "4402 This file does not seem to be a valid HPLC ChemStation file.\n";
  const std::string no_scan = ". | . | . | . | . | .\n";
  const std::string good = Chromatogram();
  std::string two = good;
  two[251] = 31;
  Fixture short_scan{.version = 131};
  short_scan.Add(0, Fixture::Scan(0, "\1\2\3"));
  Fixture changing = Spectra();
  changing.Add(100'000, Fixture::Scan(100'000, std::string(6, '\0'), 3, 4040));
  Fixture claiming = Spectra();
  claiming.scans = 1'000'000;
  Fixture more = Spectra();
  more.scans = 3;
  ExpectImports<ChemStationFile>({
      {"nothing", "", other},
      {"a text", "a,b\n", other},
      {"two versions", two, other},
      {"mass spectra", "\0012\0\0\023GC / MS DATA FILE"s + std::string(300, '\0'),
       "4403 This file holds mass spectra, which cannot be read.\n"},
      {"a version of later", Chromatogram({.version = 182}),
       "4404 This version of HPLC ChemStation files is not supported.\n"},
      {"a part of the header", good.substr(0, 6000), cut},
      {"a part of a segment", good.substr(0, good.size() - 4), cut},
      {"a part of an absolute value",
       Chromatogram({.version = 81, .body = kDoubleDeltas.substr(0, 14)}), cut},
      {"a part of a double", Chromatogram({.version = 179, .body = kDoubles.substr(0, 20)}), cut},
      {"no segment", Chromatogram({.body = kDeltas + "\x11"}), damaged},
      {"no values", Chromatogram({.body = kEnd}), "4407 The file holds no values.\n"},
      {"a scan without its values", short_scan.Bytes(),
       damaged + kScanHeads + "1 | 'file.txt_1' | 0 | 256.5 | . | .\n"},
      {"other wavelengths", changing.Bytes(),
       "4409 The spectra of the file do not have the same wavelengths.\n" + kSpectra + no_scan},
      {"scans that are not there", claiming.Bytes(), cut},
      {"one of them", more.Bytes(), damaged + kSpectra + no_scan},
  });
  ExpectNoFile<ChemStationFile>(
      "4400 Unable to open file.",
      "4401 Unable to read file. The file was not opened or Open File failed.", 4401);
}

TEST(ChemStationFile, PutsFilesAndFoldersTogether) {
  const TempFolder folder;
  std::filesystem::create_directory(folder.path() + "/a.D");
  std::filesystem::create_directory(folder.path() + "/b.D");
  const auto of = [](const char* signal) {
    return std::vector<Fixture::Text>{{858, "S"}, {4213, signal}};
  };
  const std::string a = folder.Put("a.D/a.CH", Chromatogram({.texts = of("A, Sig=254")}));
  const std::string b =
      folder.Put("a.D/b.ch", Chromatogram({.texts = of(""), .last_time = 240'000, .step = 120}));
  const std::string uv = folder.Put("a.D/c.uv", Spectra().Bytes());
  folder.Put("a.D/readme.ch", "no chromatogram");
  const auto import = [](const std::string& path, const std::string& pairs = "") {
    ChemStationFile file;
    return ImportFile(file, path, pairs).Summary();
  };
  const std::string both =
      "1 | 'S, A, Sig=254' | 10 | -20000 | -20001.5 | .\n"
      "2 | 'S, b.ch' | 10 | . | -20000 | -20001.5\n";
  const std::string x = "'Primary ID' | 'Name' | 0 | 1 | 2 | 4\n";
  EXPECT_EQ(import(FileSelection::Join({a, b})), x + both);
  EXPECT_EQ(
      import(folder.path() + "/a.D"),
      x + both +
          "1 file of spectra over time lies beside the chromatograms and was not delivered\n");
  EXPECT_EQ(import(folder.path() + "/a.D", "wavelength=204;range=2,3"),
            "'Primary ID' | 'Name' | 1 | 1.5\n1 | 'S, A, Sig=254' | -20000 | .\n"
            "2 | 'S, b.ch' | . | .\n3 | 'c.uv, 204 nm' | . | -19997.5\n");
  EXPECT_EQ(import(FileSelection::Join({a, uv})),
            "4408 Chromatograms and spectra over time do not fit into one sheet. Please select "
            "files of one kind, or a wavelength.\n");
  EXPECT_EQ(import(folder.path() + "/b.D"),
            "4412 The folder does not hold any HPLC ChemStation file (.ch, .uv).\n");
  EXPECT_EQ(ChemStationFile::IsChemStationFile((folder.path() + "/a.D").c_str()), kCertain);
  EXPECT_EQ(ChemStationFile::IsChemStationFile((folder.path() + "/b.D").c_str()), kNotThis);
}

TEST(ChemStationFile, IsSureOfAFileWhoseBytesAgree) {
  const std::string good = Chromatogram();
  const struct {
    const char* why;
    std::string bytes;
    Confidence answer;
  } kCases[] = {
      {"", good, kCertain},
      {"", Spectra(31).Bytes(), kCertain},
      {"another type", Chromatogram({.type = "LC DATA"}), kPlausible},
      {"no segment", Chromatogram({.body = "\x11\1\0\0"s}), kPlausible},
      {"half a double", Chromatogram({.version = 179, .body = "abcd"}), kPlausible},
      {"a part", good.substr(0, 1000), kPlausible},
      {"another version", Chromatogram({.version = 182}), kNotThis},
      {"a text", "130", kNotThis},
  };
  for (const auto& c : kCases) {
    const TempFile file(c.bytes);
    EXPECT_EQ(ChemStationFile::IsChemStationFile(file.path()), c.answer) << c.why;
  }
}

TEST(ChemStationFile, ReadsManySpectraInLittleMemory) {
  constexpr int kScans = 10'000;
  constexpr int kPoints = 400;
  Fixture many{.version = 131};
  for (int i = 0; i < kScans; ++i)
    many.Add(i, Fixture::Scan(i, std::string(std::size_t{2} * kPoints, '\1'), kPoints, 2000));
  const TempFile place(many.Bytes());
  class Counting : public ReadSpreadSheetData {
   public:
    using ReadSpreadSheetData::Set;
    void Set(int, int, const char*) override {}
    void Set(int, int, float) override { ++numbers; }
    void SetDataSize(int, int) override {}
    int GetNumberOfColumns() override { return 0; }
    int GetNumberOfRows() override { return 0; }
    int numbers = 0;
  } sink;
  const LogRecorder log;
  const AllocationCounter memory;
  ChemStationFile file;
  ASSERT_EQ(file.Open(true, place.path(), nullptr), 0);
  EXPECT_EQ(file.Read(&sink), 0);
  EXPECT_EQ(sink.numbers, kPoints + kScans * (kPoints + 2));
  EXPECT_EQ(log.Notes(), "");
  EXPECT_LT(memory.Peak(), std::size_t{2} << 20);
}

}  // namespace

}  // namespace nvimport
