#include "python/DenseSheet.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string_view>
#include <utility>

#include "nvimport/platform/ByteReader.h"

namespace nvimport {

namespace {

// Cells are looked at in pieces of rows.
constexpr int kPiece = 256;

// Cells of a state: a kind and what there is of that. A run of missing ones has its length, a text
// its own in a byte, or in four behind kLongText.
enum StoredKind : char { kNoCells, kFloatCell, kDoubleCell, kWholeCell, kTextCell };
constexpr std::size_t kLongText = 255;

template <typename Value>
void Store(std::string& bytes, Value value) {
  const std::size_t size = bytes.size();
  bytes.resize(size + sizeof value);
  std::memcpy(&bytes[size], &value, sizeof value);
}

void StoreCell(std::string& bytes, const MemoryCell& cell) {
  if (cell.kind == CellKind::kText) {
    bytes.push_back(kTextCell);
    bytes.push_back(static_cast<char>(std::min(cell.text.size(), kLongText)));
    if (cell.text.size() >= kLongText) Store(bytes, static_cast<std::uint32_t>(cell.text.size()));
    bytes += cell.text;
    return;
  }
  switch (cell.number_kind) {
    case NumberKind::kFloat:
      bytes.push_back(kFloatCell);
      return Store(bytes, cell.number);
    case NumberKind::kDouble:
      bytes.push_back(kDoubleCell);
      return Store(bytes, cell.wide);
    case NumberKind::kWhole:
      bytes.push_back(kWholeCell);
      return Store(bytes, cell.whole);
  }
}

// Sets the cell that comes next of those stored; for missing ones `skipped` is how many.
void TakeStored(ByteReader& reader, MemorySheet& sheet, int column, int row,
                std::uint64_t& skipped) {
  skipped = 0;
  switch (reader.U8()) {
    case kNoCells:
      skipped = reader.U64();
      break;
    case kFloatCell:
      sheet.Set(column, row, reader.F32());
      break;
    case kDoubleCell:
      sheet.SetExact(column, row, reader.F64());
      break;
    case kWholeCell:
      sheet.SetExact(column, row, static_cast<long long>(reader.U64()));
      break;
    case kTextCell: {
      std::size_t size = reader.U8();
      if (size == kLongText) size = reader.U32();
      const auto text = reader.Bytes(size);
      const std::string ended(text.data(), text.size());
      sheet.Set(column, row, ended.c_str());
      break;
    }
    default:
      reader.Skip(reader.remaining() + 1);
  }
}

// Whether a float is written as a double of the same value is.
bool IsWhole(float value) {
  constexpr float kFirstInexact = 16'777'216;
  return !std::isfinite(value) || (std::fabs(value) < kFirstInexact && std::trunc(value) == value);
}

bool IsWord(std::string_view text, char decimal_mark) {
  return !ParseNumber(text, decimal_mark) && text.find_first_not_of(' ') != std::string_view::npos;
}

void SetNumber(MemorySheet& sheet, int column, int row, const MemoryCell& cell) {
  switch (cell.number_kind) {
    case NumberKind::kFloat:
      return sheet.Set(column, row, cell.number);
    case NumberKind::kDouble:
      return sheet.SetExact(column, row, cell.wide);
    case NumberKind::kWhole:
      return sheet.SetExact(column, row, cell.whole);
  }
}

}  // namespace

bool IsSame(const MemoryCell& a, const MemoryCell& b) {
  if (a.kind != b.kind || a.text != b.text) return false;
  if (a.kind != CellKind::kNumber) return true;
  const bool is_whole = a.number_kind == NumberKind::kWhole;
  if (is_whole != (b.number_kind == NumberKind::kWhole)) return false;
  return is_whole ? a.whole == b.whole
                  : a.exact() == b.exact() || (std::isnan(a.exact()) && std::isnan(b.exact()));
}

void DenseSheet::Set(int column, int row, const char* text) {
  if (text != nullptr) Set(column, row, text, std::strlen(text));
}

void DenseSheet::Set(int column, int row, const char* text, std::size_t length) {
  MarkElsewhere(column, row);
  if (row > 1) last_text_column_ = std::max(last_text_column_, column);
  aside_.SetText(column, row, {text, length});
}

void DenseSheet::MarkElsewhere(int column, int row) {
  if (!InMatrix(column, row)) return;
  if (!wide_.empty())
    wide_[Place(column, row)] = std::bit_cast<double>(kWideElsewhere);
  else
    matrix_[Place(column, row)] = std::bit_cast<float>(kElsewhere);
}

void DenseSheet::SetAnywhere(int column, int row, float value) {
  // Sheets of texts alone need no matrix.
  if (!has_tried_) MakeMatrix();
  if (Extend(column, row)) return Set(column, row, value);
  if (InMatrix(column, row) && wide_.empty()) return Set(column, row, value);
  if (InMatrix(column, row) && IsWhole(value)) {
    wide_[Place(column, row)] = static_cast<double>(value);
    return;
  }
  has_numbers_aside_ = has_numbers_aside_ || row > 1;
  MarkElsewhere(column, row);
  aside_.Set(column, row, value);
}

void DenseSheet::SetAnywhere(int column, int row, double value) {
  if (!has_tried_) MakeMatrix();
  Extend(column, row);
  const auto narrow = static_cast<float>(value);
  const bool is_same = static_cast<double>(narrow) == value && IsWhole(narrow);
  // The x values of spectra say nothing of these.
  const bool is_name = row == 1;
  (is_name ? has_wide_names_ : is_wide_) |= !is_same;
  if (InMatrix(column, row)) {
    if (is_same && wide_.empty()) {
      if (!is_name) {
        exact_columns_.resize(static_cast<std::size_t>(width_));
        exact_columns_[static_cast<std::size_t>(column - 1)] = true;
      }
      return Set(column, row, narrow);
    }
    if (!wide_.empty() || (!is_name && Widen())) return SetExact(column, row, value);
  }
  MarkElsewhere(column, row);
  aside_.SetExact(column, row, value);
}

void DenseSheet::SetExact(int column, int row, long long value) {
  if (IsExact(value)) return SetExact(column, row, static_cast<double>(value));
  (row == 1 ? has_wide_names_ : is_wide_) = true;
  has_large_ = true;
  has_numbers_aside_ = has_numbers_aside_ || row > 1;
  MarkElsewhere(column, row);
  aside_.SetExact(column, row, value);
}

bool DenseSheet::Widen() {
  const std::uint64_t cells = CellsOf(std::max(height_, Rows()));
  stays_narrow_ = stays_narrow_ || cells > most_bytes_ / sizeof(double) ||
                  !std::ranges::all_of(
                      matrix_, [](float value) { return IsElsewhere(value) || IsWhole(value); });
  if (stays_narrow_) return false;
  wide_.reserve(cells);
  wide_.resize(matrix_.size());
  std::ranges::transform(matrix_, wide_.begin(), [](float value) {
    return IsElsewhere(value) ? std::bit_cast<double>(kWideElsewhere) : static_cast<double>(value);
  });
  matrix_ = {};
  return true;
}

// Its rows come with their cells: memory that is not yet touched costs nothing to widen.
void DenseSheet::MakeMatrix() {
  has_tried_ = true;
  width_ = Columns();
  const std::uint64_t cells = CellsOf(Rows());
  if (cells <= most_bytes_ / sizeof(float))
    matrix_.reserve(cells);
  else
    width_ = 0;
}

bool DenseSheet::Extend(int column, int row) {
  if (row <= height_ || column < 1 || column > width_) return false;
  const std::uint64_t cells = CellsOf(row);
  if (cells > most_bytes_ / (wide_.empty() ? sizeof(float) : sizeof(double))) return false;
  if (wide_.empty())
    matrix_.resize(cells, std::bit_cast<float>(kElsewhere));
  else
    wide_.resize(cells, std::bit_cast<double>(kWideElsewhere));
  // Numbers from before that were set elsewhere stay there.
  height_ = row;
  aside_.SetDataSize(width_, std::max(Rows(), row));
  return true;
}

void DenseSheet::GetCells(int column, int row, std::span<MemoryCell> cells) const {
  aside_.GetCells(column, row, cells);
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const int c = column + static_cast<int>(i);
    if (!InMatrix(c, row)) break;
    if (!wide_.empty()) {
      const double value = wide_[Place(c, row)];
      if (!IsElsewhere(value))
        cells[i] = {CellKind::kNumber, static_cast<float>(value), {}, NumberKind::kDouble, value};
    } else if (const float value = matrix_[Place(c, row)]; !IsElsewhere(value)) {
      cells[i] = {CellKind::kNumber, value, {}};
    }
  }
}

