// netCDF, the classic format in its three versions. Numbers are big-endian; those
// called size are uint32, of version 5 uint64.
//   "CDF"  uint8 version: 1, 2 or 5  size records, all bits set: as many as there are bytes for
//   dimensions, attributes of the file, variables, each a list
//   list       uint32 tag (dimensions 10, variables 11, attributes 12; 0 of an empty one)
//              size items  then the items
//   name       size bytes, then these, padded to 4
//   dimension  name, size length (0: the record dimension)
//   attribute  name, uint32 type, size values, then these, padded to 4
//   variable   name, size rank, size dimensions[rank], attributes, uint32 type, size bytes,
//              uint32 (from version 2 on uint64) begin
// Values lie row by row. Those of variables along the record dimension, which is their first one,
// take turns: for each record one part of every such variable, padded to 4 unless it is the only
// one.

#include "nvimport/formats/matrix/NetcdfLayout.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "nvimport/platform/BlockReader.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

constexpr std::uint32_t kDimensions = 10;
constexpr std::uint32_t kVariables = 11;
constexpr std::uint32_t kAttributes = 12;
constexpr int kShown = 4;  // the version of what is shown as such a file, else as 5
constexpr std::uint64_t kUnlimited = std::numeric_limits<std::uint64_t>::max();

std::uint64_t Padded(std::uint64_t bytes) { return (bytes + 3) & ~std::uint64_t{3}; }

// No file is as long as what exceeds this.
constexpr std::uint64_t kBeyond = std::uint64_t{1} << 62;

std::uint64_t Times(std::uint64_t a, std::uint64_t b) {
  return a != 0 && b > kBeyond / a ? kBeyond : a * b;
}

template <typename Number>
Number At(const std::string& bytes, std::size_t at) {
  return Load<Number>(bytes.data() + at * sizeof(Number), std::endian::big);
}

class Header {
 public:
  Header(NetcdfSource& source, Budget& budget, NetcdfContents& contents)
      : budget_(budget), contents_(contents), is_shown_(source.is_shown()) {
    reader_.Begin(source, 0);
  }

  int Read();

 private:
  std::uint64_t left() const {
    return contents_.file_size - std::min(contents_.file_size, reader_.position());
  }
  bool Fail(int status) {
    if (status_ == kGood) status_ = status;
    return false;
  }
  bool Draw(std::uint64_t bytes) { return budget_.Take(bytes) || Fail(kOverBudget); }

  template <typename Number>
  bool Take(Number& number) {
    const auto bytes = reader_.Ahead(sizeof(Number));
    if (bytes.size() < sizeof(Number))
      return Fail(reader_.failed() ? kNetcdfCannotRead : kNetcdfHeaderCut);
    number = Load<Number>(bytes.data(), std::endian::big);
    reader_.Skip(sizeof(Number));
    return true;
  }
  bool TakeSize(std::uint64_t& size) {
    if (contents_.version > 2) return Take(size);
    std::uint32_t narrow = 0;
    if (!Take(narrow)) return false;
    size = narrow;
    return true;
  }
  // The number of items in a list, each of which takes at least so many bytes.
  bool TakeCount(std::uint32_t tag, std::uint64_t least, std::uint64_t& count);
  bool TakeBytes(std::uint64_t count, std::string& bytes);
  bool TakeName(std::string& name) {
    std::uint64_t size = 0;
    return TakeSize(size) && TakeBytes(size, name);
  }
  bool TakeType(NetcdfType& type, NetcdfType last);
  bool TakeDimensions();
  bool TakeAttributes(NetcdfAttributes& attributes);
  bool TakeVariables();
  bool TakeShape(NetcdfVariable& variable);
  void Measure();

  Budget& budget_;
  NetcdfContents& contents_;
  bool is_shown_;
  BlockReader reader_;
  bool counts_records_ = false;
  int status_ = kGood;
};

int Header::Read() {
  constexpr std::string_view kHdf5 = "\x89HDF\r\n\x1a\n";
  constexpr std::string_view kNasa[] = {"\xcd\xf3", "\xcd\xf2"};
  constexpr std::size_t kMagic = 4;
  const auto ahead = reader_.Ahead(kHdf5.size());
  const std::string_view head(ahead.data(), std::min(ahead.size(), kHdf5.size()));
  if (head == kHdf5) return kNetcdfHdf5;
  for (const std::string_view magic : kNasa)
    if (head.starts_with(magic)) return kNetcdfNasa;
  if (!head.starts_with("CDF")) return reader_.failed() ? kNetcdfCannotRead : kNetcdfNotThisFormat;
  if (head.size() < kMagic) return kNetcdfHeaderCut;
  contents_.version = static_cast<unsigned char>(head[3]);
  const bool is_known =
      is_shown_ ? contents_.version == kShown
                : contents_.version == 1 || contents_.version == 2 || contents_.version == 5;
  if (!is_known) return kNetcdfNotThisFormat;
  reader_.Skip(kMagic);
  if (!TakeSize(contents_.records)) return status_;
  counts_records_ =
      contents_.records ==
      (contents_.version > 2 ? kUnlimited : std::numeric_limits<std::uint32_t>::max());
  if (TakeDimensions() && TakeAttributes(contents_.attributes) && TakeVariables()) Measure();
  return status_;
}

