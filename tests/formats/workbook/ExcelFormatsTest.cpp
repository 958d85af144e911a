#include <gtest/gtest.h>

#include <vector>

#include "nvimport/formats/workbook/ExcelFormats.h"

namespace nvimport {

namespace {

TEST(ExcelFormats, ShowDaysTimesOrNumbers) {
  using enum DateForm;
  const struct {
    DateForm form;
    std::vector<const char*> texts;
  } kCases[] = {
      {kDays,
       {"yyyy-mm-dd", "d/m/yy;@", "mmm-yy", "MMMM", "m", "[$-409]d.m.yyyy h:mm AM/PM",
        "yyyy-mm-ddThh:mm:ssZ", "yyyymmddThhmmss", "TT.MM.JJJJ", "yyyy\u5e74m\u6708d\u65e5",
        "d \"days\" h", "h:mm d/m", "m/s/m", "ggge.m.d"}},
      {kTime, {"h:mm", "h:mm AM/PM", "mm:ss.0", "hh\\hmm", "s", "[Red]h:m", "h:m A/P"}},
      {kElapsed, {"[h]:mm:ss", "[mm]:ss", "[s]", "[HH]:mm"}},
      // General goes by many names.
      {kNone, {"General",     "Standard",   "Standaard",          "Yleinen",
               "Allm\xe4nt",  "Almindelig", "Norm\xe1l",          "\xdcldine",
               "Est\xe1ndar", "Og\xf3lny",  "G/\x95\x57\x8f\x80", "Standaard;[Red]-Standaard",
               "0.00 USD",    "0.0E+00",    "0.0 \"days\"",       "0\\d",
               "_d0",         "*y0",        "[Magenta]0",         "@"}},
  };
  for (const auto& c : kCases)
    for (const char* const text : c.texts) EXPECT_EQ(DateFormOf(text), c.form) << text;
}

}  // namespace

}  // namespace nvimport
