
#include <climits>
#include <cmath>
#include <limits>

#include "nvimport/framework/DLLReadSpreadSheetData.h"
#include "nvimport/framework/DLLWriteSpreadSheetData.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/NumberText.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

std::string At(int first, int second) {
  return '(' + std::to_string(first) + ',' + std::to_string(second) + ')';
}

std::string Shown(float value) {
  FloatText text;
  return std::string(FormatFloat(value, text));
}

// Overrides what a sink must, and records it.
class PlainSink : public ReadSpreadSheetData {
 public:
  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override { last = At(column, row) + '"' + text; }
  void Set(int column, int row, float value) override { last = At(column, row) + Shown(value); }
  void SetDataSize(int, int) override {}
  int GetNumberOfColumns() override { return 0; }
  int GetNumberOfRows() override { return 0; }
  std::string last;
};

TEST(ReadSpreadSheetData, ConvertsEveryNumberToTheNearestFloat) {
  PlainSink sink;
  ReadSpreadSheetData& base = sink;
  base.Set(2, 7, 16777217);
  EXPECT_EQ(sink.last, "(2,7)16777216");
  base.Set(2, 7, LLONG_MIN);
  EXPECT_EQ(sink.last, "(2,7)-9.223372e+18");
  base.Set(2, 7, std::int64_t{-3});
  EXPECT_EQ(sink.last, "(2,7)-3");
  base.Set(2, 7, std::size_t{1} << 63);
  EXPECT_EQ(sink.last, "(2,7)9.223372e+18");
  base.Set(2, 7, static_cast<unsigned char>(200));
  EXPECT_EQ(sink.last, "(2,7)200");
  base.Set(2, 7, 0.1);
  EXPECT_EQ(sink.last, "(2,7)0.1");
  sink.Set(2, 7, "0.1");
  EXPECT_EQ(sink.last, "(2,7)\"0.1");
}

TEST(ReadSpreadSheetData, WantsTheNextIndexUntilThereIsNone) {
  PlainSink sink;
  EXPECT_EQ(sink.GetNextIndex(0), 1);
  EXPECT_EQ(sink.GetNextIndex(7), 8);
  EXPECT_EQ(sink.GetNextIndex(INT_MAX), -1);
}

// A caller's record, with what it was called with behind it.
struct ReadRecord : NvImportReadData {
  std::string last;

  ReadRecord() : NvImportReadData{} {
    set_number = [](NvImportReadData* data, int row, int column, float value) {
      static_cast<ReadRecord*>(data)->last = "number" + At(row, column) + Shown(value);
    };
    set_text = [](NvImportReadData* data, int row, int column, const char* text) {
      static_cast<ReadRecord*>(data)->last = "text" + At(row, column) + text;
    };
    set_size = [](NvImportReadData* data, int row_count, int column_count) {
      static_cast<ReadRecord*>(data)->last = "size" + At(row_count, column_count);
    };
    next_index = [](NvImportReadData*, int previous) { return previous * 2; };
    rows = 5;
    columns = 3;
  }
};

TEST(DLLReadSpreadSheetData, ForwardsRowsFirst) {
  ReadRecord record;
  DLLReadSpreadSheetData sink(&record);
  sink.Set(3, 5, 1.5F);
  EXPECT_EQ(record.last, "number(5,3)1.5");
  sink.Set(3, 5, 1000000);
  EXPECT_EQ(record.last, "number(5,3)1e+06");
  sink.Set(3, 5, "x");
  EXPECT_EQ(record.last, "text(5,3)x");
  sink.SetDataSize(3, 5);
  EXPECT_EQ(record.last, "size(5,3)");
  EXPECT_EQ(sink.GetNextIndex(4), 8);
  EXPECT_EQ(sink.GetNumberOfRows(), 5);
  EXPECT_EQ(sink.GetNumberOfColumns(), 3);

  record.set_size = nullptr;
  record.next_index = nullptr;
  sink.SetDataSize(1, 1);
  EXPECT_EQ(sink.GetNextIndex(4), 5);
}

TEST(DLLReadSpreadSheetData, GivesLargeWholeNumbersAsText) {
  const struct {
    double value;
    const char* call;
  } kDoubles[] = {
      {999990.0, "number(1,2)999990"},
      {std::nextafter(999990.0, 1e6), "number(1,2)999990"},
      {999991.0, "text(1,2)999991"},
      {1000000.0, "text(1,2)1000000"},
      {1000000.5, "number(1,2)1000000.5"},
      {-1000000.0, "number(1,2)-1e+06"},
      {0x1p62, "text(1,2)4611686018427387904"},
      {std::nextafter(0x1p63, 0), "text(1,2)9223372036854774784"},
      {0x1p63, "number(1,2)9.223372e+18"},
      {1e300, "number(1,2)inf"},
      {-std::numeric_limits<double>::infinity(), "number(1,2)-inf"},
      {std::numeric_limits<double>::quiet_NaN(), "number(1,2)nan"},
  };
  ReadRecord record;
  DLLReadSpreadSheetData sink(&record);
  for (const auto& c : kDoubles) {
    sink.Set(2, 1, c.value);
    EXPECT_EQ(record.last, c.call);
  }
  const struct {
    long long value;
    const char* call;
  } kWholes[] = {{0, "text(1,2)0"},
                 {LLONG_MAX, "text(1,2)9223372036854775807"},
                 {LLONG_MIN, "text(1,2)-9223372036854775808"}};
  for (const auto& c : kWholes) {
    sink.Set(2, 1, c.value);
    EXPECT_EQ(record.last, c.call);
  }
}

TEST(DLLWriteSpreadSheetData, AsksRowsFirstButTheFlagColumnsFirst) {
  NvImportWriteData record{};
  record.kind = [](NvImportWriteData*, int row, int column) {
    return static_cast<char>(row == 5 ? column : 0);
  };
  record.number = [](NvImportWriteData*, int row, int column) {
    return static_cast<float>(row * 10 + column);
  };
  record.text = [](NvImportWriteData*, int row, int column) {
    return row == 5 && column == 3 ? "right" : "swapped";
  };
  record.flag = [](NvImportWriteData*, int column, int row) {
    return static_cast<char>(column == 3 && row == 5 ? -1 : 0);
  };
  record.rows = 5;
  record.columns = 3;
  DLLWriteSpreadSheetData source(&record);
  EXPECT_EQ(source.GetNumber(3, 5), 53);
  EXPECT_STREQ(source.GetText(3, 5), "right");
  EXPECT_TRUE(source.CellFlag(3, 5));
  EXPECT_FALSE(source.CellFlag(5, 3));
  EXPECT_EQ(source.GetNumberOfRows(), 5);
  EXPECT_EQ(source.GetNumberOfColumns(), 3);
  for (int kind = 0; kind <= 4; ++kind) {
    EXPECT_EQ(source.IsNumber(kind, 5), kind == 1);
    EXPECT_EQ(source.IsText(kind, 5), kind == 2);
    EXPECT_EQ(source.IsMissing(kind, 5), kind == 3);
  }
  record.flag = nullptr;
  EXPECT_FALSE(source.CellFlag(3, 5));
}

}  // namespace

}  // namespace nvimport