bool Header::TakeCount(std::uint32_t tag, std::uint64_t least, std::uint64_t& count) {
  std::uint32_t found = 0;
  if (!Take(found) || !TakeSize(count)) return false;
  if (found != tag && (found != 0 || count != 0)) return Fail(kNetcdfHeaderDamaged);
  return count <= left() / least || Fail(kNetcdfHeaderCut);
}

bool Header::TakeBytes(std::uint64_t count, std::string& bytes) {
  if (count > left()) return Fail(kNetcdfHeaderCut);
  if (!Draw(count)) return false;
  bytes.reserve(static_cast<std::size_t>(count));
  for (std::uint64_t open = count; open > 0;) {
    const auto ahead = reader_.Ahead(1);
    const std::size_t some = static_cast<std::size_t>(std::min<std::uint64_t>(ahead.size(), open));
    if (some == 0) return Fail(reader_.failed() ? kNetcdfCannotRead : kNetcdfHeaderCut);
    bytes.append(ahead.data(), some);
    reader_.Skip(some);
    open -= some;
  }
  reader_.Skip(Padded(count) - count);
  return true;
}

bool Header::TakeType(NetcdfType& type, NetcdfType last) {
  std::uint32_t number = 0;
  if (!Take(number)) return false;
  if (number < 1 || number > static_cast<std::uint32_t>(last)) return Fail(kNetcdfHeaderDamaged);
  type = static_cast<NetcdfType>(number);
  return true;
}

bool Header::TakeDimensions() {
  constexpr std::uint64_t kLeast = 8;
  std::uint64_t count = 0;
  if (!TakeCount(kDimensions, kLeast, count) || !Draw(count * sizeof(NetcdfDimension)))
    return false;
  contents_.dimensions.resize(static_cast<std::size_t>(count));
  bool has_record = false;
  for (NetcdfDimension& dimension : contents_.dimensions) {
    if (!TakeName(dimension.name) || !TakeSize(dimension.length)) return false;
    dimension.is_record = dimension.length == 0;
    if (dimension.is_record && std::exchange(has_record, true)) return Fail(kNetcdfHeaderDamaged);
  }
  return true;
}

bool Header::TakeAttributes(NetcdfAttributes& attributes) {
  constexpr std::uint64_t kLeast = 12;
  std::uint64_t count = 0;
  if (!TakeCount(kAttributes, kLeast, count) || !Draw(count * sizeof(NetcdfAttribute)))
    return false;
  attributes.resize(static_cast<std::size_t>(count));
  for (NetcdfAttribute& attribute : attributes)
    if (!TakeName(attribute.name) || !TakeType(attribute.type, NetcdfType::kU64) ||
        !TakeSize(attribute.count) ||
        !TakeBytes(Times(attribute.count, SizeOf(attribute.type)), attribute.bytes))
      return false;
  return true;
}

bool Header::TakeVariables() {
  constexpr std::uint64_t kLeast = 28;
  std::uint64_t count = 0;
  if (!TakeCount(kVariables, kLeast, count) || !Draw(count * sizeof(NetcdfVariable))) return false;
  contents_.variables.resize(static_cast<std::size_t>(count));
  for (NetcdfVariable& variable : contents_.variables) {
    std::uint64_t size = 0;  // which is wrong of large variables, and follows from the shape
    std::uint32_t begin = 0;
    if (!TakeName(variable.name) || !TakeShape(variable) || !TakeAttributes(variable.attributes) ||
        !TakeType(variable.type, is_shown_ ? NetcdfType::kText : NetcdfType::kU64) ||
        !TakeSize(size))
      return false;
    if (contents_.version == 1) {
      if (!Take(begin)) return false;
      variable.begin = begin;
    } else if (!Take(variable.begin)) {
      return false;
    }
  }
  return true;
}

bool Header::TakeShape(NetcdfVariable& variable) {
  std::uint64_t rank = 0;
  if (!TakeSize(rank)) return false;
  if (rank > left() / sizeof(std::uint32_t)) return Fail(kNetcdfHeaderCut);
  if (!Draw(rank * sizeof(std::uint32_t))) return false;
  for (std::uint64_t i = 0; i < rank; ++i) {
    std::uint64_t dimension = 0;
    if (!TakeSize(dimension)) return false;
    if (dimension >= contents_.dimensions.size()) return Fail(kNetcdfHeaderDamaged);
    const bool is_record = contents_.dimensions[static_cast<std::size_t>(dimension)].is_record;
    if (is_record && i > 0) return Fail(kNetcdfHeaderDamaged);
    variable.is_record = variable.is_record || is_record;
    variable.dimensions.push_back(static_cast<std::uint32_t>(dimension));
  }
  return true;
}

