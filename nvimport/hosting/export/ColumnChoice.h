#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "nvimport/hosting/Failure.h"
#include "nvimport/hosting/export/ShapedSheet.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// The columns of a sheet, as names are looked up among them.
struct NamedColumns {
  std::vector<std::string> names;  // in UTF-8
  int first_x_column = 1;
  std::vector<double> x{};  // of the columns from there on
};

// Which columns are wanted, in that order: ranges of numbers as NumberRanges has them, and names:
// "2", "Moisture,7-", "\"1,5\"". What is in quotes is a name whatever it looks like.
class NVIMPORT_API ColumnChoice {
 public:
  // None for what is no such list.
  static std::optional<ColumnChoice> Parse(std::string_view text);

  bool has_names() const;
  // The same by numbers alone, or a failure that says which name there is not. A name of several
  // columns stands for all of them, one that no column has but is its x value for that one.
  std::optional<Failure> Resolve(const NamedColumns& columns, NumberRanges& numbers) const;

 private:
  std::vector<std::variant<NumberRanges, std::string>> items_;
};

}  // namespace nvimport
