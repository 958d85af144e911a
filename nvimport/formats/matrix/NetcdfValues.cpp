#include "nvimport/formats/matrix/NetcdfValues.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>
#include <string>
#include <tuple>
#include <type_traits>

#include "nvimport/formats/spectra/ValueSink.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/ByteReader.h"

namespace nvimport {

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

// What stands where nothing was written. Of bytes every value may be meant.
template <typename Stored>
constexpr Stored kUnwritten = {};
template <>
constexpr std::int16_t kUnwritten<std::int16_t> = -32767;
template <>
constexpr std::int32_t kUnwritten<std::int32_t> = -2147483647;
template <>
constexpr std::int64_t kUnwritten<std::int64_t> = -9223372036854775806;
template <>
constexpr std::uint16_t kUnwritten<std::uint16_t> = 65535;
template <>
constexpr std::uint32_t kUnwritten<std::uint32_t> = 4294967295;
template <>
constexpr std::uint64_t kUnwritten<std::uint64_t> = 18446744073709551614U;
template <>
constexpr float kUnwritten<float> = 9.9692099683868690e+36F;
template <>
constexpr double kUnwritten<double> = 9.9692099683868690e+36;

// By which rules stored values are meant.
struct Meaning {
  explicit Meaning(const NetcdfVariable& variable);

  NetcdfType type;
  double scale = 1;
  double offset = 0;
  bool is_packed = false;
  bool is_single = true;  // what is packed are floats
  double least = -std::numeric_limits<double>::infinity();
  double most = std::numeric_limits<double>::infinity();
  bool has_range = false;
  bool is_range_unpacked = false;
};

Meaning::Meaning(const NetcdfVariable& variable) : type(variable.type) {
  const NetcdfAttributes& attributes = variable.attributes;
  if (const std::string text = TextOf(attributes, "_Unsigned"); text == "true" || text == "True") {
    if (type == NetcdfType::kI8) type = NetcdfType::kU8;
    if (type == NetcdfType::kI16) type = NetcdfType::kU16;
    if (type == NetcdfType::kI32) type = NetcdfType::kU32;
    if (type == NetcdfType::kI64) type = NetcdfType::kU64;
  }
  const auto take = [&](std::string_view name, double& value) {
    const NetcdfAttribute* attribute = Find(attributes, name);
    const auto number = attribute != nullptr ? attribute->Number() : std::nullopt;
    if (!number || !std::isfinite(*number)) return;
    value = *number;
    is_single = is_single && attribute->type == NetcdfType::kF32;
  };
  take("scale_factor", scale);
  take("add_offset", offset);
  is_packed = scale != 1 || offset != 0;
  is_single = is_single && type != NetcdfType::kF64;
  const bool has_fractions = type == NetcdfType::kF32 || type == NetcdfType::kF64;
  const auto bound = [&](std::string_view name, std::size_t at, double& value) {
    const NetcdfAttribute* attribute = Find(attributes, name);
    auto number = attribute != nullptr ? attribute->Number(at) : std::nullopt;
    if (!number || std::isnan(*number)) return;
    // A bound has the type of what is stored, else of what that is unpacked to.
    is_range_unpacked =
        is_packed && !has_fractions &&
        (attribute->type == NetcdfType::kF32 || attribute->type == NetcdfType::kF64);
    if (attribute->type != type && attribute->type == variable.type && *number < 0)
      *number += std::ldexp(1.0, static_cast<int>(8 * SizeOf(type)));
    value = *number;
    has_range = true;
  };
  bound("valid_min", 0, least);
  bound("valid_max", 0, most);
  bound("valid_range", 0, least);
  bound("valid_range", 1, most);
}

template <typename Stored>
class Numbers final : public NetcdfCells {
 public:
  Numbers(const NetcdfVariable& variable, const Meaning& meaning,
          std::initializer_list<double> missing)
      : meaning_(meaning) {
    const NetcdfAttribute* fill = Find(variable.attributes, "_FillValue");
    if (fill != nullptr) AddMissing(*fill, variable.type);
    if (missing_.empty() && sizeof(Stored) > 1) missing_.push_back(kUnwritten<Stored>);
    if (const NetcdfAttribute* other = Find(variable.attributes, "missing_value"))
      AddMissing(*other, variable.type);
    for (const double value : missing) AddMissing(value);
    if (missing_.size() == 1) fill_ = missing_.front();
    // Nothing is less or more than what is no number.
    const bool is_number = !std::isnan(static_cast<double>(fill_));
    is_simple_ = missing_.size() == 1 && !meaning_.has_range && is_number;
  }