void Header::Measure() {
  std::uint64_t in_record = 0;
  std::uint64_t first = kUnlimited;
  for (NetcdfVariable& variable : contents_.variables) {
    variable.bytes = SizeOf(variable.type);
    for (const std::uint32_t at : variable.dimensions) {
      NetcdfDimension& dimension = contents_.dimensions[at];
      if (!dimension.is_record) variable.bytes = Times(variable.bytes, dimension.length);
      dimension.has_numbers = dimension.has_numbers || variable.type != NetcdfType::kChar;
    }
    if (!variable.is_record) continue;
    ++in_record;
    first = std::min(first, variable.begin);
    contents_.record_size = std::min(contents_.record_size + Padded(variable.bytes), kBeyond);
  }
  if (in_record == 1)
    contents_.record_size =
        std::ranges::find(contents_.variables, true, &NetcdfVariable::is_record)->bytes;
  if (counts_records_)
    contents_.records =
        in_record > 0 && first < contents_.file_size
            ? (contents_.file_size - first) / std::max<std::uint64_t>(contents_.record_size, 1)
            : 0;
  for (NetcdfDimension& dimension : contents_.dimensions)
    if (dimension.is_record) dimension.length = contents_.records;
}

}  // namespace

const char* WordOf(NetcdfType type) {
  constexpr const char* kWords[] = {"",      "byte",   "char", "short", "int",    "float", "double",
                                    "ubyte", "ushort", "uint", "int64", "uint64", "text"};
  return kWords[static_cast<std::size_t>(type)];
}

std::string_view NetcdfText(std::string_view bytes) {
  bytes = bytes.substr(0, bytes.find('\0'));
  return bytes.substr(0, bytes.find_last_not_of(' ') + 1);
}

std::string NetcdfAttribute::Text() const {
  if (type == NetcdfType::kChar) return std::string(NetcdfText(bytes));
  std::string text;
  FloatText buffer;
  for (std::size_t i = 0; i < count; ++i) {
    if (i > 0) text += ' ';
    if (type == NetcdfType::kF32)
      text += FormatFloat(At<float>(bytes, i), buffer);
    else if (type == NetcdfType::kF64)
      text += FormatDouble(At<double>(bytes, i), buffer);
    else if (type == NetcdfType::kI64)
      text += FormatWhole(static_cast<long long>(At<std::int64_t>(bytes, i)), buffer);
    else if (type == NetcdfType::kU64)
      text += std::to_string(At<std::uint64_t>(bytes, i));
    else
      text += FormatWhole(static_cast<long long>(*Number(i)), buffer);
  }
  return text;
}

std::optional<double> NetcdfAttribute::Number(std::size_t at) const {
  if (at >= count) return std::nullopt;
  switch (type) {
    case NetcdfType::kChar:
    case NetcdfType::kText:
      return std::nullopt;
    case NetcdfType::kI8:
      return static_cast<signed char>(bytes[at]);
    case NetcdfType::kU8:
      return static_cast<unsigned char>(bytes[at]);
    case NetcdfType::kI16:
      return At<std::int16_t>(bytes, at);
    case NetcdfType::kU16:
      return At<std::uint16_t>(bytes, at);
    case NetcdfType::kI32:
      return At<std::int32_t>(bytes, at);
    case NetcdfType::kU32:
      return At<std::uint32_t>(bytes, at);
    case NetcdfType::kF32:
      return static_cast<double>(At<float>(bytes, at));
    case NetcdfType::kF64:
      return At<double>(bytes, at);
    case NetcdfType::kI64:
      return static_cast<double>(At<std::int64_t>(bytes, at));
    case NetcdfType::kU64:
      return static_cast<double>(At<std::uint64_t>(bytes, at));
  }
  return std::nullopt;
}

const NetcdfAttribute* Find(const NetcdfAttributes& attributes, std::string_view name) {
  const auto found = std::ranges::find(attributes, name, &NetcdfAttribute::name);
  return found != attributes.end() ? &*found : nullptr;
}

std::string TextOf(const NetcdfAttributes& attributes, std::string_view name) {
  const NetcdfAttribute* attribute = Find(attributes, name);
  return attribute != nullptr ? attribute->Text() : std::string();
}

const NetcdfVariable* NetcdfContents::Find(std::string_view name) const {
  const auto found = std::ranges::find(variables, name, &NetcdfVariable::name);
  return found != variables.end() ? &*found : nullptr;
}

bool NetcdfContents::Holds(const NetcdfVariable& variable) const {
  if (variable.is_record && records == 0) return true;
  if (variable.begin > file_size || variable.bytes > file_size - variable.begin) return false;
  if (!variable.is_record) return true;
  const std::uint64_t more = file_size - variable.begin - variable.bytes;
  return records - 1 <= more / std::max<std::uint64_t>(record_size, 1);
}

bool NetcdfContents::HasTexts(const NetcdfVariable& variable) const {
  if (variable.type != NetcdfType::kChar || variable.dimensions.empty()) return false;
  const NetcdfDimension& last = dimensions[variable.dimensions.back()];
  return !last.is_record && !last.has_numbers;
}

int ReadNetcdf(NetcdfSource& source, Budget& budget, NetcdfContents& contents) {
  contents.file_size = source.size();
  return Header(source, budget, contents).Read();
}

}  // namespace nvimport
