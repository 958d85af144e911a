#pragma once

#include <QString>
#include <string>
#include <vector>

namespace nvimport {

// How a sheet is drawn, where the user says so; what he leaves open is guessed.
struct PlotChoice {
  enum class Curves : char { kGuessed, kRows, kColumns };
  enum class Marks : char { kGuessed, kLines, kPoints, kSticks };
  static constexpr int kNumbers = -1;  // in the place of x values: 1, 2, 3...

  Curves curves = Curves::kGuessed;
  int x = 0;                 // the row, or column, with the x values; 0 to have it guessed
  std::vector<int> lines{};  // the rows, or columns, that are drawn; all of them where empty
  Marks marks = Marks::kGuessed;
  QString x_title{};  // of the axes; empty for what the file says
  QString y_title{};

  bool operator==(const PlotChoice&) const = default;
};

// The choice that was made for a file the last time, and keeps one; of the last hundred files.
PlotChoice KeptChoice(const std::string& file);
void KeepChoice(const std::string& file, const PlotChoice& choice);

}  // namespace nvimport
