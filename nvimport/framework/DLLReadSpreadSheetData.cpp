#include "nvimport/framework/DLLReadSpreadSheetData.h"

#include <charconv>

namespace nvimport {

void DLLReadSpreadSheetData::Set(int column, int row, long long value) {
  char digits[24];
  *std::to_chars(digits, digits + sizeof digits - 1, value).ptr = '\0';
  Set(column, row, static_cast<const char*>(digits));
}

void DLLReadSpreadSheetData::Set(int column, int row, double value) {
  // Kept: the threshold lies below the float's limit of exact whole numbers, and plug-ins expect
  // it there.
  constexpr double kLargeWhole = 999990.0;
  constexpr double kTwoTo63 = 9223372036854775808.0;
  // A NaN fails both comparisons, so what is converted always fits.
  if (value > kLargeWhole && value < kTwoTo63) {
    const auto whole = static_cast<long long>(value);
    if (static_cast<double>(whole) == value) return Set(column, row, whole);
  }
  Set(column, row, static_cast<float>(value));
}

void DLLReadSpreadSheetData::Set(int column, int row, const char* text) {
  if (data_->set_text != nullptr) data_->set_text(data_, row, column, text);
}

void DLLReadSpreadSheetData::Set(int column, int row, float value) {
  if (data_->set_number != nullptr) data_->set_number(data_, row, column, value);
}

int DLLReadSpreadSheetData::GetNextIndex(int previous) {
  return data_->next_index != nullptr ? data_->next_index(data_, previous)
                                      : ReadSpreadSheetData::GetNextIndex(previous);
}

void DLLReadSpreadSheetData::SetDataSize(int columns, int rows) {
  if (data_->set_size != nullptr) data_->set_size(data_, rows, columns);
}

int DLLReadSpreadSheetData::GetNumberOfColumns() { return data_->columns; }

int DLLReadSpreadSheetData::GetNumberOfRows() { return data_->rows; }

}  // namespace nvimport
