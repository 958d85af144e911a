#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/workbook/ExcelStream.h"

namespace nvimport {

// The head of a BIFF8 string: its characters, and what stands between and behind them.
struct ExcelStringHead {
  std::uint16_t characters = 0;
  std::uint8_t option = 0;
  std::uint16_t runs = 0;
  std::uint32_t extension = 0;

  bool is_wide() const { return (option & 0x01) != 0; }
  std::uint64_t trailer() const { return 4 * std::uint64_t{runs} + extension; }

  // Takes the head field by field from a source that offers U8, U16 and U32.
  template <typename Source>
  static ExcelStringHead Read(Source& source) {
    ExcelStringHead head;
    head.characters = source.U16();
    head.option = source.U8();
    if ((head.option & 0x08) != 0) head.runs = source.U16();
    if ((head.option & 0x04) != 0) head.extension = source.U32();
    return head;
  }
};

// Puts the BIFF8 string at `at` of a record, cut to the record, into `text`: 8-bit characters as
// they stand, or as UTF-8 too.
void ReadExcelString(const BiffRecord& record, std::size_t at, std::string& text, bool as_utf8);

// The same where the string may go on in CONTINUE records.
void ReadContinuedExcelString(BaseStream& stream, int longest_record, BiffRecord& record,
                              std::size_t at, std::string& text, bool as_utf8);

// The strings that a workbook's cells share (the SST record and the CONTINUE records behind it), in
// one buffer, each with its NUL.
class ExcelStrings {
 public:
  // Reads the strings of the SST record at `position` of the stream. It is walked twice, first to
  // measure, so that the buffer has the size that it needs. False when a record could not be read.
  //
  // With `keeps_option_byte` the continued records count as they are, but for a first byte of 0:
  // a string that goes on in 16-bit characters takes the option byte there for one of them. 8-bit
  // characters stay as they are, or become UTF-8 too.
  bool Read(BaseStream& stream, std::uint64_t position, int longest_record, bool keeps_option_byte,
            bool as_utf8);

  // The string, empty where there is none.
  const char* At(std::uint32_t index) const {
    return index < begins_.size() ? text_.get() + begins_[index] : "";
  }

  // How many there are that don't break off.
  std::uint32_t whole() const { return whole_; }

  // From this one on the strings are not what was written.
  std::uint32_t first_damaged() const { return first_damaged_; }

 private:
  std::unique_ptr<char[]> text_;
  std::vector<std::uint32_t> begins_;
  std::uint32_t whole_ = 0;
  std::uint32_t first_damaged_ = ~std::uint32_t{0};
};

}  // namespace nvimport
