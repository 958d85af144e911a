#include "Column.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cpp11/protect.hpp>
#include <cpp11/sexp.hpp>
#include <cstdint>
#include <cstring>

#include "nvimport/hosting/calls/TextValues.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

constexpr R_xlen_t kBetweenChecks = 16384;  // for the user's interrupts

std::uint32_t LengthAt(const char* from) {
  std::uint32_t length = 0;
  std::memcpy(&length, from, sizeof length);
  return length;
}

std::string_view NumberShown(double value, bool is_float, FloatText& buffer) {
  return is_float ? FormatFloat(static_cast<float>(value), buffer) : FormatDouble(value, buffer);
}

}  // namespace

bool TextMaker::Put(SEXP texts, R_xlen_t at, std::string_view text) {
  const std::string_view utf8 = decoder_.Decode(text, scratch_);
  if (std::memchr(utf8.data(), '\0', utf8.size()) != nullptr) return false;
  SET_STRING_ELT(texts, at, Rf_mkCharLenCE(utf8.data(), static_cast<int>(utf8.size()), CE_UTF8));
  return true;
}

// By its length and its ends.
std::size_t TextMaker::PlaceOf(std::string_view text) {
  constexpr std::uint64_t kOdd = 0x9e3779b97f4a7c15;
  constexpr unsigned kBits = 64;
  constexpr std::size_t kEnd = sizeof(std::uint64_t);
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  const std::size_t count = std::min(text.size(), kEnd);
  std::memcpy(&first, text.data(), count);
  std::memcpy(&last, text.data() + text.size() - count, count);
  const std::uint64_t mixed = ((first + text.size()) * kOdd ^ last) * kOdd;
  return static_cast<std::size_t>(mixed >> (kBits - kKnownBits));
}

bool TextMaker::PutAgain(SEXP texts, R_xlen_t at, std::string_view text) {
  if (known_.empty()) known_.resize(std::size_t{1} << kKnownBits);
  Known& known = known_[PlaceOf(text)];
  if (known.made != nullptr && known.text == text) {
    SET_STRING_ELT(texts, at, known.made);
    return true;
  }
  if (!Put(texts, at, text)) return false;
  known = {text, STRING_ELT(texts, at)};
  return true;
}

void Column::SetValue(int row, double value) {
  const auto at = static_cast<std::size_t>(row);
  if (at > values_.size())
    for (std::size_t gap = at - values_.size(); gap > 0; --gap) values_.Add(NA_REAL);
  if (at == values_.size())
    values_.Add(value);
  else
    values_[at] = value;
}

void Column::SetNumber(int row, double value, bool is_float) {
  ++cells_;
  has_cells_ = true;
  has_doubles_ = has_doubles_ || !is_float;
  SetValue(row, value);
  if (row < text_row_) late_[row] = {Cell::kNumber, value, is_float, {}};
}

void Column::Count(std::string_view text, const ColumnTyping& typing, double& value) {
  if (typing.keeps_texts) {
    has_words_ = true;
  } else if (const auto number = NumberOf(text, typing.decimal_mark)) {
    if (number->number_kind != NumberKind::kWhole) {
      has_fractions_ = true;
    } else {
      has_wholes_ = true;
      has_long_ = has_long_ || number->whole > INT_MAX || number->whole < -INT_MAX;
      // All digits of a number count, so that one that no double holds is a text.
      has_words_ = has_words_ || !IsExact(number->whole);
    }
    value = number->wide;
  } else if (const auto time = ParseTime(text)) {
    constexpr std::int64_t kUnit = 1'000'000'000;
    const std::int64_t seconds = *time / kUnit - (*time % kUnit < 0 ? 1 : 0);
    has_times_ = true;
    value = static_cast<double>(seconds) +
            static_cast<double>(*time - seconds * kUnit) / static_cast<double>(kUnit);
  } else {
    has_words_ = true;
  }
}

void Column::SetText(int row, std::string_view text, const ColumnTyping& typing) {
  const std::string_view plain = WithoutBlanks(text);
  if (plain.empty() || (!typing.missing.empty() && typing.missing.contains(text))) return;
  ++cells_;
  if (!has_words_) {
    double value = NA_REAL;
    Count(plain, typing, value);
    SetValue(row, value);
  }
  Store(row, text);
}

void Column::Store(int row, std::string_view text) {
  if (row < text_row_) {
    late_[row] = {Cell::kText, 0, false, std::string(text)};
    return;
  }
  const auto mark = [&](Mark which, std::size_t length) {
    const auto number = static_cast<std::uint32_t>(length);
    char* const to = texts_.Extend(1 + sizeof number);
    *to = static_cast<char>(which);
    std::memcpy(to + 1, &number, sizeof number);
  };
  if (row > text_row_) mark(kGap, static_cast<std::size_t>(row - text_row_));
  if (text.size() < kLong)
    texts_.Add(static_cast<char>(text.size()));
  else
    mark(kLong, text.size());
  std::memcpy(texts_.Extend(text.size()), text.data(), text.size());
  text_row_ = row + 1;
}

void Column::SetFront(std::vector<Cell> front, const ColumnTyping& typing) {
  for (Cell& cell : front) {
    if (cell.kind == Cell::kNumber) {
      ++cells_;
      has_cells_ = true;
      has_doubles_ = has_doubles_ || !cell.is_float;
    } else if (cell.kind == Cell::kText) {
      const std::string_view plain = WithoutBlanks(cell.text);
      if (plain.empty() || typing.missing.contains(cell.text)) {
        cell.kind = Cell::kMissing;
        continue;
      }
      ++cells_;
      cell.number = NA_REAL;
      Count(plain, typing, cell.number);
    }
  }
  front_ = std::move(front);
}

