#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "nvimport/framework/Description.h"
#include "nvimport/framework/MemorySheet.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// How the columns of a sheet are found.
struct ColumnRules {
  int skipped_rows = 0;             // before the row of names
  std::optional<bool> has_names{};  // whether that row names columns; else told by what it holds
  TextDecoder decoder{};            // of the names
  bool tells_kinds = false;         // of columns, which takes time where they hold texts
  char decimal_mark = '.';          // of those that read as numbers
};

// What stands in a column, each of them together with those before it.
enum class ColumnKind : std::uint8_t {
  kEmpty,
  kNumbers,
  kNumberTexts,  // that read as numbers
  kTexts         // or anything, where nobody asked
};

// The columns of one sheet, as they are matched with those of others: by name, or by x value.
struct SheetColumns {
  struct Named {
    int column;
    std::string name;  // in UTF-8, empty of one without
    ColumnKind kind = ColumnKind::kEmpty;

    bool operator==(const Named&) const = default;
  };

  std::vector<Named> named{};
  int first_x_column = 1;
  std::vector<double> x{};                 // of the columns from there on
  AxisName x_name{};                       // as far as the file says it
  AxisName y_name{};                       // likewise
  int name_row = 0;                        // the row of names, 0 where there is none
  bool has_spectra = false;                // its reader told the x values: a spectrum a row
  bool is_told_by_row = false;             // which there was, though it names nothing
  ColumnKind x_kind = ColumnKind::kEmpty;  // of all columns with x values

  // For the way to another process, and back; none of bytes that are damaged.
  NVIMPORT_API std::string Bytes() const;
  NVIMPORT_API static std::optional<SheetColumns> Parse(std::string_view bytes);
};

// What a sheet has for columns, by its row of names (row `row` of `head`) and by what its reader
// said. `below` tells of columns from 1 to `columns` what stands in them below that row: those that
// have neither name nor cells are left out.
NVIMPORT_API SheetColumns FindColumns(const MemorySheet& head, int row, int columns,
                                      const std::vector<ColumnKind>& below,
                                      const Description& description, const ColumnRules& rules);

// The columns of all sheets: names in the order in which they came up, then x values, which rise or
// fall as those of the first sheet that has some.
class NVIMPORT_API CombinedColumns {
 public:
  enum class Grid : std::uint8_t {
    kUnion,  // each x that occurs
    kFirst   // those of the first sheet that has some
  };
  static constexpr std::size_t kNone = SIZE_MAX;

  explicit CombinedColumns(Grid grid = Grid::kUnion) : grid_(grid) {}

  void Add(const SheetColumns& sheet);
  // What was put together apart from this, of sheets behind those that are here.
  void Add(const CombinedColumns& others);
  // To be called behind the last of them, before what follows.
  void Settle();

  // For the way to another process, and back, once settled. None of bytes that are damaged.
  std::string Bytes() const;
  static std::optional<CombinedColumns> Parse(std::string_view bytes);

  std::size_t size() const { return names_.size() + x_.size(); }
  // The positions, from 0, of the columns of a sheet, which count from 1; kNone of those that have
  // no place here.
  std::vector<std::size_t> PositionsOf(const SheetColumns& sheet) const;
  // The same of a column without a name.
  std::size_t PositionOfUnnamed(int column) const;
  // The x value of the column at `position`, if it has one.
  std::optional<double> XAt(std::size_t position) const;
  std::size_t x_count() const { return x_.size(); }
  // What stands in the column at `position`, in all sheets.
  ColumnKind KindAt(std::size_t position) const {
    return position < kinds_.size() ? kinds_[position] : x_kind_;
  }
  // Whether each x that occurs has its place.
  bool has_all_x() const { return grid_ == Grid::kUnion; }

  // The names of all columns, each another one: x values with the digits that tell them apart.
  // `before` are those of columns that stand in front.
  std::vector<std::string> Names(const std::vector<std::string>& before) const;

  // What the axes show, as far as all sheets with x values say the same.
  const AxisName& x_name() const { return x_name_; }
  const AxisName& y_name() const { return y_name_; }
  // The units of x that occur.
  const std::vector<std::string>& x_units() const { return x_units_; }
  std::size_t sheets_with_x() const { return sheets_with_x_; }
  // How many of those have not just the x values that are here.
  std::size_t CountOtherAxes() const;

 private:
  // The k-th column of that x in its sheet, from 0.
  using Point = std::pair<double, int>;

  static std::vector<Point> PointsOf(const std::vector<double>& x);
  static std::string KeyOf(const std::string& name, int which);
  int DigitsOfX() const;
  bool IsBefore(const Point& a, const Point& b) const;
  void Sort(std::vector<Point>& points) const;
  std::size_t PositionOf(const Point& point) const;
  std::size_t PositionOf(const std::string& name, int which) const;
  void AddName(const std::string& name, int which, ColumnKind kind);
  void AddPoints(std::vector<Point> points);
  void AddAxes(const AxisName& x, const AxisName& y);
  void AddUnit(const std::string& unit);
  void MergePending();

  Grid grid_;
  // Which of its name a column is in its sheet, from 0; where it stands of one without.
  std::vector<std::pair<std::string, int>> names_;
  std::unordered_map<std::string, std::size_t> positions_;
  std::vector<ColumnKind> kinds_;  // of those with names
  ColumnKind x_kind_ = ColumnKind::kEmpty;
  std::vector<Point> x_;
  std::vector<Point> pending_;  // to become part of those
  std::vector<double> last_x_;  // of the sheet added last
  bool falls_ = false;
  std::size_t sheets_with_x_ = 0;
  std::map<std::size_t, std::size_t> axes_;  // how many sheets have so many x values
  std::size_t off_grid_ = 0;                 // those that have others than the first
  bool last_is_off_grid_ = false;
  AxisName x_name_;
  AxisName y_name_;
  std::vector<std::string> x_units_;
};

}  // namespace nvimport
