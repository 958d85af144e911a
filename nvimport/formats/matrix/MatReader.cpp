#include "nvimport/formats/matrix/MatReader.h"

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/CodePages.h"
#include "nvimport/platform/Utf16.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

namespace {

constexpr std::size_t kBlock = 512;  // values that are converted together
constexpr char16_t kReplacement = u'\uFFFD';

template <typename Value, typename Stored>
Value As(Stored stored) {
  if constexpr (std::is_same_v<Value, char16_t> && std::is_floating_point_v<Stored>) {
    return stored >= 0 && stored <= 0xFFFF ? static_cast<char16_t>(stored) : kReplacement;
  } else if constexpr (std::is_same_v<Value, long long> && std::is_floating_point_v<Stored>) {
    constexpr auto kBeyond = static_cast<Stored>(9223372036854775808.0);
    if (!(stored > -kBeyond)) return std::isnan(stored) ? 0 : LLONG_MIN;
    return stored >= kBeyond ? LLONG_MAX : static_cast<long long>(stored);
  } else {
    return static_cast<Value>(stored);
  }
}

template <std::endian kOrder, typename Stored, typename Value>
void ConvertAs(const char* from, std::span<Value> values) {
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] = As<Value>(Load<Stored>(from + i * sizeof(Stored), kOrder));
}

template <std::endian kOrder, typename Value>
void Convert(MatType type, const char* from, std::span<Value> values) {
  switch (type) {
    case MatType::kI8:
      return ConvertAs<kOrder, signed char>(from, values);
    case MatType::kU8:
    case MatType::kUtf8:
      return ConvertAs<kOrder, unsigned char>(from, values);
    case MatType::kI16:
      return ConvertAs<kOrder, std::int16_t>(from, values);
    case MatType::kU16:
    case MatType::kUtf16:
      return ConvertAs<kOrder, std::uint16_t>(from, values);
    case MatType::kI32:
      return ConvertAs<kOrder, std::int32_t>(from, values);
    case MatType::kU32:
    case MatType::kUtf32:
      return ConvertAs<kOrder, std::uint32_t>(from, values);
    case MatType::kF32:
      return ConvertAs<kOrder, float>(from, values);
    case MatType::kF64:
      return ConvertAs<kOrder, double>(from, values);
    case MatType::kI64:
      return ConvertAs<kOrder, std::int64_t>(from, values);
    default:
      return ConvertAs<kOrder, std::uint64_t>(from, values);
  }
}

void AppendUnits(std::u16string& units, char32_t c) {
  if (c < 0x10000) {
    units += static_cast<char16_t>(c);
  } else if (c <= 0x10FFFF) {
    units += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
    units += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
  } else {
    units += kReplacement;
  }
}

void AppendUtf8Units(std::u16string& units, std::string_view bytes) {
  while (!bytes.empty()) {
    if (CharacterSize(bytes) > 0) {
      AppendUnits(units, TakeCharacter(bytes));
    } else {
      units += kReplacement;
      bytes.remove_prefix(1);
    }
  }
}

// The places of the values of a matrix, which come column by column.
struct Places {
  const MatPart& part;
  int rows;
  int last_row;
  int i = 0;  // row and column in the matrix
  int j = 0;

  // Has `set` called with the next `count` places and what `get` gives for each.
  template <typename Get, typename Set>
  void Put(std::size_t count, const Get& get, Set set) {
    for (std::size_t at = 0; at < count;) {
      const std::size_t run = std::min(count - at, static_cast<std::size_t>(rows - i));
      const int length = static_cast<int>(run);
      if (part.is_turned) {
        if (part.row + j <= last_row)
          for (int k = 0; k < length; ++k)
            set(part.column + (i + k) * part.step, part.row + j,
                get(at + static_cast<std::size_t>(k)));
      } else {
        const int column = part.column + j * part.step;
        const int row = part.row + i;
        const int wanted = std::min(length, last_row - row + 1);
        for (int k = 0; k < wanted; ++k)
          set(column, row + k, get(at + static_cast<std::size_t>(k)));
      }
      at += run;
      i += length;
      if (i == rows) {
        i = 0;
        ++j;
      }
    }
  }
};

