// Property sets (see [MS-OLEPS]; the properties are those of "The Summary Information Property Set"
// and "The DocumentSummaryInformation and UserDefined Property Sets" of the Windows SDK, as in
// [MS-OSHARED]):
//   stream      0 uint16 0xFFFE      24 uint32  sets  28 of each: 16 bytes of id, uint32 offset
//   set         0 uint32 its bytes    4 uint32  properties  8 of each: uint32 id, uint32 offset
//   property    0 uint16 type         4 value
//   dictionary  0 uint32 names        of each: uint32 id, uint32 length, name
// Offsets of sets count from the stream's beginning, those of properties from the set's. A text is
// in the code page that property 1 states. Times are 100 ns since 1601, in UTC.

#include "nvimport/formats/workbook/SummaryInformation.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/CodePages.h"
#include "nvimport/platform/NumberText.h"
#include "nvimport/platform/SerialDate.h"
#include "nvimport/platform/Utf16.h"

namespace nvimport {

namespace {

using namespace std::string_view_literals;

enum Type : std::uint16_t {
  kI2 = 2,
  kI4 = 3,
  kR4 = 4,
  kR8 = 5,
  kDate = 7,
  kBstr = 8,
  kBool = 11,
  kI1 = 16,
  kUi1 = 17,
  kUi2 = 18,
  kUi4 = 19,
  kI8 = 20,
  kUi8 = 21,
  kInt = 22,
  kUint = 23,
  kLpstr = 30,
  kLpwstr = 31,
  kFiletime = 64
};

enum Id : std::uint32_t { kDictionary = 0, kCodePage = 1, kEditTime = 10, kVersion = 23 };

struct Property {
  std::uint32_t id;
  const char* label;
};

constexpr Property kSummaryProperties[] = {{2, "Title"},
                                           {3, "Subject"},
                                           {4, "Author"},
                                           {5, "Keywords"},
                                           {6, "Comments"},
                                           {7, "Template"},
                                           {8, "Last Saved By"},
                                           {9, "Revision Number"},
                                           {kEditTime, "Total Editing Time"},
                                           {11, "Last Printed"},
                                           {12, "Create Time/Date"},
                                           {13, "Last Saved Time/Date"},
                                           {18, "Name of Creating Application"}};
constexpr Property kDocumentProperties[] = {{2, "Category"},           {14, "Manager"},
                                            {15, "Company"},           {kVersion, "Version"},
                                            {26, "Content Type"},      {27, "Content Status"},
                                            {28, "Document Language"}, {29, "Document Version"}};

enum class Kind { kSummary, kDocument, kUsers };
struct KnownSet {
  std::string_view id;
  Kind kind;
  std::span<const Property> properties;
};
constexpr KnownSet kSets[] = {
    {"\xE0\x85\x9F\xF2\xF9\x4F\x68\x10\xAB\x91\x08\x00\x2B\x27\xB3\xD9"sv, Kind::kSummary,
     kSummaryProperties},
    {"\x02\xD5\xCD\xD5\x9C\x2E\x1B\x10\x93\x97\x08\x00\x2B\x2C\xF9\xAE"sv, Kind::kDocument,
     kDocumentProperties},
    {"\x05\xD5\xCD\xD5\x9C\x2E\x1B\x10\x93\x97\x08\x00\x2B\x2C\xF9\xAE"sv, Kind::kUsers, {}}};

constexpr int kUtf16Page = 1200;
constexpr std::uint64_t kTicksPerSecond = 10'000'000;

// "2024-05-06T07:08:09Z", with the fraction that there is; empty for no time before the year 10000.
std::string TimeText(std::uint64_t ticks) {
  using std::chrono::days;
  using std::chrono::sys_days;
  using std::chrono::year;
  constexpr std::uint64_t kPerDay = 86'400 * kTicksPerSecond;
  constexpr std::uint64_t kDays = 3'067'671;  // to 1 January 10000
  if (ticks == 0 || ticks / kPerDay >= kDays) return {};
  const std::chrono::year_month_day date(sys_days(year{1601} / 1 / 1) + days(ticks / kPerDay));
  const auto seconds = static_cast<int>(ticks % kPerDay / kTicksPerSecond);
  TimeStampText buffer;
  std::string text =
      FormatTimeStamp({int{date.year()}, static_cast<int>(static_cast<unsigned>(date.month())),
                       static_cast<int>(static_cast<unsigned>(date.day())), seconds / 3600,
                       seconds / 60 % 60, seconds % 60},
                      /*first_width=*/4, 'T', buffer);
  if (const std::uint64_t rest = ticks % kTicksPerSecond; rest != 0) {
    // Seven digits behind the point.
    const std::string digits = std::to_string(kTicksPerSecond + rest);
    text += "." + digits.substr(1, digits.find_last_not_of('0'));
  }
  return text + 'Z';
}

template <typename Number>
std::string NumberText(Number number) {
  FloatText text;
  if constexpr (std::is_same_v<Number, double>)
    return std::string(FormatDouble(number, text));
  else if constexpr (std::is_same_v<Number, float>)
    return std::string(FormatFloat(number, text));
  else
    return std::to_string(number);
}

// The texts of a stream, which together are no longer than it: properties may share one.
class Texts {
 public:
  explicit Texts(std::uint64_t stream_size) : left_(stream_size) {}

