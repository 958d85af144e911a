#include "nvimport/hosting/export/CombinedColumns.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cmath>
#include <functional>
#include <iterator>
#include <unordered_set>

#include "nvimport/framework/SpectraAxis.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

// Tells the columns of one sheet apart that have one name, and those that have none.
class NameCounts {
 public:
  int WhichIs(const SheetColumns::Named& one) {
    return one.name.empty() ? one.column : counts_[one.name]++;
  }

 private:
  std::unordered_map<std::string, int> counts_;
};

bool ReadsAsNumber(const MemoryCell& cell) {
  return cell.kind == CellKind::kNumber || ParseNumber(cell.text) || ParseNumber(cell.text, ',');
}

ColumnKind KindOf(const MemoryCell& cell, char decimal_mark) {
  if (cell.kind == CellKind::kNumber) return ColumnKind::kNumbers;
  if (cell.kind == CellKind::kMissing || cell.text.empty()) return ColumnKind::kEmpty;
  return ParseNumber(cell.text, decimal_mark) ? ColumnKind::kNumberTexts : ColumnKind::kTexts;
}

std::string NameIn(const MemoryCell& cell, const TextDecoder& decoder) {
  FloatText number;
  std::string decoded;
  if (cell.kind == CellKind::kNumber) return std::string(FormatNumber(cell, number));
  return std::string(decoder.Decode(cell.text, decoded));
}

bool EndsInName(std::string name) {
  std::ranges::transform(name, name.begin(), [](unsigned char c) { return std::tolower(c); });
  return name.ends_with("name");
}

// Numbers that a row of names may have are those of an axis, whose other columns have words.
bool NamesColumns(const std::vector<MemoryCell>& row, const std::optional<SpectraAxis>& axis) {
  const auto numbers = std::ranges::count_if(row, ReadsAsNumber);
  const auto words = std::ranges::count_if(row, [](const MemoryCell& cell) {
    return cell.kind == CellKind::kText && !cell.text.empty() && !ReadsAsNumber(cell);
  });
  return words > 0 && numbers == (axis ? std::ssize(axis->x) : 0);
}

// What x values are in the names themselves is the same whatever letter is before them, so only
// those without one count.
std::optional<SpectraAxis> AxisIn(const std::vector<MemoryCell>& row) {
  auto axis = FindSpectraAxis(row);
  if (axis && !ReadsAsNumber(row[static_cast<std::size_t>(axis->first_column - 1)])) axis.reset();
  return axis;
}

// All x values serve or none.
void TakeX(int first_column, std::vector<double> x, SheetColumns& sheet) {
  if (!std::ranges::all_of(x, [](double value) { return std::isfinite(value); })) return;
  for (double& value : x) value += 0.0;  // the two zeros are one
  sheet.first_x_column = first_column;
  sheet.x = std::move(x);
}

// Spectra have their numbers and names in front, whatever their format calls them.
void NameSpectra(SheetColumns& sheet) {
  const int before = sheet.first_x_column - 1;
  const auto at = [&](int column) {
    return std::ranges::find(sheet.named, column, &SheetColumns::Named::column);
  };
  const auto last = std::ranges::find_if(
      sheet.named, [&](const SheetColumns::Named& named) { return named.column > before; });
  auto name = std::find_if(sheet.named.begin(), last,
                           [](const SheetColumns::Named& named) { return EndsInName(named.name); });
  if (name == last) name = at(before);
  if (const auto number = at(1); number != name && number < last) number->name = "number";
  if (name < last) name->name = "name";
}

void Put(std::string& bytes, std::uint64_t value) {
  for (unsigned shift = 0; shift < 64; shift += 8) bytes += static_cast<char>(value >> shift);
}

void Put(std::string& bytes, const std::string& text) {
  Put(bytes, text.size());
  bytes += text;
}

class SheetReader {
 public:
  explicit SheetReader(std::string_view bytes) : bytes_(std::span(bytes.data(), bytes.size())) {}

