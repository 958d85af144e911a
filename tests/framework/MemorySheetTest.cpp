#include <climits>
#include <cmath>
#include <map>
#include <random>

#include "tests/support/AllocationCounter.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

constexpr std::size_t kMebibyte = std::size_t{1} << 20;

TEST(MemorySheet, GrowsToWhateverIsSetInAnyOrder) {
  MemorySheet sheet;
  sheet.Set(3, 2, "c2");
  sheet.Set(1, 1, 1.5F);
  for (const int outside : {0, -1, INT_MIN}) {
    sheet.Set(outside, 1, "dropped");
    sheet.Set(1, outside, "dropped");
    sheet.Set(outside, 1, 7.0F);
    sheet.Set(1, outside, 7.0F);
  }
  sheet.Set(2, 1, static_cast<const char*>(nullptr));
  sheet.SetDataSize(2, 1);
  sheet.SetDataSize(-1, -1);
  EXPECT_EQ(SheetText(sheet), "1.5 | . | .\n. | . | 'c2'\n");

  sheet.Set(3, 2, 2.0);
  sheet.Set(1, 1, "a1");
  sheet.SetDataSize(3, 3);
  EXPECT_EQ(SheetText(sheet), "'a1' | . | .\n. | . | 2\n. | . | .\n");

  sheet.Clear();
  EXPECT_EQ(SheetText(sheet), "");
  sheet.Set(3, 2, "again");
  EXPECT_EQ(SheetText(sheet), ". | . | .\n. | . | 'again'\n");
}

