// What SPC files say of themselves, as their maker's header file for programmers (SPC.H, with
// the maker's paper on the format) has it. Offsets in the header of the new layout,
// whose fields are fNAME, then in the header of the old one, whose fields are oNAME:
//   2 uint8    exper (kind of experiment)    -
//   28 uint8   xtype, ytype, ztype           16 uint8 xtype, ytype
//   32 uint32  date (from the lowest bit on minute 6, hour 5, day 5, month 4, year 12)
//                                            18 uint16 year (the highest 4 bits are ztype)
//                                            20 uint8 month, day, hour, minute
//   36 char[9] res                           24 char[8] res
//   45 char[9] source                        -
//   54 uint16  peakpt                        32 int16 peakpt   34 int16 nscans
//   88 char[130] cmnt                        64 char[130] cmnt
//   218 char[30] catxt (labels of x, y, z)   194 char[30] catxt
//   248 uint32 logoff   252 uint32 mods   256 uint8 procs   257 uint8 level   258 uint16 sampin
//   260 float32 factor   264 char[48] method   312 float32 zinc   316 uint32 wplanes
//   320 float32 winc   324 uint8 wtype
// and in that of a sub-file:
//   2 uint16 subindx   4 float32 subtime (z)   8 float32 subnext   12 float32 subnois
//   20 uint32 subscan   24 float32 subwlevel
// The log, at logoff: uint32 sizes of the block on disk and in memory, logtxto (where its text
// begins), logbins (bytes of its binary part), logdsks.

#include "nvimport/formats/spectra/SpcDescription.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <span>
#include <string>
#include <string_view>

#include "nvimport/platform/BlockReader.h"
#include "nvimport/platform/ByteReader.h"