  bool is_whole() const { return bytes_.ok() && bytes_.remaining() == 0; }
  std::uint64_t Number() { return std::bit_cast<std::uint64_t>(bytes_.F64()); }
  int Small() { return static_cast<int>(Number()); }
  ColumnKind Kind() { return static_cast<ColumnKind>(std::min(Number(), kMostKind)); }
  std::string Text() { return std::string(bytes_.Text(Number())); }
  // How many there are, at `size` bytes at least each.
  std::size_t Count(std::size_t size) {
    const std::uint64_t count = Number();
    if (count <= bytes_.remaining() / size) return count;
    bytes_.Skip(SIZE_MAX);
    return 0;
  }

 private:
  static constexpr auto kMostKind = static_cast<std::uint64_t>(ColumnKind::kTexts);

  ByteReader bytes_;
};

}  // namespace

std::string SheetColumns::Bytes() const {
  std::string bytes;
  for (const int number :
       {first_x_column, name_row, int{has_spectra}, int{is_told_by_row}, static_cast<int>(x_kind)})
    Put(bytes, static_cast<std::uint64_t>(number));
  for (const AxisName* name : {&x_name, &y_name}) {
    Put(bytes, name->label);
    Put(bytes, name->unit);
  }
  Put(bytes, x.size());
  for (const double value : x) Put(bytes, std::bit_cast<std::uint64_t>(value));
  Put(bytes, named.size());
  for (const Named& one : named) {
    Put(bytes, static_cast<std::uint64_t>(one.column));
    Put(bytes, static_cast<std::uint64_t>(one.kind));
    Put(bytes, one.name);
  }
  return bytes;
}

std::optional<SheetColumns> SheetColumns::Parse(std::string_view bytes) {
  SheetReader reader(bytes);
  SheetColumns sheet;
  sheet.first_x_column = reader.Small();
  sheet.name_row = reader.Small();
  sheet.has_spectra = reader.Small() != 0;
  sheet.is_told_by_row = reader.Small() != 0;
  sheet.x_kind = reader.Kind();
  for (AxisName* name : {&sheet.x_name, &sheet.y_name}) {
    name->label = reader.Text();
    name->unit = reader.Text();
  }
  sheet.x.resize(reader.Count(sizeof(double)));
  for (double& value : sheet.x) value = std::bit_cast<double>(reader.Number());
  sheet.named.resize(reader.Count(3 * sizeof(std::uint64_t)));
  for (Named& one : sheet.named) {
    one.column = reader.Small();
    one.kind = reader.Kind();
    one.name = reader.Text();
  }
  if (!reader.is_whole()) return std::nullopt;
  return sheet;
}

SheetColumns FindColumns(const MemorySheet& head, int row, int columns,
                         const std::vector<ColumnKind>& below, const Description& description,
                         const ColumnRules& rules) {
  SheetColumns sheet;
  std::vector<MemoryCell> cells(static_cast<std::size_t>(columns));
  head.GetCells(1, row, cells);
  sheet.has_spectra = !description.x().empty();
  sheet.x_name = description.name(Axis::kX);
  sheet.y_name = description.name(Axis::kY);
  bool has_names = true;
  if (sheet.has_spectra) {
    TakeX(description.first_x_column(), description.x(), sheet);
  } else {
    const auto axis = AxisIn(cells);
    has_names = rules.has_names.value_or(NamesColumns(cells, axis));
    sheet.is_told_by_row = !rules.has_names && !has_names;
    if (has_names && axis) TakeX(axis->first_column, axis->x, sheet);
  }
  sheet.name_row = has_names ? row : 0;
  const int last_x_column = sheet.first_x_column + static_cast<int>(sheet.x.size()) - 1;
  for (int column = 1; column <= columns; ++column) {
    const auto at = static_cast<std::size_t>(column - 1);
    ColumnKind kind = at < below.size() ? below[at] : ColumnKind::kEmpty;
    if (!has_names) kind = std::max(kind, KindOf(cells[at], rules.decimal_mark));
    if (column >= sheet.first_x_column && column <= last_x_column) {
      sheet.x_kind = std::max(sheet.x_kind, kind);
      continue;
    }
    std::string name = has_names ? NameIn(cells[at], rules.decoder) : std::string();
    const bool may_be_unused = !sheet.has_spectra || column > last_x_column;
    if (name.empty() && may_be_unused && kind == ColumnKind::kEmpty) continue;
    sheet.named.push_back({column, std::move(name), kind});
  }
  if (sheet.has_spectra) NameSpectra(sheet);
  return sheet;
}

