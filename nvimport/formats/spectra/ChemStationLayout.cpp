// HPLC ChemStation, as those who read it have found out. Byte 0 is the length of the version's
// number in ASCII, which stands at 248 too, as uint32. All numbers of the header are big-endian:
//   252 uint16 line of the sequence   260 uint32 index of scans       282 first time, 286 last
//   254 uint16 vial                   264 uint32 block of the data    290 largest stored value
//   256 uint16 injection              278 uint32 scans                294 smallest
// Times are in ms, int32 or float32 by the version. Blocks have 512 bytes and count from 1. A text
// is a byte with its length, then so many characters; those of versions from 130 on are UTF-16LE.
//   versions       header   data
//   8, 30, 81      1024     a chromatogram (8 and 30 by differences, 81 by double differences)
//   130, 179-181   6144     the same (130 by differences, 179 doubles, 181 by double differences)
//   31, 131        512, 4096   spectra over time, as a diode array takes them
// Differences: segments of a byte 0x10, a byte with their number, and so many int16, big-endian, of
// which -32768 says that the value itself follows, as int32. A zero ends them.
// Double differences: int16, big-endian, of which 32767 says that the value itself follows, as
// int48, after which the difference is 0. In version 181 two zero bytes end them.
// A scan, little-endian: uint16 67, uint16 size, uint32 time in ms, uint16 first and last
// wavelength and their step in 20ths of a nm, 8 bytes, then the values from 22 on, by differences
// as above but without segments; in files of type OL as doubles. The index of scans: uint16 68,
// uint16 size, uint16 0, then for each scan uint32 position, uint32 time, uint16. Of versions 8 and
// 180 no files are to be had; what they hold is told by how it begins.

#include "nvimport/formats/spectra/ChemStationLayout.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <span>
#include <string_view>

#include "nvimport/formats/spectra/ChemStationDeltas.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/Utf16.h"

namespace nvimport {

namespace {

constexpr std::size_t kLongestHeader = 6144;
constexpr std::size_t kVersionPlace = 248;
constexpr std::uint64_t kBlockSize = 512;
constexpr std::uint16_t kScanLabel = 67;
constexpr std::uint16_t kIndexLabel = 68;
constexpr std::uint64_t kIndexHeadSize = 6;
constexpr std::uint64_t kIndexEntrySize = 10;

// Where a text stands, 0 for nowhere, and for how many characters there is room.
struct Place {
  std::size_t at = 0;
  std::size_t room = 0;
};

// The headers of some versions.
struct Family {
  std::size_t size;
  bool is_wide;
  Place texts[kChemStationTexts];  // in the order of ChemStationText
  std::size_t scale;
  std::size_t intercept;  // 0 for none
};

constexpr Family kNarrow{1024,
                         false,
                         {{4, 19},
                          {24, 61},
                          {86, 61},
                          {148, 29},
                          {178, 29},
                          {208, 9},
                          {218, 9},
                          {228, 19},
                          {322, 31},
                          {580, 15},
                          {596, 39}},
                         644,
                         636};
constexpr Family kNarrowScans{512,
                              false,
                              {{4, 19},
                               {24, 61},
                               {86, 61},
                               {148, 29},
                               {178, 29},
                               {208, 9},
                               {218, 9},
                               {228, 19},
                               {},
                               {326, 15},
                               {}},
                              318,
                              0};
constexpr Family kWide{kLongestHeader,
                       true,
                       {{347, 255},
                        {858, 255},
                        {},
                        {1880, 255},
                        {2391, 50},
                        {2492, 20},
                        {2533, 20},
                        {2574, 255},
                        {3089, 255},
                        {4172, 20},
                        {4213, 255}},
                       4732,
                       4724};
constexpr Family kWideScans{4096,
                            true,
                            {{347, 255},
                             {858, 255},
                             {},
                             {1880, 255},
                             {2391, 50},
                             {2492, 20},
                             {2533, 20},
                             {2574, 255},
                             {},
                             {3093, 21},
                             {}},
                            3085,
                            0};

struct Version {
  int number;
  const Family& family;
  ChemStationCoding coding;
  bool has_float_times;
  bool is_settled = true;  // else coding and times are told by the data
};

using Coding = ChemStationCoding;
constexpr Version kVersions[] = {{8, kNarrow, Coding::kDeltas, false, /*is_settled=*/false},
                                 {30, kNarrow, Coding::kDeltas, false},
                                 {31, kNarrowScans, Coding::kDeltaScans, false},
                                 {81, kNarrow, Coding::kDoubleDeltas, true},
                                 {130, kWide, Coding::kDeltas, false},
                                 {131, kWideScans, Coding::kDeltaScans, false},
                                 {179, kWide, Coding::kDoubles, true},
                                 {180, kWide, Coding::kDeltas, true, /*is_settled=*/false},
                                 {181, kWide, Coding::kDoubleDeltas, true}};

class HeaderReader {
 public:
  HeaderReader(std::span<const char> bytes, const Version& version)
      : fields_(bytes, std::endian::big), version_(version) {}