template <typename Put>
void Column::ForTexts(const Put& put) const {
  R_xlen_t row = 0;
  const char* const end = texts_.data() + texts_.size();
  for (const char* at = texts_.data(); at < end;) {
    const auto mark = static_cast<unsigned char>(*at++);
    if (mark == kGap) {
      row += LengthAt(at);
      at += sizeof(std::uint32_t);
      continue;
    }
    std::size_t length = mark;
    if (mark == kLong) {
      length = LengthAt(at);
      at += sizeof(std::uint32_t);
    }
    put(row++, std::string_view(at, length));
    at += length;
  }
}

double Column::ValueAt(R_xlen_t row) const {
  const auto front = static_cast<R_xlen_t>(front_.size());
  if (row < front) {
    const Cell& cell = front_[static_cast<std::size_t>(row)];
    return cell.kind == Cell::kMissing ? NA_REAL : cell.number;
  }
  const auto at = static_cast<std::size_t>(row - front);
  return at < values_.size() ? values_[at] : NA_REAL;
}

R_xlen_t Column::FillTexts(SEXP vector, const ColumnTyping& typing) const {
  const R_xlen_t rows = Rf_xlength(vector);
  R_xlen_t nul_row = 0;
  TextMaker maker(typing.decoder);
  R_xlen_t done = 0;
  const auto put = [&](R_xlen_t row, std::string_view text, auto&& how) {
    if (row >= rows) return;
    if (++done % kBetweenChecks == 0) R_CheckUserInterrupt();
    if (!how(row, text) && nul_row == 0) nul_row = row + 1;
  };
  const auto often = [&](R_xlen_t row, std::string_view text) {
    return maker.PutAgain(vector, row, text);
  };
  const auto once = [&](R_xlen_t row, std::string_view text) {
    return maker.Put(vector, row, text);
  };
  FloatText buffer;
  const auto front = static_cast<R_xlen_t>(front_.size());
  const auto put_cell = [&](R_xlen_t row, const Cell& cell) {
    if (cell.kind == Cell::kText) put(row, cell.text, once);
    if (cell.kind == Cell::kNumber) put(row, NumberShown(cell.number, cell.is_float, buffer), once);
  };
  cpp11::unwind_protect([&] {
    for (R_xlen_t row = 0; row < rows; ++row) SET_STRING_ELT(vector, row, NA_STRING);
    if (has_cells_)
      for (std::size_t i = 0; i < values_.size(); ++i)
        if (!R_IsNA(values_[i]))
          put(front + static_cast<R_xlen_t>(i), NumberShown(values_[i], !has_doubles_, buffer),
              once);
    ForTexts([&](R_xlen_t row, std::string_view text) { put(front + row, text, often); });
    for (const auto& [row, cell] : late_) put_cell(front + row, cell);
    for (R_xlen_t row = 0; row < front; ++row) put_cell(row, front_[static_cast<std::size_t>(row)]);
  });
  return nul_row;
}

SEXP Column::MakeVector(R_xlen_t rows) const {
  if (is_text()) return cpp11::safe[Rf_allocVector](STRSXP, rows);
  if (cells_ == 0) {
    const cpp11::sexp none = cpp11::safe[Rf_allocVector](LGLSXP, rows);
    std::fill_n(LOGICAL(none), rows, NA_LOGICAL);
    return none;
  }
  const cpp11::sexp made = cpp11::safe[Rf_allocVector](is_whole() ? INTSXP : REALSXP, rows);
  if (!has_times_) return made;
  const cpp11::sexp kind = cpp11::safe[Rf_allocVector](STRSXP, 2);
  cpp11::unwind_protect([&] {
    SET_STRING_ELT(kind, 0, Rf_mkChar("POSIXct"));
    SET_STRING_ELT(kind, 1, Rf_mkChar("POSIXt"));
    Rf_setAttrib(made, R_ClassSymbol, kind);
    Rf_setAttrib(made, Rf_install("tzone"), PROTECT(Rf_mkString("UTC")));
    UNPROTECT(1);
  });
  return made;
}

R_xlen_t Column::Fill(SEXP vector, const ColumnTyping& typing) const {
  const R_xlen_t rows = Rf_xlength(vector);
  switch (TYPEOF(vector)) {
    case STRSXP:
      return FillTexts(vector, typing);
    case INTSXP: {
      int* const to = INTEGER(vector);
      for (R_xlen_t row = 0; row < rows; ++row) {
        const double value = ValueAt(row);
        to[row] = std::isnan(value) ? NA_INTEGER : static_cast<int>(value);
      }
      return 0;
    }
    case REALSXP:
      FillNumbers(REAL(vector), rows);
      return 0;
    default:
      return 0;
  }
}

void Column::FillNumbers(double* to, R_xlen_t rows) const {
  const auto front = std::min(static_cast<R_xlen_t>(front_.size()), rows);
  for (R_xlen_t row = 0; row < front; ++row) to[row] = ValueAt(row);
  const auto held = std::min(static_cast<R_xlen_t>(values_.size()), rows - front);
  std::copy_n(values_.data(), held, to + front);
  std::fill(to + front + held, to + rows, NA_REAL);
}

}  // namespace nvimport
