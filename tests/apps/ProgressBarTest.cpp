#include "apps/nvimport/ProgressBar.h"
#include "tests/support/Cases.h"

namespace nvimport {

TEST(ProgressBar, SaysHowFarHowFastAndHowLong) {
  const struct {
    const char* unit;
    std::uint64_t position;
    std::uint64_t size;
    double seconds;
    std::size_t width;
    const char* text;
  } kCases[] = {
      {"bytes", 24'000'000, 96'000'000, 2, 80, "reading a.txt 25 %, 12 MB/s, 6 s left"},
      {"bytes", 1'000'000, 400'000'000, 1, 80, "reading a.txt 0 %, 1.0 MB/s, 6 min 39 s left"},
      {"files", 1, 10'001, 1, 80, "reading a.txt 0 %, 1.0 files/s, 2 h 46 min left"},
      {"rows", 500, 0, 2, 80, "reading a.txt, 250 rows/s"},
      {"bytes", 0, 100, 0, 80, "reading a.txt 0 %"},
      {"bytes", 300, 200, 1, 80, "reading a.txt 100 %, 0.0 MB/s, 0 s left"},
      {"bytes", 24'000'000, 96'000'000, 2, 30, "readi… 25 %, 12 MB/s, 6 s left"},
  };
  for (const auto& c : kCases)
    EXPECT_EQ(ProgressText("reading a.txt", c.unit, c.position, c.size, c.seconds, c.width),
              c.text);
}

}  // namespace nvimport