namespace nvimport {

namespace {

// Of the flags of a file: the labels of axes stand in catxt.
constexpr unsigned kHasLabels = 0x20;
constexpr std::size_t kNewHeaderSize = 512;
constexpr std::size_t kOldHeaderSize = 256;

// What a code of an axis, or of an experiment, stands for. Code 0 stands for anything.
struct CodeText {
  unsigned code;
  std::string_view label;
  std::string_view unit = {};
};

constexpr CodeText kXTypes[] = {
    // of z and w too
    {1, "Wavenumber", "cm-1"},
    {2, "Micrometers", "um"},
    {3, "Nanometers", "nm"},
    {4, "Seconds"},
    {5, "Minutes"},
    {6, "Hertz", "Hz"},
    {7, "Kilohertz", "KHz"},
    {8, "Megahertz", "MHz"},
    {9, "Mass", "M/z"},
    {10, "Parts per million", "PPM"},
    {11, "Days"},
    {12, "Years"},
    {13, "Raman Shift", "cm-1"},
    {14, "Electron Volts", "eV"},
    {16, "Diode Number"},
    {17, "Channel"},
    {18, "Degrees"},
    {19, "Temperature", "F"},
    {20, "Temperature", "C"},
    {21, "Temperature", "K"},
    {22, "Data Points"},
    {23, "Milliseconds", "mSec"},
    {24, "Microseconds", "uSec"},
    {25, "Nanoseconds", "nSec"},
    {26, "Gigahertz", "GHz"},
    {27, "Centimeters", "cm"},
    {28, "Meters", "m"},
    {29, "Millimeters", "mm"},
    {30, "Hours"},
    {255, "Double interferogram"},
};

constexpr CodeText kYTypes[] = {
    {1, "Interferogram"},
    {2, "Absorbance"},
    {3, "Kubelka-Munk"},
    {4, "Counts"},
    {5, "Volts"},
    {6, "Degrees"},
    {7, "Milliamps"},
    {8, "Millimeters"},
    {9, "Millivolts"},
    {10, "Log(1/R)"},
    {11, "Percent"},
    {12, "Intensity"},
    {13, "Relative Intensity"},
    {14, "Energy"},
    {16, "Decibel"},
    {19, "Temperature", "F"},
    {20, "Temperature", "C"},
    {21, "Temperature", "K"},
    {22, "Index of Refraction [N]"},
    {23, "Extinction Coeff. [K]"},
    {24, "Real"},
    {25, "Imaginary"},
    {26, "Complex"},
    {128, "Transmission"},
    {129, "Reflectance"},
    {130, "Arbitrary or Single Beam with Valley Peaks"},
    {131, "Emission"},
};

constexpr CodeText kExperiments[] = {
    {1, "Gas Chromatogram"},
    {2, "General Chromatogram"},
    {3, "HPLC Chromatogram"},
    {4, "FT-IR, FT-NIR, FT-Raman Spectrum or Igram"},
    {5, "NIR Spectrum"},
    {7, "UV-VIS Spectrum"},
    {8, "X-ray Diffraction Spectrum"},
    {9, "Mass Spectrum"},
    {10, "NMR Spectrum or FID"},
    {11, "Raman Spectrum"},
    {12, "Fluorescence Spectrum"},
    {13, "Atomic Spectrum"},
    {14, "Chromatography Diode Array Spectra"},
};

// A text field, which ends at a NUL.
std::string_view Field(ByteReader& reader, std::size_t width) {
  std::string_view text = reader.Text(width);
  text = text.substr(0, text.find('\0'));
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

// The fields that both layouts have, the further ones only the new one.
struct Header {
  unsigned flags = 0;
  unsigned experiment = 0;
  std::array<unsigned, 3> types{};  // of x, y, z
  std::array<int, 5> date{};        // year, month, day, hour, minute
  std::string_view resolution;
  std::string_view source;
  int peak_point = 0;
  int scans = 0;
  std::string_view comment;
  std::string_view labels;
  std::uint64_t log = 0;
  std::uint32_t modifications = 0;
  int processing = 0;
  int level = 0;
  int injection = 0;
  float factor = 0;
  std::string_view method;
  float z_step = 0;
  std::uint32_t w_planes = 0;
  float w_step = 0;
  unsigned w_type = 0;
};

// Of a sub-file.
struct SubHeader {
  int index = 0;
  float time = 0;
  float next = 0;
  float noise = 0;
  std::uint32_t scans = 0;
  float w = 0;
};

Header ReadNewHeader(ByteReader reader) {
  Header header;
  header.flags = reader.U8();
  header.experiment = reader.Seek(2).U8();
  reader.Seek(28);
  for (unsigned& type : header.types) type = reader.U8();
  std::uint32_t date = reader.Seek(32).U32();
  constexpr std::array<unsigned, 5> kBits = {12, 4, 5, 5, 6};
  for (std::size_t i = kBits.size(); i-- > 0; date >>= kBits[i])
    header.date[i] = static_cast<int>(date & ((1U << kBits[i]) - 1));
  header.resolution = Field(reader, 9);
  header.source = Field(reader, 9);
  header.peak_point = reader.U16();
  header.comment = Field(reader.Seek(88), 130);
  header.labels = reader.Text(30);
  header.log = reader.U32();
  header.modifications = reader.U32();
  header.processing = reader.U8();
  header.level = reader.U8();
  header.injection = reader.U16();
  header.factor = reader.F32();
  header.method = Field(reader, 48);
  header.z_step = reader.F32();
  header.w_planes = reader.U32();
  header.w_step = reader.F32();
  header.w_type = reader.U8();
  return header;
}

Header ReadOldHeader(ByteReader reader) {
  Header header;
  header.flags = reader.U8();
  reader.Seek(16);
  header.types = {reader.U8(), reader.U8()};
  const unsigned year = reader.U16();
  header.types[2] = year >> 12;
  header.date = {static_cast<int>(year & 0xfff), reader.U8(), reader.U8(), reader.U8(),
                 reader.U8()};
  header.resolution = Field(reader, 8);
  header.peak_point = reader.I16();
  header.scans = reader.I16();
  header.comment = Field(reader.Seek(64), 130);
  header.labels = reader.Text(30);
  return header;
}

class SpcDescriber {
 public:
  SpcDescriber(const std::string& path, const SpcFile& layout, int above, bool alone,
               SpectraStatements& statements)
      : input_(path.c_str()),
        layout_(layout),
        above_(above),
        alone_(alone),
        statements_(statements) {}

  void Describe() {
    const std::size_t size = layout_.is_old ? kOldHeaderSize : kNewHeaderSize;
    const auto got = input_.is_open() ? input_.Read(std::span(bytes_).first(size)) : -1;
    if (got != static_cast<std::ptrdiff_t>(size)) return;
    const ByteReader reader(bytes_, layout_.byte_order);
    header_ = layout_.is_old ? ReadOldHeader(reader) : ReadNewHeader(reader);
    NameAxes();
    // Several files: what one says, it says of each of its rows, unless these are many.
    const bool is_once = alone_ || layout_.sub_files > SpectraStatements::kMostRepeated;
    for (int i = 0; i < layout_.sub_files && !statements_.full(); ++i) {
      const int row = alone_ ? 0 : above_ + 1 + i;
      StateHeader(row);
      if (header_.log != 0) StateLog(row);
      if (is_once) break;
    }
    StateSubFiles();
  }

 private:
  // The label of a field by its name in the new layout: in the old one it begins with an o.
  std::string_view Label(std::string_view name) {
    label_ = name;
    if (layout_.is_old) label_.front() = 'o';
    return label_;
  }

  void StateHeader(int row) {
    const Header& header = header_;
    StateCode("fexper", kExperiments, header.experiment, row);
    StateCode(Label("fxtype"), kXTypes, header.types[0], row);
    StateCode(Label("fytype"), kYTypes, header.types[1], row);
    StateCode(Label("fztype"), kXTypes, header.types[2], row);
    StateDate(row);
    statements_.StateIfAny(Label("fres"), header.resolution, row);
    statements_.StateIfAny("fsource", header.source, row);
    statements_.StateIfNotZero(Label("fpeakpt"), header.peak_point, row);
    statements_.StateIfNotZero("onscans", header.scans, row);
    statements_.StateIfAny(Label("fcmnt"), header.comment, row);
    if (HasLabels())
      for (std::size_t axis = 0; axis < 3; ++axis)
        statements_.StateIfAny(Label("fcatxt"), AxisLabel(axis), row);
    statements_.StateIfNotZero("fmods", header.modifications, row);
    statements_.StateIfNotZero("fprocs", header.processing, row);
    statements_.StateIfNotZero("flevel", header.level, row);
    statements_.StateIfNotZero("fsampin", header.injection, row);
    statements_.StateIfNotZero("ffactor", header.factor, row);
    statements_.StateIfAny("fmethod", header.method, row);
    statements_.StateIfNotZero("fzinc", header.z_step, row);
    statements_.StateIfNotZero("fwplanes", header.w_planes, row);
    statements_.StateIfNotZero("fwinc", header.w_step, row);
    StateCode("fwtype", kXTypes, header.w_type, row);
  }

  static const CodeText* Find(std::span<const CodeText> codes, unsigned code) {
    const auto found = std::ranges::find(codes, code, &CodeText::code);
    return found != codes.end() ? &*found : nullptr;
  }

  void StateCode(std::string_view label, std::span<const CodeText> codes, unsigned code, int row) {
    if (code == 0) return;
    const CodeText* const known = Find(codes, code);
    if (known == nullptr) return statements_.State(label, {}, std::to_string(code), row);
    std::string text(known->label);
    if (!known->unit.empty()) text.append(" (").append(known->unit).append(")");
    statements_.State(label, text, row);
  }

  void StateDate(int row) {
    using namespace std::chrono;
    const auto& date = header_.date;
    if (date == decltype(header_.date){}) return;
    TimeStampText buffer;
    std::string text =
        FormatTimeStamp({date[0], date[1], date[2], date[3], date[4], 0}, 4, 'T', buffer);
    text.resize(text.size() - std::string_view(":00").size());
    constexpr int kFirstYear = 1900;  // some count from there, and their months from 0
    const bool is_date = date[0] >= kFirstYear && date[3] < 24 && date[4] < 60 &&
                         year_month_day{year(date[0]), month(static_cast<unsigned>(date[1])),
                                        day(static_cast<unsigned>(date[2]))}
                             .ok();
    const std::string_view label = layout_.is_old ? "oyear" : "fdate";
    if (is_date)
      statements_.State(label, text, row);
    else
      statements_.State(label, {}, text, row);
  }

  // The old layout has a code for it as well.
  bool HasLabels() const {
    constexpr unsigned kOldCode = 15;
    return (header_.flags & kHasLabels) != 0 || (layout_.is_old && header_.types[0] == kOldCode);
  }

  // The label of an axis among those that follow one another, each with a NUL behind it.
  std::string_view AxisLabel(std::size_t axis) const {
    std::string_view rest = header_.labels;
    for (; axis > 0; --axis) rest.remove_prefix(std::min(rest.find('\0'), rest.size() - 1) + 1);
    return rest.substr(0, rest.find('\0'));
  }

  void NameAxes() {
    for (const Axis axis : {Axis::kX, Axis::kY, Axis::kZ}) {
      const auto number = static_cast<std::size_t>(axis);
      std::string_view label;
      std::string_view unit;
      const std::span<const CodeText> types =
          axis == Axis::kY ? std::span<const CodeText>(kYTypes) : kXTypes;
      if (const CodeText* const known = Find(types, header_.types[number]))
        label = known->label, unit = known->unit;
      if (const std::string_view own = HasLabels() ? AxisLabel(number) : ""; !own.empty()) {
        // Most have their unit in brackets, as the labels of codes.
        const std::size_t bracket = own.ends_with(')') ? own.rfind('(') : std::string_view::npos;
        label = own.substr(0, bracket);
        label = label.substr(0, label.find_last_not_of(' ') + 1);
        unit = {};
        if (bracket != std::string_view::npos)
          unit = own.substr(bracket + 1, own.size() - bracket - 2);
      }
      statements_.Label(axis).Take(label);
      statements_.Unit(axis).Take(unit);
    }
  }

  // Each line of the log's text, and the size of its binary part.
  void StateLog(int row) {
    BlockReader& reader = reader_;
    reader.Begin(input_, header_.log);
    constexpr std::size_t kLogHeadSize = 64;
    const auto bytes = reader.Ahead(kLogHeadSize);
    if (bytes.size() < kLogHeadSize) return;
    ByteReader head(bytes, layout_.byte_order);
    const std::uint64_t size = head.U32();
    const std::uint64_t text = head.Seek(8).U32();
    statements_.StateIfNotZero("logbins", head.U32(), row);
    if (text < kLogHeadSize || text >= size) return;
    if (!statements_.budget().Work(std::min(size, layout_.size))) return statements_.Drop();
    reader.Skip(text);
    std::uint64_t left = size - text;
    std::string line;
    bool ends = false;
    while (left > 0 && !ends && !statements_.full()) {
      const auto ahead = reader.Ahead(1);
      if (ahead.empty()) break;
      const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(ahead.size(), left));
      for (const char c : ahead.first(count)) {
        ends = c == '\0';
        if (ends || c == '\r' || c == '\n') {
          StateLine(line, row);
          line.clear();
        } else if (line.size() <= Description::kLongestValue) {
          line += c;
        }
        if (ends || statements_.full()) break;
      }
      reader.Skip(count);
      left -= count;
    }
    StateLine(line, row);
  }

  void StateLine(std::string_view line, int row) {
    if (line.find_first_not_of(" \t") == std::string_view::npos) return;
    statements_.State("logtxto", line.substr(0, line.find_last_not_of(" \t") + 1), row);
  }

  // Gives `take` each sub-file's header and row, as long as that wants more.
  template <typename Take>
  void ForSubFiles(Take take) {
    SpcSubFiles sub_files(layout_, input_, reader_, statements_.budget());
    while (sub_files.number() < layout_.sub_files && sub_files.Next()) {
      // The header of the first is the end of the old main one.
      const bool is_in_main = layout_.is_old && sub_files.number() == 1;
      const std::span<const char> bytes =
          is_in_main ? std::span<const char>(bytes_).subspan(kOldHeaderSize - 32, 32)
                     : sub_files.header();
      ByteReader reader(bytes, layout_.byte_order);
      SubHeader header;
      header.index = reader.Seek(2).U16();
      header.time = reader.F32();
      header.next = reader.F32();
      header.noise = reader.F32();
      header.scans = reader.Seek(20).U32();
      header.w = reader.F32();
      if (!take(header, above_ + sub_files.number())) break;
    }
  }

  void StateSubFiles() {
    // Where all are 0 they say nothing.
    bool has_index = false;
    bool has_time = false;
    ForSubFiles([&](const SubHeader& header, int) {
      has_index |= header.index != 0;
      has_time |= header.time != 0;
      return !has_index || !has_time;
    });
    ForSubFiles([&](const SubHeader& header, int row) {
      if (has_index) statements_.StateNumber("subindx", header.index, row);
      if (has_time) statements_.StateNumber("subtime", header.time, row);
      statements_.StateIfNotZero("subnext", header.next, row);
      statements_.StateIfNotZero("subnois", header.noise, row);
      statements_.StateIfNotZero("subscan", header.scans, row);
      if (header_.w_planes != 0) statements_.StateNumber("subwlevel", header.w, row);
      return !statements_.full();
    });
  }

  InputFile input_;
  const SpcFile& layout_;
  int above_;
  bool alone_;
  SpectraStatements& statements_;
  BlockReader reader_;
  std::array<char, kNewHeaderSize> bytes_{};
  Header header_;
  std::string label_;
};

}  // namespace

void DescribeSpc(const std::string& path, const SpcFile& layout, int above, bool alone,
                 SpectraStatements& statements) {
  SpcDescriber(path, layout, above, alone, statements).Describe();
}

}  // namespace nvimport
