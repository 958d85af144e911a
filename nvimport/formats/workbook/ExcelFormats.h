#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "nvimport/formats/workbook/ExcelStream.h"
#include "nvimport/platform/SerialDate.h"

namespace nvimport {

// How the cells of an XF record are taken.
struct ExcelXf {
  DateForm form = DateForm::kNone;
  bool is_mistaken = false;  // a number taken for a date, or a date for a number

  bool is_plain_number() const { return std::bit_cast<std::uint16_t>(*this) == 0; }
};

// What a number format shows: one that is built in, by its number, or a text, by the letters of
// dates outside literal text.
DateForm DateFormOf(std::size_t built_in);
DateForm DateFormOf(std::string_view text);

// The number formats of a workbook that denote dates, and the XF records that refer to them.
class ExcelFormats {
 public:
  ExcelFormats();

  // Takes a FORMAT record, of BIFF2 to BIFF4 under the next number.
  void TakeFormat(const BiffRecord& record, int version, bool is_biff8);

  // Takes an XF record, for which the formats before it may count only.
  void TakeXf(const BiffRecord& record);

  // What the cells of each XF record are, and those of one: `by_letters` of its format or by all
  // that this may hold.
  std::vector<ExcelXf> Xfs(bool by_letters) const;
  ExcelXf Xf(std::size_t index, bool by_letters) const;
  std::size_t xf_count() const { return xfs_.size(); }

  // The same of a cell that names its format itself.
  ExcelXf OfFormat(std::size_t format) const { return {by_grammar_[format]}; }

 private:
  struct Entry {
    std::uint16_t format;
    bool is_date_by_letters;
  };

  std::vector<bool> by_letters_ = std::vector<bool>(0x10000);
  std::vector<DateForm> by_grammar_ = std::vector<DateForm>(0x10000);
  std::vector<Entry> xfs_;
  std::uint16_t next_format_ = 0;
};

}  // namespace nvimport
