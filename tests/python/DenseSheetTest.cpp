// What the Python package adds to the library in C++, under the sanitizers that Python itself is
// not.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "python/ArrowTable.h"
#include "python/DenseSheet.h"
#include "python/TypedColumns.h"

extern "C" char* consume_arrow(ArrowArrayStream* stream);

namespace nvimport {

namespace {

constexpr std::uint64_t kMostBytes = 1 << 20;

// A table of every kind of cell.
void Fill(DenseSheet& sheet) {
  sheet.SetDataSize(5, 0);
  const char* const texts[] = {"007", "1.5", "2024-05-06", "12", "x"};
  for (int column = 1; column <= 5; ++column) sheet.Set(column, 1, texts[column - 1]);
  for (int row = 2; row <= 40; ++row) {
    sheet.Set(1, row, static_cast<float>(row) / 3);
    sheet.SetExact(2, row, row + 0.1);
    sheet.Set(3, row, row == 7 ? "2024-05-06 07:08:09.5" : "1969-12-31");
    if (row != 5) sheet.SetExact(4, row, (1LL << 60) + row);
    sheet.Set(5, row, row % 2 == 0 ? "a long text of more than a few bytes" : "");
  }
}

TEST(DenseSheet, RowsThatWereNotAnnouncedFindTheirPlace) {
  DenseSheet announced(kMostBytes);
  announced.SetDataSize(3, 1000);
  DenseSheet open(kMostBytes);
  open.SetDataSize(3, 0);
  for (DenseSheet* sheet : {&announced, &open})
    for (int row = 2; row <= 1000; ++row)
      for (int column = 1; column <= 3; ++column) {
        if (row % 100 == 0 && column == 2)
          sheet->Set(column, row, "word");
        else
          sheet->Set(column, row, static_cast<float>(row * column) / 7);
      }
  EXPECT_TRUE(open.Equals(announced));
  ASSERT_NE(open.FindMatrix(3, 2, 3), nullptr);
  EXPECT_EQ(*open.FindMatrix(3, 2, 3), 6.0F / 7);
  open.Set(3, 1, 0.5F);
  ASSERT_NE(open.FindMatrix(3, 1, 3), nullptr);
  EXPECT_EQ(*open.FindMatrix(3, 1, 3), 0.5F);
  open.Set(3, 1, "name");
  EXPECT_EQ(open.FindMatrix(3, 1, 3), nullptr);
  open.Set(3, 2'000'000'000, 1.0F);  // which no memory is taken for
  EXPECT_EQ(open.rows(), 2'000'000'000);
}

TEST(DenseSheet, AStateMakesTheSameSheetAndDamagedOnesMakeNone) {
  DenseSheet sheet(kMostBytes);
  Fill(sheet);
  const DenseSheet::State state = sheet.GetState();
  DenseSheet again(kMostBytes);
  ASSERT_TRUE(again.SetState(state));
  EXPECT_TRUE(again.Equals(sheet) && sheet.Equals(again));
  again.SetExact(4, 5, 1LL << 61);
  EXPECT_FALSE(again.Equals(sheet));
  for (std::size_t size = 0; size < state.rest.size(); ++size) {
    DenseSheet::State damaged = state;
    damaged.rest.resize(size);
    DenseSheet(kMostBytes).SetState(damaged);
    damaged.rest = state.rest;
    damaged.rest[size] = static_cast<char>(damaged.rest[size] ^ 0x7F);
    DenseSheet(kMostBytes).SetState(damaged);
  }
}

TEST(TypedColumns, TextsAreWhatTheyReadAs) {
  const struct {
    std::vector<const char*> texts;
    ColumnType type;
    double first;
  } kCases[] = {
      {{"1", "-2", " 3 "}, ColumnType::kWhole, 1},
      {{"9007199254740993", "1"}, ColumnType::kWhole, 9007199254740992.0},
      {{"99999999999999999999", "1"}, ColumnType::kText, 0},
      {{"1", "2.5"}, ColumnType::kDouble, 1},
      {{"0.1234567890123456789", "1e300"}, ColumnType::kDouble, 0.1234567890123456789},
      {{"-.5", "", "NA"}, ColumnType::kDouble, -0.5},
      {{"123456789012.345", "1"}, ColumnType::kDouble, 123456789012.345},
      {{"007", "8"}, ColumnType::kText, 0},
      {{"1", "-"}, ColumnType::kText, 0},
      {{"1", "2024-05-06", "a text", "2", "another text of some length"}, ColumnType::kText, 0},
      {{"1.2.3"}, ColumnType::kText, 0},
      {{"1,5"}, ColumnType::kText, 0},
      {{"inf", "1"}, ColumnType::kText, 0},
      {{"1970-01-02", "2024-02-29 23:59:59.123456789"}, ColumnType::kTime, 86400e9},
      {{"2023-02-29"}, ColumnType::kText, 0},
      {{"2024-05-06 24:00"}, ColumnType::kText, 0},
      {{"1500-01-01"}, ColumnType::kText, 0},
      {{"2024-05-06", "7"}, ColumnType::kText, 0},
      {{"", " "}, ColumnType::kDouble, NAN},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.texts.front());
    DenseSheet sheet(kMostBytes);
    int row = 0;
    for (const char* text : c.texts) sheet.Set(1, ++row, text);
    const TypedColumns typed(sheet, 1, 1, 1, {'.', {"NA"}});
    ASSERT_EQ(typed.type(0), c.type);
    const bool is_whole = c.type == ColumnType::kWhole || c.type == ColumnType::kTime;
    const double first = is_whole ? static_cast<double>(*typed.wholes(0)) : *typed.doubles(0);
    for (int i = 1; c.type == ColumnType::kText && i <= row; ++i)
      EXPECT_STREQ(typed.text(0, static_cast<std::size_t>(i - 1)),
                   c.texts[static_cast<std::size_t>(i - 1)]);
    if (c.type != ColumnType::kText && !std::isnan(c.first)) {
      EXPECT_EQ(first, c.first);
    }
  }
}

// Large ones are halved by columns, each half for a processor of its own.
TEST(TypedColumns, AColumnOfALargeSheetIsWhatItIsAlone) {
  constexpr int kRows = 21'000;
  const char* const kLast[] = {"1", "word", "2024-05-06", "2.5", ""};
  DenseSheet sheet(kMostBytes);
  for (int row = 1; row <= kRows; ++row)
    for (int column = 1; column <= 5; ++column)
      sheet.Set(column, row, row == kRows ? kLast[column - 1] : column == 3 ? "1970-01-02" : "7");
  const TypedColumns all(sheet, 1, 1, 5, {});
  for (int column = 1; column <= 5; ++column) {
    const TypedColumns alone(sheet, column, 1, column, {});
    const auto at = static_cast<std::size_t>(column - 1);
    EXPECT_EQ(all.type(at), alone.type(0));
    EXPECT_TRUE(std::ranges::equal(all.missing(at), alone.missing(0)));
    EXPECT_TRUE(std::equal(all.wholes(at), all.wholes(at) + kRows, alone.wholes(0)));
  }
}

TEST(ArrowTable, AConsumerOfItsOwnFindsEveryCell) {
  DenseSheet sheet(kMostBytes);
  Fill(sheet);
  const std::vector<std::string> names = {"f", "d", "t", "w", "x"};
  auto table = std::make_shared<ArrowTable>(sheet, 2, names, TypingRules(), TextDecoder(),
                                            ArrowTable::Metadata{{"title", "T"}});
  ArrowArrayStream stream;
  ArrowTable::GiveStream(table, &stream);
  table.reset();
  const std::unique_ptr<char, decltype(&std::free)> text(consume_arrow(&stream), &std::free);
  std::string found = text.get();
  std::ranges::replace(found, ',', '.');  // C prints numbers by the locale
  EXPECT_EQ(found.substr(0, found.find('\n')), "f:f d:g t:tsn: w:l x:u ");
  for (const char* part :
       {"\n1 said\n0.666666687 2.1000000000000001 -86400000000000 1152921504606846978 'a long",
        "\n1.66666663 5.0999999999999996 -86400000000000 null null\n",
        "\n2.33333325 7.0999999999999996 1714979289500000000 1152921504606846983 null\n"})
    EXPECT_NE(found.find(part), std::string::npos) << part << found;
  EXPECT_EQ(found.find("wrong"), std::string::npos) << found;

  ArrowArrayStream unread;
  ArrowTable::GiveStream(std::make_shared<ArrowTable>(sheet, 41, names, TypingRules(),
                                                      TextDecoder(), ArrowTable::Metadata()),
                         &unread);
  ArrowArray none;
  ASSERT_EQ(unread.get_next(&unread, &none), 0);
  EXPECT_EQ(none.length, 0);
  none.release(&none);
  unread.release(&unread);
}

}  // namespace

}  // namespace nvimport
