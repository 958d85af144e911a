#include "nvimport/framework/DLLWriteSpreadSheetData.h"

#include "nvimport/framework/WriteRecord.h"

namespace nvimport {

float DLLWriteSpreadSheetData::GetNumber(int column, int row) {
  return data_->number != nullptr ? data_->number(data_, row, column) : 0;
}

const char* DLLWriteSpreadSheetData::GetText(int column, int row) {
  return data_->text != nullptr ? data_->text(data_, row, column) : nullptr;
}

bool DLLWriteSpreadSheetData::CellFlag(int column, int row) {
  // Kept: column first here, as plug-ins and hosts are built.
  return data_->flag != nullptr && data_->flag(data_, column, row) != 0;
}

bool DLLWriteSpreadSheetData::IsNumber(int column, int row) {
  return IsKind(CellKind::kNumber, column, row);
}

bool DLLWriteSpreadSheetData::IsMissing(int column, int row) {
  return IsKind(CellKind::kMissing, column, row);
}

bool DLLWriteSpreadSheetData::IsText(int column, int row) {
  return IsKind(CellKind::kText, column, row);
}

bool DLLWriteSpreadSheetData::KeepsTextOf(int column, int row) {
  WriteSpreadSheetData* const source = SourceOf(*data_);
  return source != nullptr && source->KeepsTextOf(column, row);
}

std::optional<double> DLLWriteSpreadSheetData::GetExact(int column, int row) {
  WriteSpreadSheetData* const source = SourceOf(*data_);
  return source != nullptr ? source->GetExact(column, row) : std::nullopt;
}

bool DLLWriteSpreadSheetData::IsKind(CellKind kind, int column, int row) {
  return data_->kind != nullptr && data_->kind(data_, row, column) == static_cast<char>(kind);
}

int DLLWriteSpreadSheetData::GetNumberOfColumns() { return data_->columns; }

int DLLWriteSpreadSheetData::GetNumberOfRows() { return data_->rows; }

}  // namespace nvimport
