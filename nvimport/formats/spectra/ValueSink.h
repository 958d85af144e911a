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

  // Gives `run` what sets the value of a column of a row. For many of them: that the sink takes
  // doubles is looked at once.
  template <typename Run>
  auto InRow(int row, Run run) const {
    if (takes_exact_)
      return run([&](int column, double value) { sink_.SetExact(column, row, value); });
    return run(
        [&](int column, double value) { sink_.Set(column, row, static_cast<float>(value)); });
  }

  // Sets so many of a row, from `column` on, each of which `value_at` makes of its number from 0.
  template <typename ValueAt>
  void SetRun(int column, int row, int count, ValueAt value_at) const {
    InRow(row, [&](auto set) {
      for (int i = 0; i < count; ++i) set(column + i, value_at(i));
    });
  }

 private:
  ReadSpreadSheetData& sink_;
  bool takes_exact_;
};

}  // namespace nvimport