TEST(MemorySheet, TakesMemoryForCellsNotForExtent) {
  const AllocationCounter memory;
  MemorySheet sheet;
  sheet.SetDataSize(INT_MAX, INT_MAX);
  sheet.Set(32768, 32768, "far");
  sheet.Set(INT_MAX, INT_MAX, "farthest");
  EXPECT_LT(memory.Peak(), kMebibyte);
  EXPECT_STREQ(sheet.GetText(32768, 32768), "far");
  EXPECT_STREQ(sheet.GetText(INT_MAX, INT_MAX), "farthest");
  EXPECT_TRUE(sheet.IsMissing(INT_MAX, 1));
  EXPECT_TRUE(sheet.IsMissing(INT_MIN, 0));
  for (int i = 1; i <= 20'000; ++i) sheet.Set(i, i, 1.0F);
  EXPECT_LT(memory.Peak(), 8 * kMebibyte);
}

TEST(MemorySheet, ACellSetAgainAndAgainTakesTheSpaceOfOne) {
  const AllocationCounter memory;
  MemorySheet sheet;
  for (int i = 0; i < 20'000; ++i) {
    sheet.Set(1, 1, std::string(3'000, 'a').c_str());
    sheet.Set(2, 1, std::string(5'000 + static_cast<std::size_t>(i % 7), 'b').c_str());
    if (i % 3 == 0) sheet.Set(2, 1, 1.5F);
  }
  sheet.Set(2, 1, std::string(6'000, 'c').c_str());
  sheet.Set(2, 1, sheet.GetText(2, 1) + 5'990);
  EXPECT_STREQ(sheet.GetText(2, 1), "cccccccccc");
  EXPECT_LT(memory.Peak(), 1'000'000U);
}

TEST(MemorySheet, KeepsTextsThatComeAndGoAndSharesThoseThatAreTheSame) {
  constexpr std::size_t kLengths[] = {0, 1, 7, 8, 15, 16, 17, 254, 255, 256, 4095, 4096, 5000};
  std::minstd_rand random;
  MemorySheet sheet;
  std::map<int, std::string> expected;
  for (int i = 0; i < 200'000; ++i) {
    const int column = 1 + static_cast<int>(random() % 50);
    std::string& text = expected[column];
    text.assign(kLengths[random() % std::size(kLengths)], static_cast<char>('a' + random() % 20));
    sheet.Set(column, 1, text.c_str());
    const auto& [other, kept] = *expected.lower_bound(1 + static_cast<int>(random() % column));
    ASSERT_EQ(sheet.GetCell(other, 1).text, kept) << i;
  }
  const AllocationCounter memory;
  for (int row = 2; row <= 100'000; ++row)
    for (int column = 1; column <= 5; ++column) sheet.Set(column, row, "what many cells show");
  EXPECT_LT(memory.Peak(), 10 * kMebibyte);
}

TEST(MemorySheet, HoldsTwentyMillionShortCellsIn400Megabytes) {
  const AllocationCounter memory;
  MemorySheet sheet;
  for (int r = 1; r <= 1'000'000; ++r)
    for (int c = 1; c <= 20; ++c) sheet.Set(c, r, "12.3456");
  EXPECT_LT(memory.Peak(), 400'000'000U);
  EXPECT_STREQ(sheet.GetText(20, 1'000'000), "12.3456");
}

TEST(MemorySheet, KeepsNumbersAsTheyCome) {
  MemorySheet sheet;
  // Over one another, so that nothing of what was there is taken for what is.
  const std::string shared(20, 's');
  const auto set = [&](int kind) {
    if (kind == 0) sheet.Set(1, 1, 0.1F);
    if (kind == 1) sheet.SetExact(1, 1, 0.1);
    if (kind == 2) sheet.SetExact(1, 1, 9'007'199'254'740'993LL);
    if (kind == 3) sheet.Set(1, 1, shared.c_str());
    if (kind == 4) sheet.Set(1, 1, "short");
  };
  const char* const kTexts[] = {"0.1", "0.1", "9007199254740993", shared.c_str(), "short"};
  const std::optional<double> kExact[] = {{}, 0.1, 9'007'199'254'740'992.0, {}, {}};
  for (int before = 0; before < 5; ++before)
    for (int after = 0; after < 5; ++after) {
      set(before);
      set(after);
      EXPECT_STREQ(sheet.GetText(1, 1), kTexts[after]);
      EXPECT_EQ(sheet.GetExact(1, 1), kExact[after]);
      EXPECT_EQ(sheet.IsNumber(1, 1), after < 3);
    }
  sheet.SetExact(2, 1, 1e300);
  EXPECT_EQ(sheet.GetNumber(2, 1), INFINITY);
  EXPECT_EQ(sheet.AsNumber(2, 1), 1e300);

  const AllocationCounter memory;
  MemorySheet many;
  for (int r = 1; r <= 20'000; ++r)
    for (int c = 1; c <= 100; ++c) many.SetExact(c, r, r + c / 8.0);
  EXPECT_LT(memory.Peak(), 2'000'000U * 11);

  // A host's class goes on getting floats.
  class Host : public MemorySheet {
   public:
    void Set(int column, int row, float value) override { MemorySheet::Set(column, row, -value); }
    using MemorySheet::Set;
  } host;
  EXPECT_TRUE(sheet.TakesExact());
  EXPECT_FALSE(host.TakesExact());
}

TEST(MemorySheet, ShowsNumbersAndTextsAsEitherKind) {
  MemorySheet sheet;
  sheet.Set(1, 1, 0.1F);
  sheet.Set(1, 2, " 1,5 ");
  sheet.Set(1, 3, "0x10");
  EXPECT_STREQ(sheet.GetText(1, 1), "0.1");
  EXPECT_STREQ(sheet.GetText(9, 9), "");
  EXPECT_TRUE(std::isnan(sheet.GetNumber(1, 2)));
  EXPECT_EQ(sheet.AsNumber(1, 1, ','), 0.1F);
  EXPECT_EQ(sheet.AsNumber(1, 2, ','), 1.5);
  EXPECT_EQ(sheet.AsNumber(1, 2), std::nullopt);
  EXPECT_EQ(sheet.AsNumber(1, 3), std::nullopt);
  EXPECT_EQ(sheet.AsNumber(9, 9), std::nullopt);
}

}  // namespace

}  // namespace nvimport