// Each sets a value of a kind as the sink takes it.
template <bool kExact>
struct SetDouble {
  using Value = double;
  ReadSpreadSheetData& sink;
  void operator()(int column, int row, double value) const {
    if (std::isnan(value)) return;
    if constexpr (kExact)
      sink.SetExact(column, row, value);
    else
      sink.Set(column, row, value);
  }
};
struct SetSingle {
  using Value = double;
  ReadSpreadSheetData& sink;
  void operator()(int column, int row, double value) const {
    if (!std::isnan(value)) sink.Set(column, row, static_cast<float>(value));
  }
};
template <bool kExact>
struct SetWhole {
  using Value = long long;
  ReadSpreadSheetData& sink;
  void operator()(int column, int row, long long value) const {
    if constexpr (kExact)
      sink.SetExact(column, row, value);
    else
      sink.Set(column, row, value);
  }
};
template <bool kExact>
struct SetUnsigned {
  using Value = long long;  // with the bits of one without a sign
  ReadSpreadSheetData& sink;
  std::uint64_t& inexact;
  void operator()(int column, int row, long long value) const {
    if (value >= 0) return SetWhole<kExact>{sink}(column, row, value);
    ++inexact;
    SetDouble<kExact>{sink}(column, row, static_cast<double>(static_cast<std::uint64_t>(value)));
  }
};
struct SetTruth {
  using Value = long long;
  ReadSpreadSheetData& sink;
  void operator()(int column, int row, long long value) const {
    sink.Set(column, row, value != 0 ? 1 : 0);
  }
};

}  // namespace

MatReader::MatReader(MatBytes& bytes, const MatContents& contents, Budget& budget,
                     ReadSpreadSheetData& sink, int last_row)
    : bytes_(bytes),
      contents_(contents),
      budget_(budget),
      sink_(sink),
      last_row_(last_row),
      takes_exact_(sink.TakesExact()) {}

MatReader::Outcome MatReader::Read(const std::vector<MatPart>& parts) {
  using What = MatPart::What;
  bool is_good = true;
  for (const MatPart& part : parts) {
    is_good = Begin(part);
    if (!is_good) break;
    is_good = part.what == What::kNumbers  ? ReadNumbers(part)
              : part.what == What::kSparse ? ReadSparse(part)
              : part.what == What::kText   ? ReadText(part)
                                           : ReadCells(part);
    if (!is_good) break;
  }
  is_good = is_good && EndVariable();
  if (is_good) return Outcome::kGood;
  if (budget_.overdrawn()) return Outcome::kOverBudget;
  return bytes_.cannot_read() ? Outcome::kCannotRead : Outcome::kDamaged;
}

// What is packed is to be whole to its end, where its check sum stands.
bool MatReader::EndVariable() {
  if (variable_ == kNoArray || contents_.variables[variable_].packed == 0) return true;
  const std::uint64_t end = contents_.variables[variable_].end;
  if (bytes_.position() > end) return false;
  bytes_.Skip(end - bytes_.position());
  return bytes_.EndsHere();
}

bool MatReader::Begin(const MatPart& part) {
  const std::size_t number = contents_.arrays[part.array].variable;
  const MatVariable& variable = contents_.variables[number];
  if (number != variable_ || part.element.position < bytes_.position()) {
    if (!EndVariable()) return false;
    variable_ = number;
    if (variable.packed != 0)
      bytes_.BeginPacked(variable.position, variable.packed);
    else
      bytes_.Begin(part.element.position);
  }
  bytes_.Skip(part.element.position - bytes_.position());
  return !bytes_.failed();
}

template <typename Use>
bool MatReader::WithSetter(const MatHead& head, const Use& use) {
  if (head.is_logical) return use(SetTruth{sink_});
  switch (head.kind) {
    case MatClass::kDouble:
    case MatClass::kSparse:
      return takes_exact_ ? use(SetDouble<true>{sink_}) : use(SetDouble<false>{sink_});
    case MatClass::kSingle:
      return use(SetSingle{sink_});
    case MatClass::kUInt64:
      return takes_exact_ ? use(SetUnsigned<true>{sink_, inexact_})
                          : use(SetUnsigned<false>{sink_, inexact_});
    default:
      return takes_exact_ ? use(SetWhole<true>{sink_}) : use(SetWhole<false>{sink_});
  }
}

