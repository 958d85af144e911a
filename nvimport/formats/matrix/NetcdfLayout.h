#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/matrix/NetcdfSource.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Budget.h"

namespace nvimport {

// What a netCDF file of the classic formats holds, without its values.

enum NetcdfStatus : int {
  kNetcdfNoFile = 4416,
  kNetcdfNotThisFormat,
  kNetcdfHdf5,
  kNetcdfNasa,
  kNetcdfHeaderCut,
  kNetcdfHeaderDamaged,
  kNetcdfNoVariable,
  kNetcdfCutShort,
  kNetcdfCannotRead,
  kNetcdfKindsDiffer,
  kNetcdfSeveralTables,
  kNetcdfNoSignal,
  kNetcdfNoPeaks,
  kNetcdfNoScans,
  kNetcdfScansDamaged,
  kNetcdfNotOpened
};

// The numbers are those of the format.
enum class NetcdfType : std::uint8_t {
  kI8 = 1,
  kChar = 2,
  kI16 = 3,
  kI32 = 4,
  kF32 = 5,
  kF64 = 6,
  kU8 = 7,
  kU16 = 8,
  kU32 = 9,
  kI64 = 10,
  kU64 = 11,
  kText = 12  // of a length of its own; only of what is shown as a file
};

constexpr bool IsText(NetcdfType type) {
  return type == NetcdfType::kChar || type == NetcdfType::kText;
}

// The bytes of a value.
constexpr unsigned SizeOf(NetcdfType type) {
  constexpr unsigned kSizes[] = {0, 1, 1, 2, 4, 4, 8, 1, 2, 4, 8, 8, 8};
  return kSizes[static_cast<std::size_t>(type)];
}
const char* WordOf(NetcdfType type);

// Text that ends with its first NUL, without the blanks at its end.
std::string_view NetcdfText(std::string_view bytes);

struct NetcdfDimension {
  std::string name;
  std::uint64_t length = 0;  // of the record dimension the number of records
  bool is_record = false;
  bool has_numbers = false;  // along it lie some, not only characters
};

struct NetcdfAttribute {
  std::string name;
  NetcdfType type = NetcdfType::kChar;
  std::uint64_t count = 0;
  std::string bytes;  // of its values

  // What it says, numbers with blanks between.
  std::string Text() const;
  // One of its numbers; none of text.
  std::optional<double> Number(std::size_t at = 0) const;
};

using NetcdfAttributes = std::vector<NetcdfAttribute>;

struct NetcdfVariable {
  std::string name;
  std::vector<std::uint32_t> dimensions;
  NetcdfAttributes attributes;
  NetcdfType type = NetcdfType::kF32;
  std::uint64_t begin = 0;
  std::uint64_t bytes = 0;  // of all values, or of those of a record
  bool is_record = false;
};

struct NetcdfContents {
  int version = 1;
  std::uint64_t file_size = 0;
  std::uint64_t records = 0;
  std::uint64_t record_size = 0;
  std::vector<NetcdfDimension> dimensions;
  NetcdfAttributes attributes;
  std::vector<NetcdfVariable> variables;

  const NetcdfVariable* Find(std::string_view name) const;
  // Whether the file is long enough for all values of the variable.
  bool Holds(const NetcdfVariable& variable) const;
  // Whether the last dimension only makes texts of characters.
  bool HasTexts(const NetcdfVariable& variable) const;
};

// The attribute of that name, if there is one.
const NetcdfAttribute* Find(const NetcdfAttributes& attributes, std::string_view name);
// What it says; nothing where it is missing.
std::string TextOf(const NetcdfAttributes& attributes, std::string_view name);

// Reads the header. What is kept of it is drawn from `budget`. 0 or a status.
int ReadNetcdf(NetcdfSource& source, Budget& budget, NetcdfContents& contents);

}  // namespace nvimport
