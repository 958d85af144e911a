#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "nvimport/formats/matrix/MatLayout.h"

namespace nvimport {

// A matrix that can be chosen: an array, or a page of one.
struct MatOffer {
  std::string name;
  std::string detail;  // its size and class
  std::size_t array = 0;
  std::uint64_t page = 0;
  std::uint64_t rows = 0;  // of the sheet
  std::uint64_t columns = 0;
};

// What the arrays of a file give.
std::vector<MatOffer> OffersOf(const MatContents& contents);

// The offer that is mostly meant: the numbers with the most cells.
std::size_t UsualOffer(const std::vector<MatOffer>& offers, const MatContents& contents);

// What is taken of them.
struct MatChoice {
  std::vector<std::size_t> offers;  // in the order of the sheet
  bool are_below = false;           // each other, not side by side
  bool has_names = true;            // rows and columns are named by what belongs to the matrix
};

// Where the values of an array go. Those of a page follow one another column by column.
struct MatPart {
  enum class What : std::uint8_t { kNumbers, kText, kCells, kSparse };

  std::size_t array = 0;
  What what = What::kNumbers;
  MatElement element;      // of the page
  int column = 1;          // of the first value
  int row = 1;             // likewise
  int step = 1;            // from column to column
  bool is_turned = false;  // columns become rows
};

// The sheet of a choice.
class MatSheet {
 public:
  struct Label {
    std::uint64_t column;
    std::string text;
  };

  MatSheet() = default;
  MatSheet(const MatContents& contents, const std::vector<MatOffer>& offers,
           const MatChoice& choice);

  std::uint64_t columns() const { return columns_; }
  std::uint64_t rows() const { return rows_; }
  // In the order of the file. Valid when the size fits an int.
  std::vector<MatPart> Parts() const;
  // What stands in the first row beside the names of columns.
  const std::vector<Label>& labels() const { return labels_; }

 private:
  // A matrix, or names, in the sheet.
  struct Block {
    std::size_t array;
    std::uint64_t page;
    std::uint64_t column;
    std::uint64_t row;
    int step = 1;
    bool is_turned = false;
  };
  // What belongs to a matrix; none is kNoArray.
  struct Names {
    std::size_t rows = kNoArray;
    std::size_t columns = kNoArray;
  };

  // Lists that may name something, by where they stand and how much they name.
  enum class ListKind : std::uint8_t {
    kBeside,
    kRowLabels,
    kColumnLabels,
    kRowScale,
    kColumnScale
  };
  // Holder, place there, how many names, kind.
  using ListKey = std::tuple<std::size_t, std::uint64_t, std::uint64_t, ListKind>;

  void FindLists(const MatChoice& choice, const std::vector<MatOffer>& offers);
  Names NamesOf(const MatOffer& offer) const;
  std::size_t NamesAlong(const MatArray& data, bool are_columns) const;
  void AddNames(std::size_t array, std::uint64_t column, std::uint64_t row, bool are_columns,
                int step);
  int StepOf(std::size_t array) const;
  void AddPart(const Block& block, bool is_imaginary, std::vector<MatPart>& parts) const;

  const MatContents* contents_ = nullptr;
  std::map<ListKey, std::vector<std::size_t>> lists_;
  // Whether the name of a list is one of those that such lists usually have; by array.
  struct Usual {
    bool for_rows = false;
    bool for_columns = false;
  };
  std::vector<Usual> usual_;
  std::vector<Block> blocks_;
  std::vector<Label> labels_;
  std::uint64_t columns_ = 0;
  std::uint64_t rows_ = 0;
};

}  // namespace nvimport