  void Take(ChemStationLayout& layout) {
    const Family& family = version_.family;
    for (std::size_t i = 0; i < kChemStationTexts; ++i) layout.texts[i] = Text(family.texts[i]);
    layout.sequence_line = fields_.Seek(252).U16();
    layout.vial = fields_.U16();
    layout.injection = fields_.U16();
    layout.index = fields_.Seek(260).U32();
    stated_block_ = fields_.U32();
    layout.scans = fields_.Seek(278).U32();
    layout.scale = fields_.Seek(family.scale).F64();
    if (family.intercept != 0) layout.intercept = fields_.Seek(family.intercept).F64();
    if (!std::isfinite(layout.intercept)) layout.intercept = 0;
    layout.has_scale = std::isfinite(layout.scale) && layout.scale != 0;
    if (!layout.has_scale) layout.scale = 1;
    layout.data = family.size;
  }

  // What only chromatograms have.
  void TakeSignal(ChemStationLayout& layout) {
    constexpr std::size_t kTimes = 282;
    constexpr std::size_t kStep = 4122;
    const bool has_float_times = version_.is_settled
                                     ? version_.has_float_times
                                     : std::fabs(fields_.Seek(kTimes + 4).F32()) >= 1;
    fields_.Seek(kTimes);
    layout.first_time = Time(has_float_times);
    layout.last_time = Time(has_float_times);
    // Some of version 179 state the end of the header in bytes.
    const std::uint64_t block = stated_block_;
    const std::uint64_t stated = block > 0 ? (block - 1) * kBlockSize : 0;
    if (layout.coding != Coding::kDoubles && stated >= layout.data && stated < layout.size)
      layout.data = stated;
    if (!version_.family.is_wide) return;
    const double seconds = fields_.Seek(kStep).U16();
    const double parts = fields_.U16();
    if (parts != 0) layout.step = 1000 * seconds / parts;
  }

  void TakeExtremes(ChemStationLayout& layout) {
    fields_.Seek(290);
    if (layout.coding == Coding::kDeltas) {
      const std::int32_t largest = fields_.I32();
      const std::int32_t smallest = fields_.I32();
      if (largest < smallest || (largest == 0 && smallest == 0)) return;
      layout.largest = largest;
      layout.smallest = smallest;
    } else if (layout.coding == Coding::kDoubles && layout.texts[kChemType].starts_with("GC")) {
      const float largest = fields_.F32();
      const float smallest = fields_.F32();
      if (largest != 0) layout.largest = largest;
      if (smallest != 0) layout.smallest = smallest;
    }
  }

 private:
  std::string Text(const Place& place) {
    if (place.at == 0) return {};
    const std::size_t width = version_.family.is_wide ? 2 : 1;
    const std::size_t length = std::min<std::size_t>(fields_.Seek(place.at).U8(), place.room);
    const std::string_view bytes = fields_.Text(length * width);
    std::string text;
    if (version_.family.is_wide)
      AppendUtf16(text, bytes);
    else
      text = bytes;
    text.resize(std::min(text.find('\0'), text.size()));
    text.resize(text.find_last_not_of(' ') + 1);
    return text;
  }

  double Time(bool is_float) {
    return is_float ? static_cast<double>(fields_.F32()) : fields_.I32();
  }