  void Set(const char* first, std::size_t stride, int count, ReadSpreadSheetData& sink, int column,
           int row) const override {
    const ValueSink values(sink);
    if (meaning_.is_packed) {
      if (meaning_.is_single)
        return Each(first, stride, count, [&](int i, Stored value) {
          sink.Set(column + i, row, static_cast<float>(Unpacked(value)));
        });
      return Each(first, stride, count,
                  [&](int i, Stored value) { values.Set(column + i, row, Unpacked(value)); });
    }
    if constexpr (std::is_same_v<Stored, float>) {
      Each(first, stride, count, [&](int i, float value) { sink.Set(column + i, row, value); });
    } else if constexpr (std::is_same_v<Stored, double>) {
      values.InRow(row, [&](auto set) {
        Each(first, stride, count, [&](int i, double value) { set(column + i, value); });
      });
    } else {
      const bool takes_exact = sink.TakesExact();
      Each(first, stride, count, [&](int i, Stored value) {
        if constexpr (std::is_same_v<Stored, std::uint64_t>)
          if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
            return values.Set(column + i, row, static_cast<double>(value));
        // NOLINTNEXTLINE(bugprone-signed-char-misuse): bytes of the file are numbers.
        const auto whole = static_cast<long long>(value);
        if (takes_exact)
          sink.SetExact(column + i, row, whole);
        else
          sink.Set(column + i, row, whole);
      });
    }
  }

  void Get(const char* first, std::size_t stride, std::span<double> values) const override {
    std::ranges::fill(values, kNone);
    Each(first, stride, static_cast<int>(values.size()), [&](int i, Stored value) {
      auto number = static_cast<double>(value);
      if (meaning_.is_packed) {
        number = Unpacked(value);
        if (meaning_.is_single) number = static_cast<double>(static_cast<float>(number));
      }
      values[static_cast<std::size_t>(i)] = number;
    });
  }

 private:
  // Has `use` called with what is not missing.
  template <typename Use>
  void Each(const char* first, std::size_t stride, int count, Use use) const {
    if (!is_simple_) {
      for (int i = 0; i < count; ++i, first += stride)
        if (const auto value = Load<Stored>(first, std::endian::big); !IsMissing(value))
          use(i, value);
      return;
    }
    constexpr int kAtOnce = 256;
    for (int begin = 0; begin < count; begin += kAtOnce) {
      const int end = std::min(count, begin + kAtOnce);
      if (stride == sizeof(Stored) && !MayMiss(first, end - begin)) {
        for (int i = begin; i < end; ++i, first += sizeof(Stored))
          use(i, Load<Stored>(first, std::endian::big));
        continue;
      }
      const Stored fill = fill_;
      for (int i = begin; i < end; ++i, first += stride) {
        const auto value = Load<Stored>(first, std::endian::big);
        // No number is neither.
        if (value < fill || value > fill) use(i, value);
      }
    }
  }

  // Whether some of the values that lie together may be missing. Many are looked at together if
  // only at their first bytes as they are in the file.
  bool MayMiss(const char* first, int count) const {
    using Head =
        std::conditional_t<sizeof(Stored) == 1, std::uint8_t,
                           std::conditional_t<sizeof(Stored) == 2, std::uint16_t, std::uint32_t>>;
    const auto head = [](Stored value) {
      const auto in_file = Load<Stored>(&value, std::endian::big);
      return Load<Head>(&in_file, std::endian::native);
    };
    constexpr bool kHasFractions = std::is_floating_point_v<Stored>;
    const Head sign = kHasFractions ? head(static_cast<Stored>(-0.0)) : Head{0};  // that 0 has, too
    const auto mask = static_cast<Head>(~sign);
    const auto fill = static_cast<Head>(head(fill_) & mask);
    const Head exponent = kHasFractions ? head(std::numeric_limits<Stored>::infinity()) : Head{0};
    Head found = 0;
    for (int i = 0; i < count; ++i) {
      const auto bits =
          Load<Head>(first + sizeof(Stored) * static_cast<std::size_t>(i), std::endian::native);
      found |= (bits & mask) == fill ? mask : Head{0};
      if (kHasFractions) found |= (bits & exponent) == exponent ? mask : Head{0};
    }
    return found != 0;
  }

  bool IsMissing(Stored value) const {
    if constexpr (std::is_floating_point_v<Stored>)
      if (std::isnan(value)) return true;
    for (const Stored missing : missing_)
      if (value == missing) return true;
    if (!meaning_.has_range) return false;
    const double number = meaning_.is_range_unpacked ? Unpacked(value) : static_cast<double>(value);
    return number < meaning_.least || number > meaning_.most;
  }

  double Unpacked(Stored value) const {
    return static_cast<double>(value) * meaning_.scale + meaning_.offset;
  }