template <typename Value>
bool MatReader::ReadSome(MatType type, std::span<Value> values) {
  const std::size_t size = SizeOf(type);
  if (size == 0) return false;
  for (std::size_t done = 0; done < values.size();) {
    const auto bytes = bytes_.Ahead(size);
    const std::size_t ready = std::min(bytes.size() / size, values.size() - done);
    if (ready == 0) return false;
    const auto some = values.subspan(done, ready);
    if (contents_.order == std::endian::little)
      Convert<std::endian::little>(type, bytes.data(), some);
    else
      Convert<std::endian::big>(type, bytes.data(), some);
    bytes_.Skip(ready * size);
    done += ready;
  }
  return true;
}

template <typename Value>
bool MatReader::ReadAll(const MatElement& element, std::vector<Value>& values) {
  const unsigned size = SizeOf(element.type);
  if (size == 0) return false;
  const std::uint64_t count = element.bytes / size;
  if (!budget_.Take(count * sizeof(Value))) return false;
  if (element.position < bytes_.position()) return false;
  bytes_.Skip(element.position - bytes_.position());
  values.resize(static_cast<std::size_t>(count));
  return ReadSome<Value>(element.type, values);
}

template <typename Setter>
bool MatReader::ReadMatrix(const MatPart& part, Setter set) {
  using Value = typename Setter::Value;
  const unsigned size = SizeOf(part.element.type);
  if (size == 0) return false;
  const std::uint64_t count = part.element.bytes / size;
  Places places{part, static_cast<int>(contents_.arrays[part.array].head.rows()), last_row_};
  if constexpr (std::is_same_v<Value, double>) {
    // Mostly there is nothing to convert.
    if (part.element.type == MatType::kF64 && contents_.order == std::endian::native) {
      for (std::uint64_t done = 0; done < count;) {
        const auto bytes = bytes_.Ahead(sizeof(double));
        const auto ready = static_cast<std::size_t>(
            std::min<std::uint64_t>(bytes.size() / sizeof(double), count - done));
        if (ready == 0) return false;
        const auto get = [from = bytes.data()](std::size_t i) {
          return Load<double>(from + i * sizeof(double), std::endian::native);
        };
        places.Put(ready, get, set);
        bytes_.Skip(ready * sizeof(double));
        done += ready;
      }
      return true;
    }
  }
  std::array<Value, kBlock> values;
  for (std::uint64_t done = 0; done < count;) {
    const auto some = std::span(values).first(
        static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, count - done)));
    if (!ReadSome<Value>(part.element.type, some)) return false;
    places.Put(
        some.size(), [&](std::size_t i) { return values[i]; }, set);
    done += some.size();
  }
  return true;
}

bool MatReader::ReadNumbers(const MatPart& part) {
  return WithSetter(contents_.arrays[part.array].head,
                    [&](auto set) { return ReadMatrix(part, set); });
}