std::string CombinedColumns::KeyOf(const std::string& name, int which) {
  return std::to_string(which) + " " + name;
}

bool CombinedColumns::IsBefore(const Point& a, const Point& b) const {
  if (a.first == b.first) return a.second < b.second;
  return falls_ ? a.first > b.first : a.first < b.first;
}

void CombinedColumns::Sort(std::vector<Point>& points) const {
  std::ranges::sort(points, [this](const Point& a, const Point& b) { return IsBefore(a, b); });
}

std::vector<CombinedColumns::Point> CombinedColumns::PointsOf(const std::vector<double>& x) {
  std::vector<Point> points;
  points.reserve(x.size());
  for (const double value : x) points.emplace_back(value, 0);
  const bool are_apart = std::ranges::adjacent_find(x, std::ranges::greater_equal()) == x.end() ||
                         std::ranges::adjacent_find(x, std::ranges::less_equal()) == x.end();
  if (are_apart) return points;
  std::unordered_map<double, int> occurrences;
  for (Point& point : points) point.second = occurrences[point.first]++;
  return points;
}

void CombinedColumns::Add(const SheetColumns& sheet) {
  NameCounts counts;
  for (const SheetColumns::Named& one : sheet.named)
    AddName(one.name, counts.WhichIs(one), one.kind);
  if (sheet.x.empty()) return;
  x_kind_ = std::max(x_kind_, sheet.x_kind);
  AddAxes(sheet.x_name, sheet.y_name);
  const bool is_first = sheets_with_x_++ == 0;
  if (is_first) falls_ = sheet.x.back() < sheet.x.front();
  ++axes_[sheet.x.size()];
  if (sheet.x == last_x_) {
    off_grid_ += last_is_off_grid_ ? 1 : 0;
    return;
  }
  last_x_ = sheet.x;
  auto points = PointsOf(sheet.x);
  if (grid_ == Grid::kUnion || is_first) return AddPoints(std::move(points));
  MergePending();
  Sort(points);
  last_is_off_grid_ = points != x_;
  off_grid_ += last_is_off_grid_ ? 1 : 0;
}

void CombinedColumns::Add(const CombinedColumns& others) {
  for (std::size_t i = 0; i < others.names_.size(); ++i)
    AddName(others.names_[i].first, others.names_[i].second, others.kinds_[i]);
  x_kind_ = std::max(x_kind_, others.x_kind_);
  if (others.sheets_with_x_ == 0) return;
  AddAxes(others.x_name_, others.y_name_);
  for (const std::string& unit : others.x_units_) AddUnit(unit);
  for (const auto& [count, sheets] : others.axes_) axes_[count] += sheets;
  const bool is_first = sheets_with_x_ == 0;
  sheets_with_x_ += others.sheets_with_x_;
  if (is_first) falls_ = others.falls_;
  std::vector<Point> points = others.x_;
  points.insert(points.end(), others.pending_.begin(), others.pending_.end());
  Sort(points);
  MergePending();
  const bool is_on_grid = is_first || points == x_;
  off_grid_ += is_on_grid ? others.off_grid_ : others.sheets_with_x_;
  if (grid_ == Grid::kUnion || is_first) AddPoints(std::move(points));
  last_x_.clear();
}

void CombinedColumns::Settle() { MergePending(); }

