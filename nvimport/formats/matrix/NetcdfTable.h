#pragma once

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "nvimport/formats/matrix/NetcdfValues.h"

namespace nvimport {

class ReadSpreadSheetData;

// A variable that can be chosen.
struct NetcdfOffer {
  std::string name;
  std::string detail;  // sizes, type, unit and long name
  std::size_t variable = 0;
};

// A place along a dimension, from 0, where others are passed over.
struct NetcdfPage {
  std::uint32_t dimension;
  std::uint64_t place;
};
using NetcdfPages = std::vector<NetcdfPage>;

inline constexpr std::uint32_t kNoDimension = std::numeric_limits<std::uint32_t>::max();

// A variable in the sheet: rows along its first dimension that is not paged, columns along the
// next.
struct NetcdfPart {
  std::size_t variable = 0;
  NetcdfSlab slab;
  std::size_t text_length = 0;                 // of a variable of texts
  std::uint32_t rows_along = kNoDimension;     // none of a single value
  std::uint32_t columns_along = kNoDimension;  // none of a single column
  std::uint64_t column = 1;                    // of the sheet
  NetcdfPages first_pages{};                   // of which nobody said which page is meant
};

// What can be chosen of a file.
std::vector<NetcdfOffer> OffersOf(const NetcdfContents& contents);

// The offers that are mostly meant together: the numbers with the most cells, and what stands along
// the same rows.
std::vector<std::size_t> UsualOffers(const NetcdfContents& contents,
                                     const std::vector<NetcdfOffer>& offers,
                                     const NetcdfPages& pages);

// Where the values of a variable stand.
NetcdfPart PartOf(const NetcdfContents& contents, std::size_t variable, const NetcdfPages& pages);

// What names the places along a dimension: its own variable, else texts that lie along it alone.
// Null where there is neither, or where it is among the `chosen`.
const NetcdfVariable* NamesAlong(const NetcdfContents& contents, std::uint32_t dimension,
                                 const std::vector<NetcdfPart>& chosen);

// Sets the cells of parts row by row.
class NetcdfPartsReader {
 public:
  NetcdfPartsReader(NetcdfSource& source, const NetcdfContents& contents,
                    const std::vector<NetcdfPart>& parts, ReadSpreadSheetData& sink,
                    std::initializer_list<double> missing = {});

  // Sets the values of a row, from 0, in a row of the sheet. False when the file could not be read.
  [[nodiscard]] bool Set(std::uint64_t row, int sheet_row);
  bool cannot_read() const { return cannot_read_; }

 private:
  bool SetWide(std::uint64_t row, int sheet_row);

  NetcdfSource& source_;
  ReadSpreadSheetData& sink_;
  std::vector<NetcdfSlab> slabs_;
  std::vector<int> columns_;
  std::vector<std::unique_ptr<NetcdfCells>> cells_;
  std::unique_ptr<NetcdfRows> rows_;  // unless a row is too long to be there at once
  bool cannot_read_ = false;
};

}  // namespace nvimport