// Entries that stand in no order, or several times, count as in any sum.
bool MatReader::ReadSparse(const MatPart& part) {
  const MatArray& array = contents_.arrays[part.array];
  const std::size_t rows = array.head.rows();
  const std::size_t columns = array.head.columns();
  std::vector<long long> row_of;
  std::vector<long long> starts;
  std::vector<double> parts[2];  // real and imaginary
  if (array.is_triplets) {
    std::vector<double> table;
    if (!ReadAll(array.real, table)) return false;
    const std::size_t width = array.head.is_complex ? 4 : 3;
    const std::size_t height = table.size() / width;
    const std::size_t count = height - 1;
    std::vector<std::size_t> order(count);
    for (std::size_t i = 0; i < count; ++i) order[i] = i;
    std::ranges::stable_sort(order, {}, [&](std::size_t i) { return table[height + i]; });
    starts.assign(columns + 1, 0);
    for (const std::size_t i : order) {
      const double row = table[i];
      const double column = table[height + i];
      const bool is_within = row >= 1 && row <= static_cast<double>(rows) && column >= 1 &&
                             column <= static_cast<double>(columns);
      if (!is_within) return false;
      ++starts[static_cast<std::size_t>(column)];
      row_of.push_back(static_cast<long long>(row) - 1);
      for (std::size_t k = 0; k + 2 < width; ++k) parts[k].push_back(table[(k + 2) * height + i]);
    }
    for (std::size_t j = 0; j < columns; ++j) starts[j + 1] += starts[j];
  } else {
    if (!ReadAll(array.row_indices, row_of) || !ReadAll(array.column_starts, starts)) return false;
    MatElement real = array.real;
    // Some write truth values of one byte each under the type of doubles.
    if (real.type == MatType::kF64 && std::cmp_equal(real.bytes, starts[columns]))
      real.type = MatType::kU8;
    if (!ReadAll(real, parts[0])) return false;
    if (array.head.is_complex && !ReadAll(array.imaginary, parts[1])) return false;
    for (std::size_t j = 0; j < columns; ++j)
      if (starts[j] < 0 || starts[j] > starts[j + 1]) return false;
    const std::size_t count = std::min(
        {row_of.size(), parts[0].size(), array.head.is_complex ? parts[1].size() : SIZE_MAX});
    if (std::cmp_greater(starts[columns], count)) return false;
  }
  if (!budget_.Take(rows * sizeof(double))) return false;
  std::vector<double> values(rows);
  return WithSetter(array.head, [&](auto set) {
    for (std::size_t j = 0; j < columns; ++j) {
      for (std::size_t k = 0; k < (array.head.is_complex ? 2U : 1U); ++k) {
        std::ranges::fill(values, 0);
        for (auto i = static_cast<std::size_t>(starts[j]); std::cmp_less(i, starts[j + 1]); ++i) {
          if (row_of[i] < 0 || std::cmp_greater_equal(row_of[i], rows)) return false;
          values[static_cast<std::size_t>(row_of[i])] += parts[k][i];
        }
        const int along = static_cast<int>(j) * part.step + static_cast<int>(k);
        for (std::size_t i = 0; i < rows; ++i) {
          const int down = static_cast<int>(i);
          const int column = part.column + (part.is_turned ? down : along);
          const int row = part.row + (part.is_turned ? along : down);
          if (row <= last_row_) set(column, row, As<typename decltype(set)::Value>(values[i]));
        }
      }
    }
    budget_.Return(rows * sizeof(double));
    return true;
  });
}

// Programs write the bytes of a code page, or of UTF-8, as codes of one or two bytes.
bool MatReader::ReadUnits(const MatElement& element, std::u16string& units) {
  units.clear();
  const unsigned size = SizeOf(element.type);
  if (size == 0) return false;
  const std::uint64_t room = element.bytes / size * 2 * sizeof(char32_t);
  if (!budget_.Take(room)) return false;
  budget_.Return(room);
  bytes_.Skip(element.position - bytes_.position());
  const auto count = static_cast<std::size_t>(element.bytes / size);
  if (element.type == MatType::kUtf32) {
    std::u32string characters(count, U'\0');
    if (!ReadSome<char32_t>(element.type, characters)) return false;
    for (const char32_t c : characters) AppendUnits(units, c);
    return true;
  }
  units.resize(count);
  // Codes of one byte have no sign.
  const MatType type = element.type == MatType::kI8 ? MatType::kU8 : element.type;
  if (!ReadSome<char16_t>(type, units)) return false;
  if (type == MatType::kUtf16) return true;
  std::string bytes;
  if (std::ranges::all_of(units, [](char16_t unit) { return unit < 0x100; }))
    for (const char16_t unit : units) bytes += static_cast<char>(unit);
  if (type == MatType::kUtf8 || (type != MatType::kU16 && !IsAscii(bytes) && IsUtf8(bytes))) {
    units.clear();
    AppendUtf8Units(units, bytes);
    return true;
  }
  for (char16_t& unit : units)
    if (unit >= 0x80 && unit < 0xA0) unit = kWindows1252[unit - 0x80U];
  return true;
}