  void AddMissing(const NetcdfAttribute& attribute, NetcdfType stored) {
    // Of the type of what is stored, whose bytes may be meant otherwise.
    if (attribute.type == stored) {
      for (std::size_t i = 0; i < attribute.count; ++i)
        missing_.push_back(
            Load<Stored>(attribute.bytes.data() + i * sizeof(Stored), std::endian::big));
      return;
    }
    for (std::size_t i = 0; i < attribute.count; ++i)
      if (const auto number = attribute.Number(i)) AddMissing(*number);
  }
  void AddMissing(double value) {
    if constexpr (std::is_same_v<Stored, double>) {
      missing_.push_back(value);
    } else if constexpr (std::is_same_v<Stored, float>) {
      if (std::fabs(value) <= static_cast<double>(std::numeric_limits<float>::max()))
        missing_.push_back(static_cast<float>(value));
    } else {
      const double beyond = std::ldexp(1.0, std::numeric_limits<Stored>::digits);
      const double least = std::is_signed_v<Stored> ? -beyond : 0;
      if (value >= least && value < beyond && std::trunc(value) == value)
        missing_.push_back(static_cast<Stored>(value));
    }
  }

  Meaning meaning_;
  std::vector<Stored> missing_;
  Stored fill_{};
  bool is_simple_ = false;
};

class Texts final : public NetcdfCells {
 public:
  Texts(const NetcdfVariable& variable, std::size_t length, const NetcdfSource& source)
      : source_(source), type_(variable.type), length_(length) {
    const NetcdfAttribute* fill = Find(variable.attributes, "_FillValue");
    if (fill != nullptr && fill->bytes.size() == 1) fill_ = fill->bytes[0];
  }

  void Set(const char* first, std::size_t stride, int count, ReadSpreadSheetData& sink, int column,
           int row) const override {
    std::string cell;
    for (int i = 0; i < count; ++i, first += stride) {
      std::string_view text = NetcdfText(
          type_ == NetcdfType::kChar ? std::string_view(first, length_)
                                     : source_.Text(Load<std::uint64_t>(first, std::endian::big)));
      if (fill_ != '\0') text = text.substr(0, text.find_last_not_of(fill_) + 1);
      if (text.empty()) continue;
      cell = text;
      sink.Set(column + i, row, cell.c_str(), cell.size());
    }
  }
  void Get(const char*, std::size_t, std::span<double> values) const override {
    std::ranges::fill(values, kNone);
  }

 private:
  const NetcdfSource& source_;
  NetcdfType type_;
  std::size_t length_;
  char fill_ = '\0';
};

}  // namespace

