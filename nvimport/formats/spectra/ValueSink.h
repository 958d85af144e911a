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

 private:
  ReadSpreadSheetData& sink_;
  bool takes_exact_;
};

}  // namespace nvimport
