#pragma once

#include "nvimport/framework/SpreadsheetData.h"

namespace nvimport {

// Sets values as the file has them.
class ValueSink {
 public:
  explicit ValueSink(ReadSpreadSheetData& sink) : sink_(sink), takes_exact_(sink.TakesExact()) {}
  void Set(int column, int row, float value) const { sink_.Set(column, row, value); }
  void Set(int column, int row, double value) const {
    if (takes_exact_)
      sink_.SetExact(column, row, value);
    else
      sink_.Set(column, row, static_cast<float>(value));
  }

  // Sets so many of a row, from `column` on, each of which `value_at` makes of its number from 0.
  template <typename ValueAt>
  void SetRun(int column, int row, int count, ValueAt value_at) const {
    if (takes_exact_)
      for (int i = 0; i < count; ++i) sink_.SetExact(column + i, row, value_at(i));
    else
      for (int i = 0; i < count; ++i) sink_.Set(column + i, row, static_cast<float>(value_at(i)));
  }

 private:
  ReadSpreadSheetData& sink_;
  bool takes_exact_;
};

}  // namespace nvimport
