#ifdef NVIMPORT_HAS_PACKAGES

#include <bit>
#include <cmath>
#include <limits>
#include <random>

#include "nvimport/formats/workbook/Excel2007File.h"
#include "nvimport/hosting/export/SheetWriters.h"
#include "nvimport/platform/Progress.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

struct GoesOn : Progress {
  bool Advance(std::uint64_t, std::uint64_t) override { return true; }
};

std::size_t WriteWorkbook(MemorySheet& sheet, const std::string& path) {
  GoesOn progress;
  OutputFile out(path.c_str());
  return WriteSheet(SheetFormat::kXlsx, sheet, {}, out, progress);
}

}  // namespace

// By our own reader, which keeps doubles.
TEST(XlsxRows, CellsReadBackAsTheyWere) {
  MemorySheet sheet;
  std::mt19937_64 random(12);
  const char* const texts[] = {"=1+1",    " led",       "two\nlines", "\r",     "\t",
                               "\x01",    "_x000D_",    "_x00",       "<&>\"'", "gr\u00fcn",
                               "caf\xe9", "\U0001f33e", "\uffff",     "007",    "1234567890123456"};
  for (int row = 1; row <= 2000; ++row) {
    const auto wide = std::bit_cast<double>(random());
    sheet.SetExact(30, row, std::isfinite(wide) ? wide : std::numeric_limits<double>::max());
    if (row <= static_cast<int>(std::size(texts))) sheet.Set(1, row, texts[row - 1]);
    if (row % 7 == 0) sheet.Set(702, row, 0.1F);
  }
  const TempFile file("");
  EXPECT_EQ(WriteWorkbook(sheet, file.path()), 0U);
  MemorySheet read;
  Excel2007File reader;
  ASSERT_EQ(ImportInto(read, reader, file.path(), nullptr).text, "");
  ASSERT_EQ(read.GetNumberOfRows(), 2000);
  int wrong = 0;
  for (int row = 1; row <= 2000; ++row) {
    wrong += read.GetExact(30, row) == sheet.GetExact(30, row) ? 0 : 1;
    wrong += read.IsMissing(2, row) ? 0 : 1;
    wrong += read.IsMissing(702, row) == (row % 7 != 0) ? 0 : 1;
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(read.GetNumber(702, 7), 0.1F);
  const TextDecoder decoder;
  std::string scratch;
  for (int row = 1; row <= static_cast<int>(std::size(texts)); ++row) {
    EXPECT_TRUE(read.IsText(1, row)) << row;
    EXPECT_EQ(read.GetText(1, row), decoder.Decode(texts[row - 1], scratch));
  }
}

TEST(XlsxRows, WhatAWorksheetHasNoRoomForIsSaid) {
  const TempFile file("");
  MemorySheet sheet;
  // 32,767 characters, of which the last takes two places.
  const std::string longest = std::string(32'766, 'a');
  sheet.Set(1, 1, (longest + "\U0001f33e").c_str());
  sheet.Set(2, 1, (longest + "\u00fc").c_str());
  EXPECT_EQ(WriteWorkbook(sheet, file.path()), 1U);
  EXPECT_EQ(Import<Excel2007File>(Contents(file.path())).sheet,
            "'" + longest + "' | '" + longest + "\u00fc'\n");
  const struct {
    int column;
    int row;
    const char* why;
  } kCases[] = {
      {16'384, 1, ""},
      {16'385, 1, "a worksheet has no more than 16,384 columns; CSV and Arrow have no limit"},
      {1, 1'048'576, ""},
      {1, 1'048'577, "a worksheet has no more than 1,048,576 rows; CSV and Arrow have no limit"},
  };
  for (const auto& c : kCases) {
    MemorySheet large;
    large.Set(c.column, c.row, 1.0F);
    OutputFile::TakeFailure();
    WriteWorkbook(large, file.path());
    EXPECT_EQ(OutputFile::TakeFailure(), c.why);
  }
}

}  // namespace nvimport

#endif