NetcdfRows::NetcdfRows(NetcdfSource& source, const std::vector<NetcdfSlab>& slabs)
    : source_(source), places_(slabs.size()) {
  std::vector<std::size_t> order(slabs.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::sort(order, {}, [&](std::size_t i) {
    return std::tuple(slabs[i].row_stride, slabs[i].rows, slabs[i].begin);
  });
  for (const std::size_t i : order) {
    const NetcdfSlab& slab = slabs[i];
    rows_ = std::max(rows_, slab.rows);
    const bool is_beside = [&] {
      if (streams_.empty() || slab.rows < 2) return false;
      const Stream& last = streams_.back();
      return last.row_stride == slab.row_stride && last.rows == slab.rows &&
             slab.begin - last.begin + slab.window() <= slab.row_stride;
    }();
    if (!is_beside) streams_.push_back({slab.begin, slab.rows, slab.row_stride, slab.window()});
    Stream& stream = streams_.back();
    places_[i] = {streams_.size() - 1, slab.begin - stream.begin};
    stream.window = std::max(stream.window, places_[i].offset + slab.window());
  }
  // A little more than what is wanted is cheaper read with it than left out.
  constexpr std::uint64_t kSmallStride = 4096;
  std::uint64_t row_bytes = 0;
  for (Stream& stream : streams_) {
    const bool is_dense =
        stream.row_stride <= kSmallStride || stream.window >= stream.row_stride / 2;
    stream.kept_stride = is_dense && stream.rows > 1 ? stream.row_stride : stream.window;
    row_bytes += stream.kept_stride;
  }
  // Each stream is read in pieces that are worth a call.
  constexpr std::uint64_t kBlock = 256 * 1024;
  constexpr std::uint64_t kPiece = 16 * 1024;
  constexpr std::uint64_t kMostInAll = 16 * kMostAtOnce;
  const std::uint64_t room =
      std::clamp<std::uint64_t>(streams_.size() * kPiece, kBlock, kMostInAll);
  most_ = std::clamp<std::uint64_t>(room / std::max<std::uint64_t>(row_bytes, 1), 1,
                                    std::max<std::uint64_t>(rows_, 1));
}

bool NetcdfRows::ReadAt(std::uint64_t position, char* to, std::uint64_t bytes) {
  const auto size = static_cast<std::size_t>(bytes);
  const std::ptrdiff_t got = source_.ReadAt(position, {to, size});
  cannot_read_ = got < 0;
  return got >= 0 && static_cast<std::size_t>(got) == size;
}

bool NetcdfRows::Fill(std::uint64_t row) {
  source_.ForgetTexts();
  first_ = row;
  count_ = 0;
  const std::uint64_t count = std::min(most_, rows_ - row);
  for (Stream& stream : streams_) {
    if (row >= stream.rows) continue;
    const std::uint64_t here = std::min(count, stream.rows - row);
    const std::uint64_t bytes = (here - 1) * stream.kept_stride + stream.window;
    if (stream.bytes.size() < bytes) stream.bytes.resize(static_cast<std::size_t>(bytes));
    const std::uint64_t begin = stream.begin + row * stream.row_stride;
    if (stream.kept_stride == stream.row_stride || here == 1) {
      if (!ReadAt(begin, stream.bytes.data(), bytes)) return false;
      continue;
    }
    for (std::uint64_t i = 0; i < here; ++i)
      if (!ReadAt(begin + i * stream.row_stride, stream.bytes.data() + i * stream.kept_stride,
                  stream.window))
        return false;
  }
  count_ = count;
  return true;
}

bool IsPlain(const NetcdfVariable& variable) {
  constexpr std::string_view kRules[] = {"_FillValue",  "missing_value", "scale_factor",
                                         "add_offset",  "valid_min",     "valid_max",
                                         "valid_range", "_Unsigned"};
  return std::ranges::none_of(variable.attributes, [&](const NetcdfAttribute& attribute) {
    return std::ranges::find(kRules, attribute.name) != std::end(kRules);
  });
}

std::unique_ptr<NetcdfCells> NumbersOf(const NetcdfVariable& variable,
                                       std::initializer_list<double> missing) {
  const Meaning meaning(variable);
  switch (meaning.type) {
    case NetcdfType::kI8:
      return std::make_unique<Numbers<signed char>>(variable, meaning, missing);
    case NetcdfType::kU8:
    case NetcdfType::kChar:
      return std::make_unique<Numbers<unsigned char>>(variable, meaning, missing);
    case NetcdfType::kI16:
      return std::make_unique<Numbers<std::int16_t>>(variable, meaning, missing);
    case NetcdfType::kU16:
      return std::make_unique<Numbers<std::uint16_t>>(variable, meaning, missing);
    case NetcdfType::kI32:
      return std::make_unique<Numbers<std::int32_t>>(variable, meaning, missing);
    case NetcdfType::kU32:
      return std::make_unique<Numbers<std::uint32_t>>(variable, meaning, missing);
    case NetcdfType::kF32:
      return std::make_unique<Numbers<float>>(variable, meaning, missing);
    case NetcdfType::kF64:
      return std::make_unique<Numbers<double>>(variable, meaning, missing);
    case NetcdfType::kI64:
      return std::make_unique<Numbers<std::int64_t>>(variable, meaning, missing);
    case NetcdfType::kU64:
    case NetcdfType::kText:
      break;
  }
  return std::make_unique<Numbers<std::uint64_t>>(variable, meaning, missing);
}

std::unique_ptr<NetcdfCells> TextsOf(const NetcdfVariable& variable, std::size_t length,
                                     const NetcdfSource& source) {
  return std::make_unique<Texts>(variable, length, source);
}

NetcdfSlab SlabOf(const NetcdfContents& contents, const NetcdfVariable& variable) {
  const std::uint64_t size = SizeOf(variable.type);
  NetcdfSlab slab{variable.begin, 1, size, 1, size, size};
  if (variable.dimensions.empty()) return slab;
  slab.rows = contents.dimensions[variable.dimensions.front()].length;
  if (variable.is_record) slab.row_stride = contents.record_size;
  return slab;
}

int ReadDoubles(NetcdfSource& source, const NetcdfContents& contents,
                const NetcdfVariable& variable, Budget& budget, std::vector<double>& values,
                std::initializer_list<double> missing) {
  values.clear();
  if (!contents.Holds(variable)) return kNetcdfCutShort;
  const NetcdfSlab slab = SlabOf(contents, variable);
  if (!budget.Take(slab.rows * sizeof(double))) return kOverBudget;
  values.resize(static_cast<std::size_t>(slab.rows));
  const auto cells = NumbersOf(variable, missing);
  NetcdfRows rows(source, {slab});
  for (std::uint64_t row = 0; row < slab.rows;) {
    if (!rows.Load(row)) return rows.cannot_read() ? kNetcdfCannotRead : kNetcdfCutShort;
    const std::uint64_t ready = rows.Ready(row);
    cells->Get(
        rows.At(0, row), rows.Stride(0),
        std::span(values).subspan(static_cast<std::size_t>(row), static_cast<std::size_t>(ready)));
    row += ready;
  }
  return kGood;
}

}  // namespace nvimport