template <typename Skip, typename Take>
void DenseSheet::ForPieces(int column, int row, int width, int last_row, Skip skip,
                           Take take) const {
  std::array<MemoryCell, kPiece> cells;
  for (; row <= last_row; ++row) {
    for (int at = 0; at < width; at += kPiece) {
      const int count = std::min(kPiece, width - at);
      if (skip(column + at, row, count)) continue;
      const auto piece = std::span(cells).first(static_cast<std::size_t>(count));
      GetCells(column + at, row, piece);
      take(column + at, row, piece);
    }
  }
}

bool DenseSheet::AllInMatrix(int column, int row, int count) const {
  if (!InMatrix(column, row) || !InMatrix(column + count - 1, row)) return false;
  const auto all = [&](const auto* from) {
    return std::none_of(from, from + count, [](auto value) { return IsElsewhere(value); });
  };
  const std::size_t place = Place(column, row);
  return !wide_.empty() ? all(&wide_[place]) : all(&matrix_[place]);
}

template <typename Number>
void DenseSheet::GetNumbers(int column, int row, int width, std::span<Number> numbers,
                            bool reads_texts, char decimal_mark) const {
  if (width == 0) return;
  Number* place = numbers.data();
  const int last_row = row + static_cast<int>(numbers.size()) / width - 1;
  const auto copies = [&](int first, int at_row, int count) {
    if (!AllInMatrix(first, at_row, count)) return false;
    const std::size_t from = Place(first, at_row);
    const auto narrow = [](auto value) { return static_cast<Number>(value); };
    place = !wide_.empty() ? std::transform(&wide_[from], &wide_[from] + count, place, narrow)
                           : std::transform(&matrix_[from], &matrix_[from] + count, place, narrow);
    return true;
  };
  ForPieces(column, row, width, last_row, copies, [&](int, int, std::span<const MemoryCell> cells) {
    for (const MemoryCell& cell : cells) {
      *place = cell.kind == CellKind::kNumber ? static_cast<Number>(cell.exact()) : kNan;
      if (cell.kind == CellKind::kText && reads_texts)
        if (const auto number = ParseNumber(cell.text, decimal_mark))
          *place = static_cast<Number>(*number);
      ++place;
    }
  });
}
template void DenseSheet::GetNumbers(int, int, int, std::span<float>, bool, char) const;
template void DenseSheet::GetNumbers(int, int, int, std::span<double>, bool, char) const;