  // The page of those that follow.
  void UsePage(int page) { page_ = page; }

  // The text of `count` bytes that come next, up to its NUL; empty when they aren't there, and when
  // it is blank.
  std::string Take(ByteReader& bytes, std::uint64_t count, int page) {
    if (count > left_ || count > bytes.remaining()) return {};
    left_ -= count;
    // More would be cut anyway.
    constexpr std::size_t kMost = 2 * (Description::kLongestValue + 1);
    const std::string_view stored = bytes.Text(static_cast<std::size_t>(count)).substr(0, kMost);
    std::string text;
    if (page == kUtf16Page)
      AppendUtf16(text, stored);
    else
      AppendFromCodePage(text, stored.substr(0, stored.find('\0')), page);
    text.resize(std::min(text.find('\0'), text.size()));
    if (text.find_first_not_of(' ') == std::string::npos) text.clear();
    return text;
  }
  std::string Take(ByteReader& bytes, std::uint64_t count) { return Take(bytes, count, page_); }

  bool is_utf16() const { return page_ == kUtf16Page; }

 private:
  std::uint64_t left_;
  int page_ = kAnsiPage;
};

// One set of a stream.
class PropertySet {
 public:
  // False when its list of properties is not there or the budget has not as much.
  bool Read(std::string_view bytes, Budget& budget) {
    bytes_ = bytes;
    ByteReader reader = At(4);
    const std::uint32_t count = reader.U32();
    constexpr std::size_t kEntry = 8;
    if (!reader.ok() || count > reader.remaining() / kEntry) return false;
    if (!budget.Take(std::uint64_t{count} * sizeof(Entry))) return false;
    entries_.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::uint32_t id = reader.U32();
      entries_.push_back({id, reader.U32()});
    }
    if (const Entry* page = Find(kCodePage)) {
      ByteReader value = At(page->offset);
      if (value.U32() == kI2) page_ = value.U16();
    }
    return true;
  }

  int page() const { return page_; }

  // The set of the two that have labels of their own.
  void State(Kind kind, std::span<const Property> known, Texts& texts, Stating& stating) const {
    std::uint64_t seen = 0;
    for (const Entry& entry : entries_) {
      const auto property = std::ranges::find(known, entry.id, &Property::id);
      if (property == known.end() || (seen >> entry.id & 1) != 0) continue;
      seen |= std::uint64_t{1} << entry.id;
      const bool is_duration = kind == Kind::kSummary && entry.id == kEditTime;
      const bool is_version = kind == Kind::kDocument && entry.id == kVersion;
      stating.StateIfAny(property->label, is_duration  ? Minutes(entry)
                                          : is_version ? Version(entry)
                                                       : Value(entry, texts));
    }
  }

  // The set of the user's own, whose labels its dictionary has.
  void StateUsers(Texts& texts, Budget& budget, Stating& stating) const {
    const Entry* const dictionary = Find(kDictionary);
    if (dictionary == nullptr) return;
    std::map<std::uint32_t, std::string> names;
    ByteReader reader = At(dictionary->offset);
    const std::uint32_t count = reader.U32();
    for (std::uint32_t i = 0; i < count && reader.ok(); ++i) {
      constexpr std::size_t kKept = 128;
      const std::uint32_t id = reader.U32();
      const std::uint32_t length = reader.U32();
      const std::uint64_t size = std::uint64_t{length} * (texts.is_utf16() ? 2 : 1);
      if (!reader.ok() || size > reader.remaining() || !budget.Take(kKept + 4 * size)) break;
      if (std::string name = texts.Take(reader, size); !name.empty()) names.emplace(id, name);
      constexpr std::uint64_t kUnit = 4;
      if (texts.is_utf16()) reader.Skip((kUnit - size % kUnit) % kUnit);
    }
    for (const Entry& entry : entries_) {
      const auto name = names.find(entry.id);
      if (name == names.end()) continue;
      if (const std::string value = Value(entry, texts); !value.empty()) {
        if (!stating.TakeFor(budget, name->second, value)) return;
        stating.description().State(name->second, "", value);
      }
      names.erase(name);
    }
  }

 private:
  struct Entry {
    std::uint32_t id;
    std::uint32_t offset;
  };

  ByteReader At(std::uint32_t offset) const {
    ByteReader reader{std::span(bytes_)};
    reader.Seek(offset);
    return reader;
  }

  const Entry* Find(std::uint32_t id) const {
    const auto found = std::ranges::find(entries_, id, &Entry::id);
    return found != entries_.end() ? &*found : nullptr;
  }

