#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/platform/Export.h"

namespace nvimport {

// What a file says in words, as its bytes.
struct Statement {
  int row = 0;        // of the sheet that it is about, 0 for the whole file
  std::string label;  // the file's own
  std::string key;    // the normalised one; empty where there is none
  std::string value;
};

// What an axis shows, and in which unit; empty where the file does not say.
struct AxisName {
  std::string label;
  std::string unit;
};

enum class Axis : std::uint8_t { kX, kY, kZ };

// What a file says of itself, and nothing that it doesn't say. It grows within bounds, whatever the
// file holds.
class NVIMPORT_API Description {
 public:
  static constexpr std::size_t kLongestValue = 64 * 1024;         // in bytes
  static constexpr std::size_t kMostInAll = 32 * 1024 * 1024;     // of all statements, in bytes
  static constexpr std::size_t kForEach = sizeof(Statement) + 8;  // that a statement takes itself

  // For the x values alone, or for all.
  explicit Description(bool of_x_alone = false) : of_x_alone_(of_x_alone) {}
  bool of_x_alone() const { return of_x_alone_; }

  // Adds a statement, cut where it is too long and dropped where there are too many.
  void State(std::string_view label, std::string_view key, std::string_view value, int row = 0);
  // The same of one that is there only if it says something.
  void StateIfAny(std::string_view label, std::string_view key, std::string_view value,
                  int row = 0) {
    if (!value.empty()) State(label, key, value, row);
  }
  void NameAxis(Axis axis, std::string_view label, std::string_view unit);
  // The x values of the columns from `first_column` on.
  void SetX(int first_column, std::vector<double> values);
  void AddCut(std::uint64_t count) { cut_ += count; }
  // Whether a statement of so many bytes, kForEach included, still fits.
  bool Holds(std::size_t bytes) const { return bytes <= kMostInAll - bytes_; }

  // In the order of the file.
  const std::deque<Statement>& statements() const { return statements_; }
  // The value of the first statement about `row` with that key; empty for none.
  std::string_view Find(std::string_view key, int row = 0) const;
  const AxisName& name(Axis axis) const { return names_[static_cast<std::size_t>(axis)]; }
  int first_x_column() const { return first_x_column_; }
  const std::vector<double>& x() const { return x_; }
  // How many statements were cut or dropped.
  std::uint64_t cut() const { return cut_; }
  bool empty() const;

 private:
  bool of_x_alone_;
  std::deque<Statement> statements_;  // which takes no more room while it grows
  std::array<AxisName, 3> names_;
  int first_x_column_ = 1;
  std::vector<double> x_;
  std::uint64_t cut_ = 0;
  std::size_t bytes_ = 0;
};

}  // namespace nvimport
