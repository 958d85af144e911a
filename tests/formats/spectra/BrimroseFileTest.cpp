#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <limits>
#include <memory>
#include <optional>

#include "nvimport/formats/spectra/BrimroseFile.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "tests/support/BrimroseFixture.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/MemoryFile.h"
#include "tests/support/PairOptions.h"
#include "tests/support/Support.h"

namespace nvimport {

using namespace std::string_literals;

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

Outcome ImportBytes(const std::string& bytes, const std::string& pairs = "") {
  const TimeZone zone("CET-1");
  const MemoryFile file(bytes);
  PairOptions options(pairs);
  BrimroseFile brimrose;
  return ImportFile(brimrose, file.path(), options.get());
}

constexpr const char* kNames = R"("SampleNo" | "DateTime" | "w1100" | "w1110" | "w1120")"
                               "\n";
constexpr const char* kFirst = "1 | \"1970-01-01/02:00:00\" | 10 | 11 | 12\n";
constexpr const char* kSecond = "2 | \"1970-01-01/03:00:00\" | 20 | 21 | 22\n";
constexpr const char* kNothing = ". | . | . | . | .\n";

TEST(BrimroseFile, ReadsObservations) {
  constexpr float kMost = std::numeric_limits<float>::max();
  const struct {
    const char* why;
    BrimroseFixture file;
    std::string sheet;
  } kCases[] = {
      {"a good file", {}, kNames + std::string(kFirst) + kSecond},
      {"names are whole numbers",
       {.first = 0.5F, .last = 2, .step = 1},
       R"("SampleNo" | "DateTime" | "w0" | "w2" | "w2")"
       "\n" +
           std::string(kFirst) + kSecond},
      {"one point",
       {.last = 1100, .points = 1, .size = 512 + 2 * 124},
       "\"SampleNo\" | \"DateTime\" | \"w1100\"\n1 | \"1970-01-01/02:00:00\" | 10\n"
       "2 | \"1970-01-01/03:00:00\" | 20\n"},
      {"the largest names",
       {.first = kMost, .last = kMost, .step = kMost, .points = 2, .size = 512 + 2 * 128},
       "\"SampleNo\" | \"DateTime\" | \"w340282346638528859811704183484516925440\" | "
       "\"w680564693277057719623408366969033850880\"\n1 | \"1970-01-01/02:00:00\" | 10 | 11\n"
       "2 | \"1970-01-01/03:00:00\" | 20 | 21\n"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    const Outcome got = ImportBytes(c.file.Bytes());
    EXPECT_EQ(got.status, 0) << got.text;
    EXPECT_EQ(got.sheet, c.sheet);
  }

  const MemoryFile none(BrimroseFixture{.observations = 0, .size = 512}.Bytes());
  BrimroseFile file;
  MemorySheet sheet;
  ASSERT_EQ(file.Open(true, none.path(), nullptr), 0);
  EXPECT_EQ(file.Read(&sheet), 0);
  EXPECT_EQ(sheet.GetNumberOfColumns(), 3);
  EXPECT_EQ(sheet.GetNumberOfRows(), 0);
}

TEST(BrimroseFile, TellsTheTimeOfThePlatformsZone) {
  const struct {
    std::int32_t seconds;
    const char* zone;
    const char* text;
  } kCases[] = {
      {0, "UTC0", "1970-01-01/00:00:00"},
      {0, "EST5", "1969-12-31/19:00:00"},
      {std::numeric_limits<std::int32_t>::max(), "UTC0", "2038-01-19/03:14:07"},
      {1719835200, "CET-1CEST,M3.5.0,M10.5.0/3", "2024-07-01/14:00:00"},
      {-1, "UTC0", "1969-12-31/23:59:59"},
  };
  for (const auto& c : kCases) {
    std::string bytes = BrimroseFixture{}.Bytes();
    std::memcpy(&bytes[512], &c.seconds, sizeof c.seconds);
    const TimeZone zone(c.zone);
    MemorySheet sheet;
    const MemoryFile file(bytes);
    BrimroseFile brimrose;
    ASSERT_EQ(brimrose.Open(true, file.path(), nullptr), 0);
    ASSERT_EQ(brimrose.Read(&sheet), 0);
    EXPECT_STREQ(sheet.GetText(2, 2), c.text);
  }
}

TEST(BrimroseFile, RefusesWithAStatusAndAText) {
  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  constexpr const char* kBadHeader =
      "File is corrupt! Header contains corrupt information about starting, ending wavelength, or "
      "number of data points.";
  constexpr const char* kNotBrimrose = "The file does not seem to be a valid Brimrose file.";
  const struct {
    const char* why;
    BrimroseFixture file;
    int status;
    const char* text;
  } kCases[] = {
      {"cut",
       {.size = 511},
       2818,
       "File corrupt! Could not read the whole main header (possibly end of file)."},
      {"no points", {.points = 0}, 2821, kBadHeader},
      {"no first", {.first = 0}, 2821, kBadHeader},
      {"no step", {.step = 0}, 2821, kBadHeader},
      {"a step back", {.step = -10}, 2821, kBadHeader},
      {"last below first", {.last = 1099}, 2821, kBadHeader},
      {"first not finite", {.first = kNaN}, 2822, kNotBrimrose},
      {"last not finite", {.last = kInfinity, .points = 0}, 2822, kNotBrimrose},
      {"step not finite", {.step = -kInfinity}, 2822, kNotBrimrose},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    const Outcome got = ImportBytes(c.file.Bytes());
    EXPECT_EQ(got.status, c.status);
    EXPECT_EQ(got.text, c.text);
    EXPECT_EQ(got.sheet, "");
  }
  BrimroseFile file;
  EXPECT_EQ(file.Open(true, "/none.dat", nullptr), 2816);
  EXPECT_EQ(ErrorText(file), "Failed to open stream for reading.");
  file.Close();
  EXPECT_EQ(file.Open(false, "a.dat", nullptr), 3);
  file.Close();
  EXPECT_EQ(file.GetNumCols(), -1);
  EXPECT_EQ(ErrorText(file),
            "Wrong file mode. The executed operation is only supported in read mode.");
}

TEST(BrimroseFile, DeliversTheWholeObservationsOfAFileCutAnywhere) {
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
    EXPECT_EQ(sheet.IsNumber(1, 2), size >= 512 + kObservation) << size;
    EXPECT_EQ(sheet.IsNumber(5, 2), size >= 512 + kObservation) << size;
    EXPECT_EQ(sheet.IsNumber(1, 3), size == whole.size()) << size;
  }
}

TEST(BrimroseFile, TakesRowsAndColumns) {
  const struct {
    const char* pairs;
    std::string sheet;
  } kCases[] = {
      {"rows=3,0", kNames + std::string(kNothing) + kSecond},
      {"rows=1,2", kNames + std::string(kFirst) + kNothing},
      {"rows=9,0", kNames + std::string(kNothing) + kNothing},
      {"columns=4,4;rows=2,3",
       ". | . | . | \"w1110\" | .\n. | . | . | 11 | .\n. | . | . | 21 | .\n"},
      {"columns=2,3",
       ". | \"DateTime\" | \"w1100\" | . | .\n"
       ". | \"1970-01-01/02:00:00\" | 10 | . | .\n"
       ". | \"1970-01-01/03:00:00\" | 20 | . | .\n"},
      {"columns=6,0", kNothing + std::string(kNothing) + kNothing},
  };
  for (const auto& c : kCases)
    EXPECT_EQ(ImportBytes(BrimroseFixture{}.Bytes(), c.pairs).sheet, c.sheet) << c.pairs;

  for (const char* pairs : {"rows=0,1", "columns=3,2", "rows=1", "columns=x,1"}) {
    const LogRecorder log;
    EXPECT_EQ(ImportBytes(BrimroseFixture{}.Bytes(), pairs).status, 5) << pairs;
    EXPECT_EQ(log.entries().size(), 1U);
  }

  const std::unique_ptr<NvImportOpenOptions> options(
      BrimroseFile::GetImportOptions({2, 3}, {4, 0}));
  EXPECT_EQ(std::string(options->data, options->data + options->size),
            "\x14\0\0\0rows=2,3;columns=4,0"s);
  SpreadsheetOpenOptions::FreeOpenOptions(options.get());
}

}  // namespace

}  // namespace nvimport
