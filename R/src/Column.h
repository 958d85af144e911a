#pragma once

#include <cpp11/R.hpp>
#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Growing.h"
#include "nvimport/hosting/CellText.h"

namespace nvimport {

// How cells become the values of R.
struct ColumnTyping {
  char decimal_mark = '.';
  std::set<std::string, std::less<>> missing{};  // texts that are, beside those of blanks alone
  bool keeps_texts = false;                      // texts are nothing but texts
  TextDecoder decoder{};
};

// Makes the texts of R, in UTF-8 and marked as such.
class TextMaker {
 public:
  explicit TextMaker(const TextDecoder& decoder) : decoder_(decoder) {}

  // Sets an element to the text; false where it holds a NUL. To be called in cpp11::unwind_protect.
  bool Put(SEXP texts, R_xlen_t at, std::string_view text);
  // The same of one of many texts that stay where they are and elements that are set once: one that
  // comes again and again is made once as a rule.
  bool PutAgain(SEXP texts, R_xlen_t at, std::string_view text);

 private:
  static constexpr unsigned kKnownBits = 12;
  struct Known {
    std::string_view text;
    SEXP made = nullptr;  // an element of what is being filled, which keeps it
  };

  static std::size_t PlaceOf(std::string_view text);

  const TextDecoder& decoder_;
  std::string scratch_;
  std::vector<Known> known_{};
};

// The cells of a column as they come, most of them row by row. Its type is that of all of them:
// texts count as numbers or times as long as all do, and are kept until that is known.
class Column {
 public:
  // Rows count from 0.
  void SetNumber(int row, double value, bool is_float);
  void SetText(int row, std::string_view text, const ColumnTyping& typing);

  // Puts a row in front of the others, before the vector is made.
  struct Cell {
    enum Kind { kMissing, kNumber, kText } kind = kMissing;
    double number = 0;
    bool is_float = false;
    std::string text{};
  };
  void SetFront(std::vector<Cell> front, const ColumnTyping& typing);

  std::size_t cells() const { return cells_; }
  // Whether a text came for that row or one behind it.
  bool IsBehind(int row) const { return text_row_ > row; }

  // A vector of so many rows for it; a logical one of missing values where there is no cell. Those
  // of a sheet are made before the first is filled: R looks through all texts there are when it has
  // to make room.
  SEXP MakeVector(R_xlen_t rows) const;
  // Fills it. Returns the row, from 1, of a text that holds a NUL, 0 where there is none.
  R_xlen_t Fill(SEXP vector, const ColumnTyping& typing) const;

 private:
  // What stands before the bytes of a text: its length, or one of these with the rows that have no
  // text (kGap) or the length (kLong) in four bytes.
  enum Mark : unsigned char { kLong = 254, kGap = 255 };

  void Count(std::string_view text, const ColumnTyping& typing, double& value);
  void SetValue(int row, double value);
  void Store(int row, std::string_view text);
  bool is_text() const {
    return has_words_ || (has_times_ && (has_cells_ || has_fractions_ || has_wholes_));
  }
  bool is_whole() const { return has_wholes_ && !has_cells_ && !has_fractions_ && !has_long_; }
  double ValueAt(R_xlen_t row) const;
  template <typename Put>
  void ForTexts(const Put& put) const;
  R_xlen_t FillTexts(SEXP vector, const ColumnTyping& typing) const;
  void FillNumbers(double* to, R_xlen_t rows) const;

  Growing<double> values_;    // of numbers, and of texts that count as such; NA elsewhere
  Growing<char> texts_;       // behind their lengths
  int text_row_ = 0;          // that comes next there
  std::map<int, Cell> late_;  // what came when its row had passed
  std::vector<Cell> front_;
  std::size_t cells_ = 0;
  bool has_cells_ = false;      // of numbers
  bool has_doubles_ = false;    // among these
  bool has_fractions_ = false;  // texts
  bool has_wholes_ = false;     // texts
  bool has_long_ = false;       // of these some that no integer of R holds
  bool has_times_ = false;
  bool has_words_ = false;
};

}  // namespace nvimport