  ByteReader fields_;
  const Version& version_;
  std::uint32_t stated_block_ = 0;
};

// The number of the version that the first bytes tell, 0 for none.
int StatedVersion(std::span<const char> bytes) {
  constexpr std::size_t kMostDigits = 3;
  const auto length = static_cast<unsigned char>(bytes.empty() ? 0 : bytes[0]);
  if (length == 0 || length > kMostDigits || bytes.size() < std::size_t{length} + 1) return 0;
  int version = 0;
  const char* const end = bytes.data() + 1 + length;
  const auto [parsed, error] = std::from_chars(bytes.data() + 1, end, version);
  return error == std::errc() && parsed == end && version > 0 ? version : 0;
}

// What the data begin with, 0 behind the end.
std::uint16_t Beginning(InputFile& file, std::uint64_t position) {
  char bytes[2]{};
  if (!file.Seek(position) || file.Read(bytes) != 2) return 0;
  return Load<std::uint16_t>(bytes, std::endian::big);
}

constexpr std::uint16_t kDoubleDeltaBeginning = 0x7fff;
bool BeginsSegment(std::uint16_t beginning) { return beginning >> 8U == 0x10; }

bool HasRightBeginning(const ChemStationLayout& layout, std::uint16_t beginning) {
  switch (layout.coding) {
    case Coding::kDeltas:
      return BeginsSegment(beginning);
    case Coding::kDoubleDeltas:
      return beginning == kDoubleDeltaBeginning;
    case Coding::kDoubles:
      return (layout.size - layout.data) % sizeof(double) == 0;
    case Coding::kDeltaScans:
    case Coding::kDoubleScans:
      break;
  }
  return beginning == kScanLabel << 8U;
}

}  // namespace

int ReadChemStationLayout(InputFile& file, ChemStationLayout& layout) {
  layout = {};
  std::array<char, kLongestHeader> buffer;
  const std::ptrdiff_t got = file.Seek(0) ? file.Read(buffer) : -1;
  if (got < 0) return kChemCannotRead;
  const auto bytes = std::span(buffer).first(static_cast<std::size_t>(got));
  layout.version = StatedVersion(bytes);
  if (layout.version == 0) return kChemNotThisFormat;
  constexpr std::string_view kMassSpectra = "MS";
  constexpr std::size_t kTypeEnd = 24;
  const std::string_view head(bytes.data(), std::min(bytes.size(), kTypeEnd));
  if (layout.version == 2 && head.find(kMassSpectra) != std::string_view::npos)
    return kChemMassSpectra;
  const auto* const version = std::ranges::find(kVersions, layout.version, &Version::number);
  if (bytes.size() < kVersionPlace + 4)
    return version != std::end(kVersions) ? kChemCutShort : kChemNotThisFormat;
  if (Load<std::uint32_t>(&bytes[kVersionPlace], std::endian::big) !=
      static_cast<std::uint32_t>(layout.version))
    return kChemNotThisFormat;
  if (version == std::end(kVersions)) return kChemOtherVersion;
  if (bytes.size() < version->family.size) return kChemCutShort;

  layout.size = layout.end = file.size();
  layout.coding = version->coding;
  HeaderReader header(bytes, *version);
  header.Take(layout);
  const std::string& type = layout.texts[kChemType];
  if (layout.has_scans()) {
    if (type.starts_with("OL") && version->family.is_wide) layout.coding = Coding::kDoubleScans;
  } else {
    header.TakeSignal(layout);
  }
  const std::uint16_t beginning = Beginning(file, layout.data);
  if (!version->is_settled && beginning == kDoubleDeltaBeginning)
    layout.coding = Coding::kDoubleDeltas;
  else if (!version->is_settled && version->family.is_wide && !BeginsSegment(beginning))
    layout.coding = Coding::kDoubles;
  if (layout.coding == Coding::kDoubleDeltas && version->family.is_wide) {
    layout.has_end_mark = layout.end >= layout.data + 2 && Beginning(file, layout.end - 2) == 0;
    if (layout.has_end_mark) layout.end -= 2;
  }
  header.TakeExtremes(layout);
  layout.is_sure = type.ends_with("DATA FILE") && HasRightBeginning(layout, beginning);
  return kGood;
}

namespace {

constexpr char kSegment = 0x10;
constexpr std::size_t kSegmentHeadSize = 2;
constexpr std::size_t kMostOfSegment = 255;
constexpr std::size_t kDoubleAbsoluteSize = 8;
constexpr std::int16_t kDoubleAbsolute = std::numeric_limits<std::int16_t>::max();

template <typename T>
T LoadBig(const char* at) {
  return Load<T>(at, std::endian::big);
}

}  // namespace

ChemStationEnd ChemStationSignal::Count(std::uint64_t& count) {
  count = 0;
  while (true) {
    // What holds only differences needs not be decoded.
    const auto bytes = reader_.Ahead(kSegmentHeadSize + kMostOfSegment * kAbsoluteSize);
    std::size_t head = 0;
    std::size_t deltas = 0;
    if (layout_.coding == Coding::kDoubles) {
      count = (layout_.end - layout_.data) / sizeof(double);
      const bool is_whole = (layout_.end - layout_.data) % sizeof(double) == 0;
      return is_whole ? ChemStationEnd::kMarked : ChemStationEnd::kCut;
    }
    if (layout_.coding == Coding::kDoubleDeltas) {
      const std::uint64_t left = layout_.end - std::min(layout_.end, reader_.position());
      deltas = static_cast<std::size_t>(
          std::min<std::uint64_t>({left / kDeltaSize, bytes.size() / kDeltaSize, kLongestRun}));
    } else if (bytes.size() >= kSegmentHeadSize && bytes[0] == kSegment) {
      head = kSegmentHeadSize;
      deltas = static_cast<unsigned char>(bytes[1]);
    }
    const bool is_plain =
        deltas > 0 && head + deltas * kDeltaSize <= bytes.size() &&
        !HasWord<std::endian::big>(bytes.data() + head, deltas,
                                   layout_.coding == Coding::kDeltas ? kAbsolute : kDoubleAbsolute);
    if (is_plain) {
      reader_.Skip(head + deltas * kDeltaSize);
    } else {
      deltas = Next();
      if (deltas == 0) return end_;
    }
    count += deltas;
  }
}

std::size_t ChemStationSignal::Next() {
  switch (layout_.coding) {
    case Coding::kDeltas:
      return NextSegment();
    case Coding::kDoubleDeltas:
      return NextDoubleDeltas();
    default:
      return NextDoubles();
  }
}

std::size_t ChemStationSignal::NextSegment() {
  while (true) {
    const auto bytes = reader_.Ahead(kSegmentHeadSize + kMostOfSegment * kAbsoluteSize);
    if (bytes.empty()) return End(ChemStationEnd::kUnmarked);
    if (bytes[0] != kSegment)
      return End(bytes[0] == 0 ? ChemStationEnd::kMarked : ChemStationEnd::kDamaged);
    if (bytes.size() < kSegmentHeadSize) return End(ChemStationEnd::kCut);
    const std::size_t count = static_cast<unsigned char>(bytes[1]);
    const char* const next = AddUp<std::endian::big>(
        bytes.data() + kSegmentHeadSize, bytes.data() + bytes.size(), value_, count,
        [to = run_.data()](std::int64_t sum) mutable { *to++ = static_cast<double>(sum); });
    if (next == nullptr) return End(ChemStationEnd::kCut);
    reader_.Skip(static_cast<std::size_t>(next - bytes.data()));
    if (count > 0) return count;
  }
}

std::size_t ChemStationSignal::NextDoubleDeltas() {
  if (reader_.position() >= layout_.end)
    return End(layout_.has_end_mark ? ChemStationEnd::kMarked : ChemStationEnd::kUnmarked);
  const auto bytes = reader_.Ahead(kDoubleAbsoluteSize);
  const char* at = bytes.data();
  const char* const end =
      at + std::min<std::uint64_t>(bytes.size(), layout_.end - reader_.position());
  std::uint64_t sum = sum_;
  std::uint64_t slope = slope_;
  std::size_t count = 0;
  const auto deltas =
      std::min<std::size_t>(static_cast<std::size_t>(end - at) / kDeltaSize, kLongestRun);
  if (!HasWord<std::endian::big>(at, deltas, kDoubleAbsolute))
    for (; count < deltas; ++count) {
      sum += slope += static_cast<std::uint64_t>(std::int64_t{LoadBig<std::int16_t>(at)});
      run_[count] = static_cast<double>(static_cast<std::int64_t>(sum));
      at += kDeltaSize;
    }
  while (count < kLongestRun && end - at >= static_cast<std::ptrdiff_t>(kDeltaSize)) {
    const auto delta = LoadBig<std::int16_t>(at);
    if (delta != kDoubleAbsolute) {
      slope += static_cast<std::uint64_t>(std::int64_t{delta});
      sum += slope;
      at += kDeltaSize;
    } else {
      if (end - at < static_cast<std::ptrdiff_t>(kDoubleAbsoluteSize)) break;
      const std::int64_t high = LoadBig<std::int16_t>(at + 2);
      sum = static_cast<std::uint64_t>(high * 0x1'0000'0000) + LoadBig<std::uint32_t>(at + 4);
      slope = 0;
      at += kDoubleAbsoluteSize;
    }
    run_[count++] = static_cast<double>(static_cast<std::int64_t>(sum));
  }
  sum_ = sum;
  slope_ = slope;
  reader_.Skip(static_cast<std::size_t>(at - bytes.data()));
  return count > 0 ? count : End(ChemStationEnd::kCut);
}

std::size_t ChemStationSignal::NextDoubles() {
  const std::uint64_t left = layout_.end - std::min(layout_.end, reader_.position());
  if (left == 0) return End(ChemStationEnd::kMarked);
  const auto bytes = reader_.Ahead(sizeof(double));
  const auto count = static_cast<std::size_t>(
      std::min<std::uint64_t>({left / sizeof(double), bytes.size() / sizeof(double), kLongestRun}));
  for (std::size_t i = 0; i < count; ++i)
    run_[i] = LoadLittle<double>(bytes.data() + i * sizeof(double));
  reader_.Skip(count * sizeof(double));
  return count > 0 ? count : End(ChemStationEnd::kCut);
}

ChemStationScans::ChemStationScans(const ChemStationLayout& layout, const char* path,
                                   InputFile& file, BlockReader& reader)
    : layout_(layout), reader_(reader), end_(layout.data) {
  reader_.Begin(file, layout.data);
  if (layout.index != 0) BeginIndex(path);
}

// The size of an index is one of 16 bits, though it may be larger.
void ChemStationScans::BeginIndex(const char* path) {
  index_file_ = InputFile(path);
  const std::uint64_t size = kIndexHeadSize + kIndexEntrySize * layout_.scans;
  lost_index_ = true;
  if (!index_file_.is_open() || layout_.index > layout_.size || size > layout_.size - layout_.index)
    return;
  index_.Begin(index_file_, layout_.index);
  const auto bytes = index_.Ahead(kIndexHeadSize);
  if (bytes.size() < kIndexHeadSize) return;
  ByteReader head(bytes);
  if (head.U16() != kIndexLabel || head.U16() != (size & 0xffffU)) return;
  index_.Skip(kIndexHeadSize);
  has_index_ = true;
  lost_index_ = false;
}

bool ChemStationScans::IsScanAhead() {
  const auto bytes = reader_.Ahead(kHeadSize);
  return bytes.size() >= kHeadSize && LoadLittle<std::uint16_t>(bytes.data()) == kScanLabel;
}

// Scans lie one behind the other. Where the next does not, the index may say where it is.
void ChemStationScans::FollowIndex() {
  const auto bytes = index_.Ahead(kIndexEntrySize);
  if (bytes.size() < kIndexEntrySize) return;
  const std::uint64_t position = LoadLittle<std::uint32_t>(bytes.data());
  index_time_ = LoadLittle<std::int32_t>(bytes.data() + 4);
  index_.Skip(kIndexEntrySize);
  if (position == reader_.position()) return;
  ++misfits_;
  if (position > reader_.position() && position < layout_.index && !IsScanAhead())
    reader_.Skip(position - reader_.position());
}

bool ChemStationScans::Stop(int status) {
  status_ = reader_.failed() ? int{kChemCannotRead} : status;
  bytes_ = {};
  return false;
}

bool ChemStationScans::Next() {
  if (end_ > reader_.position()) reader_.Skip(end_ - reader_.position());
  const std::uint64_t all = has_index_ ? layout_.index : layout_.size;
  const bool is_counted = layout_.scans > 0;
  if (is_counted && number_ == layout_.scans) {
    rest_ |= has_index_ && reader_.position() != all;
    return Stop(kGood);
  }
  if (has_index_) FollowIndex();
  if (!IsScanAhead()) {
    if (is_counted)
      return Stop(reader_.position() + kHeadSize > all ? kChemCutShort : kChemDamaged);
    rest_ |= reader_.position() < all;
    return Stop(kGood);
  }
  ByteReader head(reader_.Ahead(kHeadSize));
  const std::uint64_t size = head.Seek(2).U16();
  ChemStationScan scan;
  const auto time = static_cast<std::int32_t>(head.U32());
  scan.time = time;
  scan.first = head.U16();
  scan.last = head.U16();
  scan.step = head.U16();
  bytes_ = reader_.Ahead(size);
  if (bytes_.size() < size) {
    if (is_counted) return Stop(kChemCutShort);
    is_last_cut_ = true;
    return Stop(kGood);
  }
  if (size < kLeastSize || scan.step == 0 || scan.last < scan.first) return Stop(kChemDamaged);
  bytes_ = bytes_.first(size);
  end_ = reader_.position() + size;
  if (has_index_ && index_time_ != time) ++misfits_;
  scan_ = scan;
  ++number_;
  return true;
}

}  // namespace nvimport
