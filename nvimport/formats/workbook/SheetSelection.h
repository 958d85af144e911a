#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/framework/NvImport.h"

namespace nvimport {

// A worksheet as it is offered.
struct OfferedSheet {
  std::string name;
  std::uint32_t columns = 0;
  std::uint32_t rows = 0;
};

// What a format calls its worksheets when it asks which are wanted.
struct SheetWords {
  const char* title;
  const char* prompt;
  const char* heading;  // of their list
};
inline constexpr SheetWords kExcelWords = {
    "Select Excel Worksheet",
    "An Excel workbook consists of multiple worksheets. Please select the worksheet(s) you want "
    "to import.",
    "Worksheet"};

// The worksheets of a workbook that become one sheet, and how they lie in it.
struct SheetSelection {
  std::vector<int> sheets;  // numbers from 1, in the order of the sheet
  bool above_and_below = true;

  // Lets the user choose. None when cancelled, or when the answer names what was not offered.
  static std::optional<SheetSelection> Ask(const std::vector<OfferedSheet>& offered,
                                           const SheetWords& words = kExcelWords);

  // What Bytes() made. None, and a line of the log from `source`, for bytes that make no sense or
  // name a worksheet beyond `count`.
  static std::optional<SheetSelection> Parse(const NvImportOpenOptions& options, std::size_t count,
                                             std::string_view source);

  // As text: '1' when the worksheets stand above and below, else '0', then a comma and the number
  // of each.
  std::string Text() const;
  static SheetSelection FromText(const std::string& text);

  // The bytes of options: the text as a binary string, then 32 bits, the position from 0 of a
  // single worksheet, or -1 for those of the text.
  std::vector<unsigned char> Bytes() const;

  // The same as a record of its own, which the caller owns with its bytes.
  NvImportOpenOptions* NewOptions() const;

  // Whether there is each of them among `count`.
  bool IsWithin(std::size_t count) const;
};

// Where worksheets lie in the sheet that they become, and its size.
class SheetLayout {
 public:
  explicit SheetLayout(bool above_and_below) : above_and_below_(above_and_below) {}

  // Puts a worksheet behind those before it.
  void Add(std::uint32_t columns, std::uint32_t rows);

  // How far the next worksheet's cells are moved.
  int column_offset() const { return above_and_below_ ? 0 : static_cast<int>(along_); }
  int row_offset() const { return above_and_below_ ? static_cast<int>(along_) : 0; }

  std::uint64_t columns() const { return above_and_below_ ? across_ : along_; }
  std::uint64_t rows() const { return above_and_below_ ? along_ : across_; }

  // Kept: several worksheets together count one more the way across.
  void AddExtraOne() { ++across_; }

 private:
  bool above_and_below_;
  std::uint64_t along_ = 0;
  std::uint64_t across_ = 0;
};

}  // namespace nvimport