void MatReader::SetText(std::u16string_view units, std::size_t step, std::size_t count, int column,
                        int row) {
  text_.clear();
  Utf16Decoder decoder;
  const auto take = [this](char32_t c) { AppendUtf8(text_, c); };
  for (std::size_t i = 0; i < count && i * step < units.size(); ++i)
    decoder.Unit(units[i * step], take);
  decoder.End(take);
  if (step > 1) text_.erase(text_.find_last_not_of(' ') + 1);
  text_.erase(text_.find_last_not_of('\0') + 1);
  if (const std::size_t end = text_.find('\0'); end != std::string::npos) {
    ++cut_;
    text_.erase(end);
  }
  if (row <= last_row_) sink_.Set(column, row, text_.c_str(), text_.size());
}

bool MatReader::ReadText(const MatPart& part) {
  const MatHead& head = contents_.arrays[part.array].head;
  std::u16string units;
  if (!ReadUnits(part.element, units)) return false;
  const std::size_t rows = head.rows();
  if (rows == 1 && head.pages() == 1) {
    SetText(units, 1, units.size(), part.column, part.row);
    return true;
  }
  std::u16string_view rest = units;
  for (std::uint64_t page = 0; page < head.pages(); ++page) {
    for (std::size_t i = 0; i < rows; ++i) {
      const int along = static_cast<int>(page);
      const int down = static_cast<int>(i);
      // Texts that lie along the row are names of columns.
      const int column = part.column + (part.is_turned ? down * part.step : along);
      const int row = part.row + (part.is_turned ? along : down);
      SetText(rest.substr(std::min(i, rest.size())), rows, head.columns(), column, row);
    }
    rest.remove_prefix(std::min<std::size_t>(rest.size(), rows * head.columns()));
  }
  return true;
}

bool MatReader::ReadCells(const MatPart& part) {
  const MatHead& head = contents_.arrays[part.array].head;
  MatParser parser(bytes_, contents_.order);
  const std::uint64_t end = part.element.position + part.element.bytes;
  const std::uint64_t rows = head.rows();
  const std::uint64_t count = head.count();
  for (std::uint64_t i = 0; i < count; ++i) {
    MatParser::Tag tag;
    if (!parser.ReadTag(end, tag) || tag.data.type != MatType::kMatrix) return false;
    parser.GoTo(tag.data.position);
    const int down = static_cast<int>(i % rows);
    const int along = static_cast<int>(i / rows);
    const int column = part.column + (part.is_turned ? down : along) * part.step;
    const int row = part.row + (part.is_turned ? along : down);
    if (tag.data.bytes > 0 && !ReadCell(parser, tag.data.position + tag.data.bytes, column, row))
      return false;
    parser.GoTo(tag.next);
  }
  return !bytes_.failed();
}

bool MatReader::ReadCell(MatParser& parser, std::uint64_t end, int column, int row) {
  MatHead head;
  // What is damaged, or no cell, was told of when the file was opened.
  if (!parser.ReadHead(end, head)) return !bytes_.failed();
  if (!head.IsOneCell() || (head.kind != MatClass::kChar && head.count() == 0)) return true;
  MatParser::Tag tag;
  if (!parser.ReadTag(end, tag)) {
    // An empty text may do without its codes.
    if (head.kind == MatClass::kChar && head.count() == 0) SetText({}, 1, 0, column, row);
    return !bytes_.failed() && head.count() == 0;
  }
  if (SizeOf(tag.data.type) == 0) return false;
  if (head.kind == MatClass::kChar) {
    std::u16string units;
    if (!ReadUnits(tag.data, units)) return false;
    SetText(units, 1, units.size(), column, row);
    return true;
  }
  if (tag.data.bytes != SizeOf(tag.data.type)) return false;
  parser.GoTo(tag.data.position);
  return WithSetter(head, [&](auto set) {
    std::array<typename decltype(set)::Value, 1> value;
    using Value = typename decltype(value)::value_type;
    if (!ReadSome<Value>(tag.data.type, value)) return false;
    if (row <= last_row_) set(column, row, value[0]);
    return true;
  });
}

}  // namespace nvimport
