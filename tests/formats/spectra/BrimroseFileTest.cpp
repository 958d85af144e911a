#include <cstdlib>
#include <ctime>
#include <limits>

#include "nvimport/formats/spectra/BrimroseFile.h"
#include "tests/support/BrimroseFixture.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

// The time zone of the platform while a test runs.
class TimeZone {
 public:
  explicit TimeZone(const char* zone) {
    if (const char* before = std::getenv("TZ")) before_ = before;
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;
  ~TimeZone() {
    if (before_)
      ::setenv("TZ", before_->c_str(), 1);
    else
      ::unsetenv("TZ");
    ::tzset();
  }

 private:
  std::optional<std::string> before_;
};

// Hours after 1970 began, in a zone whose clocks are one ahead.
class BrimroseTest : public testing::Test {
  const TimeZone zone_{"CET-1"};
};

const std::string kGood = BrimroseFixture{}.Bytes();
const std::string kNames = "'SampleNo' | 'DateTime' | 'w1100' | 'w1110' | 'w1120'\n";
const std::string kFirst = "1 | '1970-01-01/02:00:00' | 10 | 11 | 12\n";
const std::string kSecond = "2 | '1970-01-01/03:00:00' | 20 | 21 | 22\n";
const std::string kNothing = ". | . | . | . | .\n";

TEST_F(BrimroseTest, EveryHabitCosts) {
  ExpectRules<BrimroseFile, BrimroseRules>(
      {{"a cut observation", &BrimroseRules::cut_files_end_with_errors,
        kGood.substr(0, kGood.size() - 1),
        "2820 File corrupt! Could not read data (possibly end of file).\n" + kNames + kFirst +
            kNothing,
        kNames + kFirst + "1 observation is cut off and was not delivered\n"},
       {"more than the header states", &BrimroseRules::cut_files_end_with_errors, kGood + "ab",
        kNames + kFirst + kSecond,
        kNames + kFirst + kSecond +
            "2 bytes stand behind the last observation and were not delivered\n"},
       {"steps below one", &BrimroseRules::names_of_whole_numbers,
        BrimroseFixture{.first = 1100, .last = 1100.5F, .step = 0.25F}.Bytes(),
        "'SampleNo' | 'DateTime' | 'w1100' | 'w1100' | 'w1100'\n" + kFirst + kSecond,
        "'SampleNo' | 'DateTime' | 'w1100' | 'w1100.25' | 'w1100.5'\n" + kFirst + kSecond}});
}

TEST_F(BrimroseTest, ReadsObservations) {
  constexpr float kMost = std::numeric_limits<float>::max();
  ExpectImports<BrimroseFile>({
      {"a good file", kGood, kNames + kFirst + kSecond},
      {"names are whole numbers", BrimroseFixture{.first = 0.5F, .last = 2, .step = 1}.Bytes(),
       "'SampleNo' | 'DateTime' | 'w0' | 'w2' | 'w2'\n" + kFirst + kSecond},
      {"one point", BrimroseFixture{.last = 1100, .points = 1, .size = 512 + 2 * 124}.Bytes(),
       "'SampleNo' | 'DateTime' | 'w1100'\n1 | '1970-01-01/02:00:00' | 10\n"
       "2 | '1970-01-01/03:00:00' | 20\n"},
      {"the largest names",
       BrimroseFixture{
           .first = kMost, .last = kMost, .step = kMost, .points = 2, .size = 512 + 2 * 128}
           .Bytes(),
       "'SampleNo' | 'DateTime' | 'w340282346638528859811704183484516925440' | "
       "'w680564693277057719623408366969033850880'\n"
       "1 | '1970-01-01/02:00:00' | 10 | 11\n2 | '1970-01-01/03:00:00' | 20 | 21\n"},
  });
  const MemoryFile none(BrimroseFixture{.observations = 0, .size = 512}.Bytes());
  BrimroseFile file;
  MemorySheet sheet;
  ASSERT_EQ(file.Open(true, none.path(), nullptr), 0);
  EXPECT_EQ(file.Read(&sheet), 0);
  EXPECT_EQ(sheet.GetNumberOfColumns(), 3);
  EXPECT_EQ(sheet.GetNumberOfRows(), 0);
}

TEST_F(BrimroseTest, TellsTheTimeOfThePlatformsZone) {
  const struct {
    std::int32_t seconds;
    const char* zone;
    const char* text;
  } kCases[] = {
      {0, "EST5", "1969-12-31/19:00:00"},
      {std::numeric_limits<std::int32_t>::max(), "UTC0", "2038-01-19/03:14:07"},
      {1719835200, "CET-1CEST,M3.5.0,M10.5.0/3", "2024-07-01/14:00:00"},
      {-1, "UTC0", "1969-12-31/23:59:59"},
  };
  for (const auto& c : kCases) {
    std::string bytes = kGood;
    std::memcpy(&bytes[512], &c.seconds, sizeof c.seconds);
    const TimeZone zone(c.zone);
    EXPECT_EQ(Import<BrimroseFile>(bytes, "rows=2,2;columns=2,2").sheet,
              ". | 'DateTime' | . | . | .\n. | '"s + c.text + "' | . | . | .\n" + kNothing);
  }
}

TEST_F(BrimroseTest, RefusesWithAStatusAndAText) {
  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  const std::string bad_header =
      "2821 File is corrupt! Header contains corrupt information about starting, ending "
      "wavelength, or number of data points.\n";
  const std::string not_brimrose = "2822 The file does not seem to be a valid Brimrose file.\n";
  ExpectImports<BrimroseFile>({
      {"cut", kGood.substr(0, 511),
       "2818 File corrupt! Could not read the whole main header (possibly end of file).\n"},
      {"no points", BrimroseFixture{.points = 0}.Bytes(), bad_header},
      {"no first", BrimroseFixture{.first = 0}.Bytes(), bad_header},
      {"no step", BrimroseFixture{.step = 0}.Bytes(), bad_header},
      {"last below first", BrimroseFixture{.last = 1099}.Bytes(), bad_header},
      {"first not finite", BrimroseFixture{.first = kNaN}.Bytes(), not_brimrose},
      {"last not finite", BrimroseFixture{.last = kInfinity, .points = 0}.Bytes(), not_brimrose},
      {"step not finite", BrimroseFixture{.step = -kInfinity}.Bytes(), not_brimrose},
  });
  ExpectNoFile<BrimroseFile>(
      "2816 Failed to open stream for reading.",
      "2817 Wrong file mode. The executed operation is only supported in read mode.", 2817);
}

TEST_F(BrimroseTest, DeliversTheWholeObservationsOfAFileCutAnywhere) {
  const std::string whole = BrimroseFixture{.observations = 65535}.Bytes();
  constexpr std::size_t kObservation = 120 + 4 * 3;
  const MemoryFile cut;
  for (std::size_t size = 512; size <= whole.size(); ++size) {
    cut.Put(whole.substr(0, size));
    BrimroseFile file;
    MemorySheet sheet;
    ASSERT_EQ(file.Open(true, cut.path(), nullptr), 0);
    EXPECT_EQ(file.GetNumRows(), 65536);
    EXPECT_EQ(file.Read(&sheet), (size - 512) % kObservation < 128 ? 2819 : 2820) << size;
    for (const int row : {2, 3})
      for (const int column : {1, 5})
        EXPECT_EQ(sheet.IsNumber(column, row),
                  size >= 512 + kObservation * static_cast<unsigned>(row - 1))
            << size;
  }
}

TEST_F(BrimroseTest, TakesRowsAndColumns) {
  ExpectImports<BrimroseFile>({
      {"", kGood, kNames + kNothing + kSecond, "rows=3,0"},
      {"", kGood, kNames + kFirst + kNothing, "rows=1,2"},
      {"", kGood, kNames + kNothing + kNothing, "rows=9,0"},
      {"", kGood, ". | . | . | 'w1110' | .\n. | . | . | 11 | .\n. | . | . | 21 | .\n",
       "columns=4,4;rows=2,3"},
      {"", kGood,
       ". | 'DateTime' | 'w1100' | . | .\n. | '1970-01-01/02:00:00' | 10 | . | .\n"
       ". | '1970-01-01/03:00:00' | 20 | . | .\n",
       "columns=2,3"},
      {"", kGood, kNothing + kNothing + kNothing, "columns=6,0"},
  });
  ExpectRefusedOptions<BrimroseFile>(kGood, {"rows=0,1", "columns=3,2", "rows=1", "columns=x,1"});
  ExpectMade(BrimroseFile::GetImportOptions({2, 3}, {4, 0}), "rows=2,3;columns=4,0");
}

}  // namespace

}  // namespace nvimport