std::string CombinedColumns::Bytes() const {
  std::string bytes;
  for (const std::size_t number :
       {static_cast<std::size_t>(grid_), static_cast<std::size_t>(falls_), sheets_with_x_,
        off_grid_, static_cast<std::size_t>(x_kind_), names_.size()})
    Put(bytes, number);
  for (std::size_t i = 0; i < names_.size(); ++i) {
    Put(bytes, static_cast<std::uint64_t>(names_[i].second));
    Put(bytes, static_cast<std::uint64_t>(kinds_[i]));
    Put(bytes, names_[i].first);
  }
  Put(bytes, x_.size());
  for (const auto& [x, which] : x_) {
    Put(bytes, std::bit_cast<std::uint64_t>(x));
    Put(bytes, static_cast<std::uint64_t>(which));
  }
  Put(bytes, axes_.size());
  for (const auto& [count, sheets] : axes_) {
    Put(bytes, count);
    Put(bytes, sheets);
  }
  for (const std::string* text : {&x_name_.label, &x_name_.unit, &y_name_.label, &y_name_.unit})
    Put(bytes, *text);
  Put(bytes, x_units_.size());
  for (const std::string& unit : x_units_) Put(bytes, unit);
  return bytes;
}

std::optional<CombinedColumns> CombinedColumns::Parse(std::string_view bytes) {
  constexpr std::size_t kNumber = sizeof(std::uint64_t);
  SheetReader reader(bytes);
  CombinedColumns columns(reader.Number() == 0 ? Grid::kUnion : Grid::kFirst);
  columns.falls_ = reader.Number() != 0;
  columns.sheets_with_x_ = reader.Number();
  columns.off_grid_ = reader.Number();
  columns.x_kind_ = reader.Kind();
  for (std::size_t left = reader.Count(3 * kNumber); left > 0; --left) {
    const int which = reader.Small();
    const ColumnKind kind = reader.Kind();
    columns.AddName(reader.Text(), which, kind);
  }
  columns.x_.resize(reader.Count(2 * kNumber));
  for (auto& [x, which] : columns.x_) {
    x = std::bit_cast<double>(reader.Number());
    which = reader.Small();
  }
  for (std::size_t left = reader.Count(2 * kNumber); left > 0; --left) {
    const std::size_t count = reader.Number();
    columns.axes_[count] = reader.Number();
  }
  for (std::string* text : {&columns.x_name_.label, &columns.x_name_.unit, &columns.y_name_.label,
                            &columns.y_name_.unit})
    *text = reader.Text();
  columns.x_units_.resize(reader.Count(kNumber));
  for (std::string& unit : columns.x_units_) unit = reader.Text();
  if (!reader.is_whole() ||
      !std::ranges::is_sorted(
          columns.x_, [&](const Point& a, const Point& b) { return columns.IsBefore(a, b); }))
    return std::nullopt;
  return columns;
}

void CombinedColumns::AddName(const std::string& name, int which, ColumnKind kind) {
  const auto [place, is_new] = positions_.try_emplace(KeyOf(name, which), names_.size());
  if (is_new) {
    names_.emplace_back(name, which);
    kinds_.push_back(kind);
  } else {
    kinds_[place->second] = std::max(kinds_[place->second], kind);
  }
}

// They are gathered first, since each merge goes through all that are there.
void CombinedColumns::AddPoints(std::vector<Point> points) {
  constexpr std::size_t kFewest = 65536;
  pending_.insert(pending_.end(), points.begin(), points.end());
  if (pending_.size() > std::max(kFewest, x_.size())) MergePending();
}

void CombinedColumns::MergePending() {
  if (pending_.empty()) return;
  Sort(pending_);
  std::vector<Point> all;
  std::ranges::set_union(x_, pending_, std::back_inserter(all),
                         [this](const Point& a, const Point& b) { return IsBefore(a, b); });
  all.erase(std::unique(all.begin(), all.end()), all.end());
  x_ = std::move(all);
  pending_ = {};
}