  // Empty for what is none, or not given.
  std::string Value(const Entry& entry, Texts& texts) const {
    ByteReader reader = At(entry.offset);
    const std::uint16_t type = reader.U16();
    reader.Skip(2);
    const auto number = [&](auto value) { return reader.ok() ? NumberText(value) : std::string(); };
    switch (type) {
      case kI1:
        return number(reader.I8());
      case kUi1:
        return number(unsigned{reader.U8()});
      case kI2:
        return number(int{reader.I16()});
      case kUi2:
        return number(unsigned{reader.U16()});
      case kI4:
      case kInt:
        return number(reader.I32());
      case kUi4:
      case kUint:
        return number(reader.U32());
      case kI8:
        return number(static_cast<std::int64_t>(U64(reader)));
      case kUi8:
        return number(U64(reader));
      case kR4:
        return number(reader.F32());
      case kR8:
        return number(reader.F64());
      case kBool:
        return reader.U16() != 0 ? "true" : reader.ok() ? "false" : "";
      case kDate:
        return DateOf(reader);
      case kFiletime:
        return TimeText(U64(reader));
      case kBstr:
      case kLpstr: {
        const std::uint32_t size = reader.U32();
        return texts.Take(reader, size);
      }
      case kLpwstr: {
        const std::uint32_t length = reader.U32();
        return texts.Take(reader, std::uint64_t{length} * 2, kUtf16Page);
      }
      default:
        return {};
    }
  }

  // A time that passed.
  std::string Minutes(const Entry& entry) const {
    ByteReader reader = At(entry.offset);
    const std::uint32_t type = reader.U32();
    const std::uint64_t ticks = U64(reader);
    if (type != kFiletime || ticks == 0) return {};
    return NumberText(static_cast<double>(ticks) / (60.0 * kTicksPerSecond));
  }

  // The upper half is the major version, as packages write it.
  std::string Version(const Entry& entry) const {
    ByteReader reader = At(entry.offset);
    const std::uint32_t type = reader.U32();
    const std::uint32_t version = reader.U32();
    if (type != kI4 || version == 0) return {};
    std::string minor = std::to_string(version & 0xFFFF);
    minor.insert(0, 4 - std::min<std::size_t>(minor.size(), 4), '0');
    return std::to_string(version >> 16) + "." + minor;
  }

  static std::uint64_t U64(ByteReader& reader) {
    const std::uint64_t low = reader.U32();
    const std::uint64_t value = low | std::uint64_t{reader.U32()} << 32;
    return reader.ok() ? value : 0;
  }

  static std::string DateOf(ByteReader& reader) {
    const double serial = reader.F64();
    if (!reader.ok()) return {};
    DateText buffer;
    std::string text(IEEEDate_2_string(serial, /*since_1904=*/false, buffer, DateForm::kDays));
    std::ranges::replace(text, ' ', 'T');
    return text;
  }

  std::string_view bytes_;
  std::vector<Entry> entries_;
  int page_ = kAnsiPage;
};

}  // namespace

void DescribeProperties(std::string_view bytes, Budget& budget, Stating& stating) {
  constexpr std::size_t kCount = 24;
  constexpr std::uint32_t kMostSets = 2;
  ByteReader reader{std::span(bytes)};
  if (reader.U16() != 0xFFFE) return;
  reader.Seek(kCount);
  const std::uint32_t count = std::min(reader.U32(), kMostSets);
  Texts texts(bytes.size());
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::string_view id = reader.Text(16);
    const std::uint32_t offset = reader.U32();
    const auto* const known = std::ranges::find(kSets, id, &KnownSet::id);
    PropertySet set;
    if (!reader.ok() || offset > bytes.size() || known == std::end(kSets) ||
        !set.Read(bytes.substr(offset), budget))
      continue;
    texts.UsePage(set.page());
    if (known->kind == Kind::kUsers)
      set.StateUsers(texts, budget, stating);
    else
      set.State(known->kind, known->properties, texts, stating);
  }
}

void DescribeSummary(CompoundFile& file, Budget& budget, Stating& stating) {
  const auto elements = file.Elements(0);
  if (!elements) return;
  for (const char* const name : {"\5SummaryInformation", "\5DocumentSummaryInformation"}) {
    const auto found = std::ranges::find_if(
        *elements, [&](std::size_t element) { return file.entries()[element].name == name; });
    const CompoundFile::Stream* const stream =
        found != elements->end() ? file.OpenStream(*found) : nullptr;
    if (stream == nullptr) continue;
    if (!budget.Take(stream->size())) return stating.description().AddCut(1);
    std::string bytes(static_cast<std::size_t>(stream->size()), '\0');
    const std::ptrdiff_t got = file.Read(*stream, 0, bytes);
    bytes.resize(static_cast<std::size_t>(std::max<std::ptrdiff_t>(got, 0)));
    DescribeProperties(bytes, budget, stating);
    budget.Return(stream->size());
  }
}

}  // namespace nvimport
