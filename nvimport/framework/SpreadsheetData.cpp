#include "nvimport/framework/SpreadsheetData.h"

#include <climits>

namespace nvimport {

SpreadSheetDataBase::~SpreadSheetDataBase() = default;

void ReadSpreadSheetData::Set(int column, int row, int value) {
  Set(column, row, static_cast<float>(value));
}

void ReadSpreadSheetData::Set(int column, int row, long long value) {
  Set(column, row, static_cast<float>(value));
}

void ReadSpreadSheetData::Set(int column, int row, double value) {
  Set(column, row, static_cast<float>(value));
}

void ReadSpreadSheetData::Set(int column, int row, const char* text, std::size_t) {
  Set(column, row, text);
}

bool ReadSpreadSheetData::TakesExact() { return false; }

void ReadSpreadSheetData::SetExact(int column, int row, double value) { Set(column, row, value); }

void ReadSpreadSheetData::SetExact(int column, int row, long long value) {
  Set(column, row, value);
}

int ReadSpreadSheetData::GetNextIndex(int previous) {
  return previous == INT_MAX ? -1 : previous + 1;
}

std::optional<double> WriteSpreadSheetData::GetExact(int, int) { return std::nullopt; }

bool WriteSpreadSheetData::KeepsTextOf(int, int) { return false; }

int SpreadsheetData::SetTag(int value) { return tag_ = value; }

}  // namespace nvimport
