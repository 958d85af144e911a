
#include <climits>

#include "nvimport/formats/UnbuiltFile.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

// A format whose size is whatever the test says.
class SizedFile : public UnbuiltFile {
 public:
  std::uint64_t columns = 2;
  std::uint64_t rows = 3;
  int establish_status = 0;

  using SpreadsheetFile::Fail;

 private:
  int EstablishSize() override {
    return Fail(establish_status) != 0 ? status_ : SetSize(columns, rows);
  }
};

TEST(SpreadsheetFile, GivesTheTextOfTheStatus) {
  const struct {
    int status;
    const char* text;
  } kCases[] = {
      {0, ""},
      {1, "This function is not implemented for this file format."},
      {2, "An error occurred when trying to establish the size of the data in the file."},
      {3, "Tried to write to the file when it was opened for reading or vice versa."},
      {4, "AbortedByUser"},
      {5, "No further information available."},
      {-1, "No further information available."},
      {2048, "No further information available."},
  };
  for (const auto& c : kCases) {
    SizedFile file;
    file.Fail(c.status);
    EXPECT_EQ(ErrorText(file), c.text) << c.status;
    EXPECT_EQ(!file, c.status);
  }
}

TEST(SpreadsheetFile, CutsItsTextToTheBuffer) {
  SizedFile file;
  file.Fail(4);
  const struct {
    unsigned size;
    std::string buffer;  // all 16 bytes, of which '#' are untouched
  } kCases[] = {{0, "################"},
                {1, std::string("\0###############", 16)},
                {6, std::string("Abort\0##########", 16)},
                {13, std::string("AbortedByUse\0###", 16)},
                {14, std::string("AbortedByUser\0##", 16)},
                {16, std::string("AbortedByUser\0##", 16)}};
  for (const auto& c : kCases) {
    std::string buffer(16, '#');
    file.GetErrorMessage(buffer.data(), c.size);
    EXPECT_EQ(buffer, c.buffer) << c.size;
  }
}

TEST(SpreadsheetFile, EstablishesTheSizeOnceAndWithinAnInt) {
  constexpr std::uint64_t kLargest = INT_MAX;
  const struct {
    std::uint64_t columns, rows;
    int status;  // that establishing the size ends with
    int columns_given, rows_given;
  } kCases[] = {{2, 3, 0, 2, 3},
                {kLargest, kLargest, 0, INT_MAX, INT_MAX},
                {kLargest + 1, 1, 2, -1, -1},
                {1, std::uint64_t{1} << 32, 2, -1, -1},
                {2, 3, 7, -1, -1}};
  for (const auto& c : kCases) {
    SizedFile file;
    file.columns = c.columns;
    file.rows = c.rows;
    file.establish_status = c.status == 7 ? 7 : 0;
    EXPECT_EQ(file.GetNumCols(), c.columns_given);
    file.columns = file.rows = 1;
    EXPECT_EQ(file.GetNumRows(), c.rows_given);
    EXPECT_EQ(file.Fail(c.status + 1), std::max(c.status, 1)) << "the first failure stays";
    file.Close();
    EXPECT_EQ(file.GetStatus(), 0);
  }
}

TEST(SpreadsheetFile, DoesNotWriteUnlessAFormatDoes) {
  SizedFile file;
  file.Fail(7);
  EXPECT_EQ(file.Write(nullptr), 1);
  EXPECT_EQ(ErrorText(file), "This function is not implemented for this file format.");
  EXPECT_EQ(file.GetWarningMessage(), nullptr);
}

}  // namespace

}  // namespace nvimport
