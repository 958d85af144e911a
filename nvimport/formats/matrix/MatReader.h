#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "nvimport/formats/matrix/MatLayout.h"
#include "nvimport/formats/matrix/MatSheet.h"

namespace nvimport {

class ReadSpreadSheetData;

// Delivers the values of a MATLAB file, in the order in which they stand there.
class MatReader {
 public:
  enum class Outcome { kGood, kDamaged, kCannotRead, kOverBudget };

  // Rows behind `last_row` are not delivered.
  MatReader(MatBytes& bytes, const MatContents& contents, Budget& budget, ReadSpreadSheetData& sink,
            int last_row);

  Outcome Read(const std::vector<MatPart>& parts);

  // Whole numbers that neither a double nor 64 bits with a sign hold.
  std::uint64_t inexact() const { return inexact_; }
  // Texts that hold a NUL, where they end.
  std::uint64_t cut() const { return cut_; }

 private:
  bool Begin(const MatPart& part);
  bool EndVariable();
  bool ReadNumbers(const MatPart& part);
  bool ReadSparse(const MatPart& part);
  bool ReadText(const MatPart& part);
  bool ReadCells(const MatPart& part);
  bool ReadCell(MatParser& parser, std::uint64_t end, int column, int row);

  // The values of an element as doubles, or as whole numbers.
  template <typename Value>
  bool ReadAll(const MatElement& element, std::vector<Value>& values);
  template <typename Value>
  bool ReadSome(MatType type, std::span<Value> values);
  template <typename Setter>
  bool ReadMatrix(const MatPart& part, Setter set);
  // Has `use` called with what sets the values of such an array.
  template <typename Use>
  bool WithSetter(const MatHead& head, const Use& use);

  bool ReadUnits(const MatElement& element, std::u16string& units);
  // Sets the text of every `step`th unit, `count` of them at most, without the blanks at its end
  // unless it is the only one.
  void SetText(std::u16string_view units, std::size_t step, std::size_t count, int column, int row);

  MatBytes& bytes_;
  const MatContents& contents_;
  Budget& budget_;
  ReadSpreadSheetData& sink_;
  int last_row_;
  bool takes_exact_;
  std::size_t variable_ = kNoArray;  // that is being read
  std::string text_;
  std::uint64_t inexact_ = 0;
  std::uint64_t cut_ = 0;
};

}  // namespace nvimport