void DenseSheet::GetDoubles(int column, int row, std::span<double> numbers, char decimal_mark,
                            std::span<bool> words) const {
  if (words.empty()) return;
  double* place = numbers.data();
  const int last_row = row + static_cast<int>(numbers.size() / words.size()) - 1;
  const auto never = [](int, int, int) { return false; };
  ForPieces(column, row, static_cast<int>(words.size()), last_row, never,
            [&](int first, int, std::span<const MemoryCell> cells) {
              bool* word = &words[static_cast<std::size_t>(first - column)];
              for (const MemoryCell& cell : cells) {
                *place = cell.kind == CellKind::kNumber ? cell.exact() : kWideNan;
                if (cell.kind == CellKind::kText && !*word) {
                  if (const auto number = ParseNumber(cell.text, decimal_mark))
                    *place = *number;
                  else
                    *word = cell.text.find_first_not_of(' ') != std::string_view::npos;
                }
                ++place;
                ++word;
              }
            });
}

void DenseSheet::FindTexts(int first_row, std::span<bool> columns) const {
  FindCells(first_row, columns, [](std::string_view) { return true; });
}

void DenseSheet::FindWords(int first_row, char decimal_mark, std::span<bool> columns) const {
  FindCells(first_row, columns, [&](std::string_view text) { return IsWord(text, decimal_mark); });
}

