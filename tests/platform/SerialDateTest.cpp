
#include <limits>

#include "nvimport/platform/SerialDate.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

TEST(SerialDate, IsIsoToTheMillisecond) {
  const struct {
    double serial;
    bool since_1904;
    const char* text;
    DateForm form = DateForm::kTime;
  } kCases[] = {
      {45000, false, "2023-03-15"},
      {45000.5, false, "2023-03-15 12:00:00"},
      {0.5, false, "12:00:00"},
      {0, false, "00:00:00"},
      {1, false, "1900-01-01"},
      {59, false, "1900-02-28"},
      {60, false, "1900-02-29"},
      {60.75, false, "1900-02-29 18:00:00"},
      {61, false, "1900-03-01"},
      {36585, false, "2000-02-29"},
      {45000 + 0.6 / 86400, false, "2023-03-15 00:00:00.600"},
      {45000 + 0.0004 / 86400, false, "2023-03-15"},
      {45000 + 86399.99 / 86400, false, "2023-03-15 23:59:59.990"},
      {45000 + 86399.9996 / 86400, false, "2023-03-16"},
      {0.25 + 0.007 / 86400, false, "06:00:00.007"},
      {86399.9996 / 86400, false, "23:59:59.999"},
      {86399.9996 / 86400, false, "23:59:59.999", DateForm::kDays},
      {86399.9996 / 86400, false, "24:00:00", DateForm::kElapsed},
      {0.125, false, "03:00:00", DateForm::kElapsed},
      {1.5, false, "36:00:00", DateForm::kElapsed},
      {1.5, true, "36:00:00", DateForm::kElapsed},
      {100.5 + 0.5 / 86400, false, "2412:00:00.500", DateForm::kElapsed},
      {2958465.5, false, "71003172:00:00", DateForm::kElapsed},
      {-0.5, false, "-0.5", DateForm::kElapsed},
      {2958465.25, false, "9999-12-31 06:00:00"},
      {0.25, true, "06:00:00"},
      {0, true, "1904-01-01", DateForm::kDays},
      {0.25, true, "1904-01-01 06:00:00", DateForm::kDays},
      {0.25, false, "06:00:00", DateForm::kDays},
      {1, true, "1904-01-02"},
      {59, true, "1904-02-29"},
      {60, true, "1904-03-01"},
      {43538.5, true, "2023-03-15 12:00:00"},
      {2957003, true, "9999-12-31"},
      // No dates.
      {2958466, false, "2958466"},
      {2957004, true, "2957004"},
      {-1.5, false, "-1.5"},
      {-1.7976931348623157e308, false, "-1.7976931348623157e+308"},
      {std::numeric_limits<double>::infinity(), false, "inf"},
      {std::numeric_limits<double>::quiet_NaN(), false, "nan"},
  };
  for (const auto& c : kCases) {
    DateText text;
    EXPECT_EQ(IEEEDate_2_string(c.serial, c.since_1904, text, c.form), c.text) << c.serial;
    EXPECT_EQ(std::string(text.data()), c.text);
  }
}

}  // namespace

}  // namespace nvimport
