#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "nvimport/formats/workbook/ExcelStream.h"

namespace nvimport {

// How the cells of an XF record are taken.
enum class ExcelXf : unsigned char { kNumber, kDate, kNumberTakenForDate, kDateTakenForNumber };

// Whether a number format denotes dates: one that is built in, by its number, or a text that holds
// a letter of a date outside literal text, or an elapsed time as in "[h]:mm".
bool IsDateFormat(std::size_t built_in);
bool IsDateFormat(std::string_view text);

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
  ExcelXf OfFormat(std::size_t format) const {
    return by_grammar_[format] ? ExcelXf::kDate : ExcelXf::kNumber;
  }

 private:
  struct Entry {
    std::uint16_t format;
    bool is_date_by_letters;
  };

  std::vector<bool> by_letters_ = std::vector<bool>(0x10000);
  std::vector<bool> by_grammar_ = std::vector<bool>(0x10000);
  std::vector<Entry> xfs_;
  std::uint16_t next_format_ = 0;
};

}  // namespace nvimport