template <typename IsIt>
void DenseSheet::FindCells(int first_row, std::span<bool> columns, IsIt is_it) const {
  std::ranges::fill(columns, false);
  if (first_row > 1)
    columns = columns.first(std::min(columns.size(), static_cast<std::size_t>(last_text_column_)));
  auto missing = static_cast<std::ptrdiff_t>(columns.size());
  const auto passes = [&](int first, int row, int count) {
    return missing == 0 || AllInMatrix(first, row, count);
  };
  ForPieces(1, first_row, static_cast<int>(columns.size()), Rows(), passes,
            [&](int first, int, std::span<const MemoryCell> cells) {
              bool* column = &columns[static_cast<std::size_t>(first - 1)];
              for (const MemoryCell& cell : cells) {
                if (cell.kind == CellKind::kText && !*column && is_it(cell.text)) {
                  *column = true;
                  --missing;
                }
                ++column;
              }
            });
}

bool DenseSheet::IsWide(int first_column, int first_row, int last_column) const {
  if (is_wide_ || (first_row < 2 && has_wide_names_)) return true;
  const auto last =
      std::min(static_cast<std::size_t>(std::max(last_column, 0)), exact_columns_.size());
  for (auto i = static_cast<std::size_t>(first_column - 1); i < last; ++i)
    if (exact_columns_[i]) return true;
  return false;
}

bool DenseSheet::IsInThere(int first_column, int first_row, int last_column) const {
  const bool is_in_matrix = InMatrix(first_column, first_row) && last_column <= width_;
  if (!is_in_matrix || first_column <= last_text_column_ || Rows() > height_) return false;
  return first_row > 1 || !IsAnyAside(first_column, first_row, last_column);
}

bool DenseSheet::IsAnyAside(int first_column, int row, int last_column) const {
  std::vector<MemoryCell> cells(static_cast<std::size_t>(last_column - first_column + 1));
  aside_.GetCells(first_column, row, cells);
  return std::ranges::any_of(
      cells, [](const MemoryCell& cell) { return cell.kind != CellKind::kMissing; });
}

const float* DenseSheet::FindMatrix(int first_column, int first_row, int last_column) const {
  const bool is_there = !IsWide(first_column, first_row, last_column) &&
                        IsInThere(first_column, first_row, last_column);
  return is_there ? &matrix_[Place(first_column, first_row)] : nullptr;
}

const double* DenseSheet::FindWideMatrix(int first_column, int first_row, int last_column) const {
  const bool is_there = !wide_.empty() && IsInThere(first_column, first_row, last_column);
  return is_there && !has_numbers_aside_ ? &wide_[Place(first_column, first_row)] : nullptr;
}

std::optional<SpectraAxis> DenseSheet::FindAxis(char decimal_mark) const {
  if (Rows() < 1) return std::nullopt;
  std::vector<MemoryCell> cells(static_cast<std::size_t>(Columns()));
  GetCells(1, 1, cells);
  return FindSpectraAxis(cells, decimal_mark);
}

void DenseSheet::CopyTo(MemorySheet& sheet) const {
  sheet.SetDataSize(Columns(), Rows());
  const auto never = [](int, int, int) { return false; };
  ForPieces(1, 1, Columns(), Rows(), never,
            [&](int column, int row, std::span<const MemoryCell> cells) {
              for (const MemoryCell& cell : cells) {
                if (cell.kind == CellKind::kNumber) SetNumber(sheet, column, row, cell);
                if (cell.kind == CellKind::kText) sheet.Set(column, row, cell.text.data());
                ++column;
              }
            });
}

