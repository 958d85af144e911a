#include "nvimport/framework/DLLReadWholeData.h"

#include <cstring>

namespace nvimport {

void DLLReadWholeData::Set(int column, int row, int value) {
  const auto nearest = static_cast<float>(value);
  if (static_cast<double>(nearest) == value)
    Set(column, row, nearest);
  else
    SetExact(column, row, static_cast<long long>(value));
}

void DLLReadWholeData::Set(int column, int row, const char* text) {
  if (text != nullptr) Set(column, row, text, std::strlen(text));
}

void DLLReadWholeData::Set(int column, int row, const char* text, std::size_t length) {
  if (data_->set_text != nullptr) data_->set_text(data_, row, column, text, length);
}

void DLLReadWholeData::Set(int column, int row, float value) {
  if (data_->set_float != nullptr) data_->set_float(data_, row, column, value);
}

void DLLReadWholeData::SetExact(int column, int row, double value) {
  if (data_->set_double != nullptr) data_->set_double(data_, row, column, value);
}

void DLLReadWholeData::SetExact(int column, int row, long long value) {
  if (data_->set_whole != nullptr) data_->set_whole(data_, row, column, value);
}

int DLLReadWholeData::GetNextIndex(int previous) {
  return data_->next_index != nullptr ? data_->next_index(data_, previous)
                                      : ReadSpreadSheetData::GetNextIndex(previous);
}

void DLLReadWholeData::SetDataSize(int columns, int rows) {
  if (data_->set_size != nullptr) data_->set_size(data_, rows, columns);
}

}  // namespace nvimport