void CombinedColumns::AddAxes(const AxisName& x, const AxisName& y) {
  AddUnit(x.unit);
  const auto keep_common = [this](AxisName& common, const AxisName& other) {
    if (sheets_with_x_ == 0) common = other;
    if (common.label != other.label) common.label.clear();
    if (common.unit != other.unit) common.unit.clear();
  };
  keep_common(x_name_, x);
  keep_common(y_name_, y);
}

void CombinedColumns::AddUnit(const std::string& unit) {
  constexpr std::size_t kMostUnits = 8;
  if (!unit.empty() && x_units_.size() < kMostUnits &&
      std::ranges::find(x_units_, unit) == x_units_.end())
    x_units_.push_back(unit);
}

std::size_t CombinedColumns::PositionOf(const std::string& name, int which) const {
  const auto found = positions_.find(KeyOf(name, which));
  return found == positions_.end() ? kNone : found->second;
}

std::size_t CombinedColumns::PositionOf(const Point& point) const {
  const auto found = std::ranges::lower_bound(
      x_, point, [this](const Point& a, const Point& b) { return IsBefore(a, b); });
  if (found == x_.end() || *found != point) return kNone;
  return names_.size() + static_cast<std::size_t>(found - x_.begin());
}

std::size_t CombinedColumns::PositionOfUnnamed(int column) const { return PositionOf("", column); }

std::vector<std::size_t> CombinedColumns::PositionsOf(const SheetColumns& sheet) const {
  const std::size_t x_end = static_cast<std::size_t>(sheet.first_x_column) + sheet.x.size();
  const int last = sheet.named.empty() ? 0 : sheet.named.back().column;
  std::vector<std::size_t> positions(std::max(static_cast<std::size_t>(last) + 1, x_end), kNone);
  NameCounts counts;
  for (const SheetColumns::Named& one : sheet.named)
    positions[static_cast<std::size_t>(one.column)] = PositionOf(one.name, counts.WhichIs(one));
  auto next = positions.begin() + sheet.first_x_column;
  for (const Point& point : PointsOf(sheet.x)) *next++ = PositionOf(point);
  return positions;
}

std::optional<double> CombinedColumns::XAt(std::size_t position) const {
  if (position < names_.size() || position >= size()) return std::nullopt;
  return x_[position - names_.size()].first;
}

std::size_t CombinedColumns::CountOtherAxes() const {
  if (grid_ == Grid::kFirst) return off_grid_;
  std::size_t others = 0;
  for (const auto& [count, sheets] : axes_) others += count < x_.size() ? sheets : 0;
  return others;
}

std::vector<std::string> CombinedColumns::Names(const std::vector<std::string>& before) const {
  std::vector<std::string> names = before;
  names.reserve(before.size() + size());
  std::unordered_set<std::string> taken(before.begin(), before.end());
  const auto add = [&](const std::string& name, int occurrence) {
    std::string own = name;
    if (occurrence > 0) own += "_" + std::to_string(occurrence + 1);
    for (int i = 2; !taken.insert(own).second; ++i) own = name + "_" + std::to_string(i);
    names.push_back(std::move(own));
  };
  for (const auto& [name, which] : names_)
    name.empty() ? add("column " + std::to_string(which), 0) : add(name, which);
  const int digits = DigitsOfX();
  FloatText text;
  for (const auto& [x, occurrence] : x_) {
    FormatGeneral(x, text, 0, digits);
    add(text.data(), occurrence);
  }
  return names;
}

int CombinedColumns::DigitsOfX() const {
  constexpr int kMostDigits = 17;
  FloatText text;
  FloatText next;
  const auto are_told_apart = [&](int digits) {
    for (std::size_t i = 1; i < x_.size(); ++i) {
      if (x_[i].first == x_[i - 1].first) continue;
      FormatGeneral(x_[i - 1].first, text, 0, digits);
      FormatGeneral(x_[i].first, next, 0, digits);
      if (std::string_view(text.data()) == next.data()) return false;
    }
    return true;
  };
  int digits = kGeneralDigits;
  while (digits < kMostDigits && !are_told_apart(digits)) ++digits;
  return digits;
}

}  // namespace nvimport