bool DenseSheet::Equals(const DenseSheet& other) const {
  if (Columns() != other.Columns() || Rows() != other.Rows()) return false;
  bool is_equal = true;
  std::array<MemoryCell, kPiece> others;
  const auto skip = [&](int, int, int) { return !is_equal; };
  ForPieces(1, 1, Columns(), Rows(), skip,
            [&](int column, int row, std::span<const MemoryCell> cells) {
              const auto piece = std::span(others).first(cells.size());
              other.GetCells(column, row, piece);
              is_equal = std::ranges::equal(cells, piece, IsSame);
            });
  return is_equal;
}

// The rest are the sizes, flags, and in their order the cells that are not in the matrix.
DenseSheet::State DenseSheet::GetState() const {
  State state{matrix_, wide_, {}};
  for (const int value : {Columns(), Rows(), width_, height_, last_text_column_})
    Store(state.rest, value);
  for (const bool flag : {stays_narrow_, has_numbers_aside_, is_wide_, has_wide_names_, has_large_})
    state.rest.push_back(flag ? '\1' : '\0');
  Store(state.rest, static_cast<std::uint32_t>(exact_columns_.size()));
  for (const bool is_exact : exact_columns_) state.rest.push_back(is_exact ? '\1' : '\0');
  std::uint64_t missing = 0;
  std::array<MemoryCell, kPiece> cells;
  for (int row = 1; row <= Rows(); ++row) {
    for (int column = 1; column <= Columns(); column += kPiece) {
      const int count = std::min(kPiece, Columns() - column + 1);
      const auto piece = std::span(cells).first(static_cast<std::size_t>(count));
      aside_.GetCells(column, row, piece);
      for (int i = 0; i < count; ++i) {
        const MemoryCell& cell = cells[static_cast<std::size_t>(i)];
        const bool is_aside = !InMatrix(column + i, row) || IsElsewhereAt(column + i, row);
        if (cell.kind == CellKind::kMissing || !is_aside) {
          ++missing;
          continue;
        }
        if (missing > 0) {
          state.rest.push_back(kNoCells);
          Store(state.rest, std::exchange(missing, 0));
        }
        StoreCell(state.rest, cell);
      }
    }
  }
  return state;
}

bool DenseSheet::SetState(const State& state) {
  ByteReader reader(std::span<const char>(state.rest));
  int columns = 0;
  int rows = 0;
  for (int* value : {&columns, &rows, &width_, &height_, &last_text_column_}) *value = reader.I32();
  for (bool* flag : {&stays_narrow_, &has_numbers_aside_, &is_wide_, &has_wide_names_, &has_large_})
    *flag = reader.U8() != 0;
  const std::uint32_t exact = reader.U32();
  for (const char is_exact : reader.Bytes(exact)) exact_columns_.push_back(is_exact != 0);
  matrix_.assign(state.floats.begin(), state.floats.end());
  wide_.assign(state.doubles.begin(), state.doubles.end());
  const bool has_sizes = reader.ok() && columns >= 0 && rows >= 0 && width_ >= 0 && height_ >= 0;
  const std::uint64_t cells = static_cast<std::uint64_t>(std::max(width_, 0)) *
                              static_cast<std::uint64_t>(std::max(height_, 0));
  if (!has_sizes || cells != matrix_.size() + wide_.size() ||
      (!matrix_.empty() && !wide_.empty()) || width_ > columns || height_ > rows ||
      last_text_column_ > columns)
    return false;
  has_tried_ = true;
  aside_.SetDataSize(columns, rows);
  std::uint64_t at = 0;
  const std::uint64_t end = static_cast<std::uint64_t>(columns) * static_cast<std::uint64_t>(rows);
  while (reader.ok() && reader.remaining() > 0) {
    if (at >= end) return false;
    std::uint64_t skipped = 0;
    const auto width = static_cast<std::uint64_t>(columns);
    TakeStored(reader, aside_, static_cast<int>(at % width) + 1, static_cast<int>(at / width) + 1,
               skipped);
    at += skipped > 0 ? std::min(skipped, end) : 1;
  }
  return reader.ok();
}

}  // namespace nvimport
