// Bruker OPUS, little-endian. The header:
//   0 4 bytes 0A 0A FE FE   4 double program version (a date number)
//   12 int32 offset of the directory   16 int32 entries it has room for   20 int32 entries in use
// An entry: uint32 type, int32 length in words of 4 bytes, int32 offset. Of a type, bits
//   0 part (real, imaginary, amplitude)   2 origin (sample, reference, result)
//   4 what parameters are about (0: none)   10 kind of data   15 channel   17 derivative
//   19 form (plain, information, series; 5 history)   30 as measured
// Parameters, up to one called END: char[4] name, uint16 type (0 int32, 1 double, else a text),
// uint16 length in words of 2 bytes, value. The block of type T | 10 (hexadecimal) says of data
// block T: DPF (1 float32, 2 int32), NPT points, FXV and LXV first and last x, CSF factor of y, DXU
// unit of x.
// A series begins with int32 version, spectra, offset of the first, bytes of data of each, bytes
// said of each behind them, pairs of a table.
// The layout is as the readers brukeropus and opusreader2 have it, both published under MIT.

#include "nvimport/formats/spectra/OpusLayout.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <utility>

#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

namespace {

constexpr std::string_view kMagic = "\x0a\x0a\xfe\xfe";
constexpr std::size_t kHeaderSize = 24;
constexpr std::size_t kEntrySize = 12;
constexpr std::uint64_t kWordSize = 4;
constexpr std::uint32_t kStatusBit = 0x10;  // of a type: it says of what is the same without

// A block in memory, its name in lists and questions included.
constexpr std::uint64_t kRoomOfBlock = sizeof(OpusBlock) + sizeof(OpusData) + 512;

struct KindText {
  std::uint8_t kind;
  std::string_view name;
};

// In the order in which they are what a file is about.
constexpr KindText kKinds[] = {
    {OpusBlock::kAbsorbance, "Absorbance"},
    {OpusBlock::kTransmittance, "Transmittance"},
    {OpusBlock::kReflectance, "Reflectance"},
    {OpusBlock::kRaman, "Raman"},
    {OpusBlock::kKubelkaMunk, "Kubelka-Munk"},
    {OpusBlock::kAtr, "ATR"},
    {OpusBlock::kLogReflectance, "Log Reflectance"},
    {OpusBlock::kPhotoacoustic, "Photoacoustic"},
    {OpusBlock::kEmission, "Emission"},
    {OpusBlock::kPower, "Power"},
    {18, "Arithmetic Result"},
    {19, "Arithmetic Result"},
    {OpusBlock::kSpectrum, "Spectrum"},
    {OpusBlock::kSpectra, "Spectra"},
    {OpusBlock::kTrace, "Trace"},
    {OpusBlock::kMatch, "Match"},
    {OpusBlock::kPhase, "Phase"},
    {OpusBlock::kInterferogram, "Interferogram"},
    {OpusBlock::kInterferograms, "Interferograms"},
};

int PlaceOf(unsigned kind) {
  return static_cast<int>(std::ranges::find(kKinds, kind, &KindText::kind) - std::begin(kKinds));
}

// What a status block says.
void ReadStatus(InputFile& input, BlockReader& reader, const OpusBlock& block, Budget& budget,
                OpusData& data) {
  std::int32_t points = 0;
  std::int32_t format = 1;
  double first = NAN;
  double last = NAN;
  OpusParameters parameters(input, reader, block, budget);
  for (OpusParameter one; parameters.Next(one);) {
    if (one.name == "NPT") points = one.Whole().value_or(0);
    if (one.name == "DPF") format = one.Whole().value_or(0);
    if (one.name == "FXV") first = one.Number().value_or(NAN);
    if (one.name == "LXV") last = one.Number().value_or(NAN);
    if (one.name == "CSF") data.factor = one.Number().value_or(NAN);
    if (one.name == "DXU") data.unit = one.Text();
  }
  const bool is_damaged = points < 1 || (format != 1 && format != 2) || !std::isfinite(first) ||
                          !std::isfinite(last) || !std::isfinite(data.factor);
  if (is_damaged) data.problem = kOpusBadBlock;
  data.has_wholes = format == 2;
  SpectrumGrid& axis = data.axis;
  axis = {first, points > 1 ? last : first, 0, points};
  if (points > 1) {
    axis.spacing = (last - first) / (points - 1);
    axis.State(last, points - 1);
  }
}

// Finds the spectra of a series, and how many of them there are.
bool ReadSeries(InputFile& input, BlockReader& reader, std::uint64_t size, OpusData& data) {
  constexpr std::size_t kHead = 24;
  constexpr std::uint64_t kPair = 8;
  reader.Begin(input, data.block.offset);
  const auto bytes = reader.Ahead(kHead);
  if (bytes.size() < kHead || size < kHead) return false;
  ByteReader head(bytes);
  head.Skip(sizeof(std::int32_t));
  const std::int64_t count = head.I32();
  const std::int64_t offset = head.I32();
  const std::int64_t of_each = head.I32();
  const std::int64_t said = head.I32();
  const std::int64_t pairs = head.I32();
  const std::uint64_t points = static_cast<std::uint64_t>(data.axis.points) * kWordSize;
  if (count < 1 || pairs < 0 || said < 0 || of_each < 0 ||
      static_cast<std::uint64_t>(of_each) < points ||
      offset < static_cast<std::int64_t>(kHead + static_cast<std::uint64_t>(pairs) * kPair))
    return false;
  data.first = data.block.offset + static_cast<std::uint64_t>(offset);
  data.said = static_cast<std::uint64_t>(said);
  data.stride = static_cast<std::uint64_t>(of_each) + data.said;
  const std::uint64_t room = size - std::min(size, static_cast<std::uint64_t>(offset));
  // What is said of the last may be cut off.
  const std::uint64_t whole = room < points ? 0 : (room - points) / data.stride + 1;
  data.spectra = static_cast<int>(std::min(whole, static_cast<std::uint64_t>(count)));
  data.cut = static_cast<int>(count) - data.spectra;
  return data.spectra > 0;
}

// Whether the values are there.
void FindValues(InputFile& input, BlockReader& reader, OpusData& data) {
  const OpusBlock& block = data.block;
  const unsigned form = block.form();
  if (form != OpusBlock::kPlain && form != OpusBlock::kSeries) data.problem = kOpusOtherForm;
  if (data.problem != kGood) return;
  const std::uint64_t file_size = input.size();
  const std::uint64_t size = std::min(block.size, file_size - std::min(file_size, block.offset));
  data.first = block.offset;
  const bool is_whole = form == OpusBlock::kSeries
                            ? ReadSeries(input, reader, size, data)
                            : static_cast<std::uint64_t>(data.axis.points) * kWordSize <= size;
  if (!is_whole) data.problem = kOpusBadBlock;
}

}  // namespace

std::string OpusBlock::Name() const {
  std::string name = origin() == kSample ? "Sample " : origin() == kReference ? "Reference " : "";
  if (const int place = PlaceOf(kind()); place < static_cast<int>(std::size(kKinds)))
    name += kKinds[place].name;
  else
    name += "Data of kind " + std::to_string(kind());
  if (derivative() > 0) name += ", derivative " + std::to_string(derivative());
  if (part() == 1) name += ", real part";
  if (part() == 2) name += ", imaginary part";
  if (channel() > 0) name += ", channel " + std::to_string(channel() + 1);
  return name;
}

// Results come before what they were made of, a sample before its reference, and what became of a
// measurement before itself.
int OpusBlock::Rank() const {
  constexpr int kOfKinds = 64;
  const bool is_single_channel = (kind() == kSpectrum || kind() == kSpectra) && origin() != kResult;
  const int stage = IsInterferogram() ? 3 : is_single_channel || kind() == kPhase ? 2 : 1;
  const int of_reference = origin() == kReference ? 1 : 0;
  const int kind_and_stage = (stage * kOfKinds + PlaceOf(kind())) * 2 + of_reference;
  return ((kind_and_stage * 4 + static_cast<int>(derivative())) * 4 + static_cast<int>(channel())) *
             2 +
         (is_original() ? 1 : 0);
}

std::string OpusFile::NameOf(const OpusBlock& block) const {
  const std::uint32_t came_of_it = block.type & ~(OpusBlock::kOriginal | kStatusBit);
  const bool is_before = block.is_original() && std::ranges::binary_search(data_types, came_of_it);
  return block.Name() + (is_before ? ", original" : "");
}

std::optional<std::int32_t> OpusParameter::Whole() const {
  if (type != 0 || bytes.size() < sizeof(std::int32_t)) return std::nullopt;
  return LoadLittle<std::int32_t>(bytes.data());
}

std::optional<double> OpusParameter::Number() const {
  if (const auto whole = Whole()) return *whole;
  if (type != 1 || bytes.size() < sizeof(double)) return std::nullopt;
  return LoadLittle<double>(bytes.data());
}

bool OpusParameters::Next(OpusParameter& parameter) {
  constexpr std::size_t kHead = 8;
  constexpr std::size_t kName = 3;
  reader_.Skip(std::exchange(taken_, 0));
  if (left_ < kHead || !budget_.Work(kHead)) return false;
  auto bytes = reader_.Ahead(kHead);
  if (bytes.size() < kHead) return false;
  const std::string_view name(bytes.data(), kName);
  const auto is_letter = [](char c) { return c > ' ' && c < '\x7f'; };
  if (name == "END" || !std::ranges::all_of(name, is_letter)) return false;
  ByteReader fields(bytes.subspan(kName + 1));
  parameter.type = fields.U16();
  const std::size_t size = std::size_t{2} * fields.U16();
  if (left_ - kHead < size || !budget_.Work(size)) return false;
  bytes = reader_.Ahead(kHead + size);
  if (bytes.size() < kHead + size) return false;
  parameter.name = {bytes.data(), kName};
  parameter.bytes = {bytes.data() + kHead, size};
  taken_ = kHead + size;
  left_ -= taken_;
  return true;
}

OpusUnit FindOpusUnit(std::string_view code) {
  static constexpr OpusUnit kUnits[] = {
      {"WN", "Wavenumber", "cm-1"}, {"MI", "Wavelength", "um"}, {"LGW", "Log Wavenumber", ""},
      {"MIN", "Time", "min"},       {"PNT", "Data Points", ""},
  };
  const auto* const known = std::ranges::find(kUnits, code, &OpusUnit::code);
  return known != std::end(kUnits) ? *known : OpusUnit{code, "", code};
}

int ReadOpusDirectory(InputFile& input, BlockReader& reader, OpusFile& file, Budget& budget) {
  const std::uint64_t size = input.size();
  // Every file is asked for its header, so no more is read of it.
  std::array<char, kHeaderSize> bytes{};
  const std::ptrdiff_t got = input.Seek(0) ? input.Read(bytes) : -1;
  if (got < 0) return kOpusReadFailed;
  if (!std::string_view(bytes.data(), bytes.size()).starts_with(kMagic)) return kOpusNotThisFormat;
  if (got < std::ssize(bytes)) return kOpusBadDirectory;
  ByteReader header(bytes);
  header.Skip(kMagic.size());
  file.version = header.F64();
  const std::int64_t offset = header.I32();
  const std::int64_t room = header.I32();
  const std::int64_t used = header.I32();
  if (offset < static_cast<std::int64_t>(kHeaderSize) || used < 1 || used > room ||
      static_cast<std::uint64_t>(offset) + static_cast<std::uint64_t>(used) * kEntrySize > size)
    return kOpusBadDirectory;
  reader.Begin(input, static_cast<std::uint64_t>(offset));
  for (std::int64_t i = 0; i < used; ++i) {
    const auto entry = reader.Ahead(kEntrySize);
    if (entry.size() < kEntrySize) return reader.failed() ? kOpusReadFailed : kOpusBadDirectory;
    ByteReader fields(entry);
    const std::uint32_t type = fields.U32();
    const std::int64_t words = fields.I32();
    const std::int64_t begin = fields.I32();
    reader.Skip(kEntrySize);
    // Room that a block has left is no block.
    if (begin <= 0 || type == 0) continue;
    if (!budget.Take(kRoomOfBlock)) return kOverBudget;
    const OpusBlock block{type, static_cast<std::uint64_t>(begin),
                          words > 0 ? static_cast<std::uint64_t>(words) * kWordSize : 0};
    file.beyond += words < 0 || block.offset + block.size > size ? 1 : 0;
    file.blocks.push_back(block);
  }
  return kGood;
}

int ReadOpusLayout(InputFile& input, BlockReader& reader, OpusFile& file, Budget& budget) {
  if (const int status = ReadOpusDirectory(input, reader, file, budget); status != kGood)
    return status;
  // Of several of a type each has its own.
  struct Waiting {
    std::vector<const OpusBlock*> blocks;
    std::size_t next = 0;
  };
  std::map<std::uint32_t, Waiting> statuses;
  for (const OpusBlock& block : file.blocks) {
    if (block.about() == OpusBlock::kData) statuses[block.type].blocks.push_back(&block);
    if (block.about() != OpusBlock::kSampleOrigin) continue;
    OpusParameters parameters(input, reader, block, budget);
    for (OpusParameter one; parameters.Next(one);) {
      // The name of a reference is that of the sample only where there is no other.
      const bool is_better = file.sample.empty() || block.origin() != OpusBlock::kReference;
      if (one.name == "SNM" && is_better && !one.Text().empty()) file.sample = one.Text();
      if (one.name == "CPG") file.code_page = one.Whole().value_or(kAnsiPage);
    }
    if (reader.failed()) return kOpusReadFailed;
  }
  for (OpusBlock& block : file.blocks) {
    if (!block.HasData()) continue;
    const auto found = statuses.find(block.type | kStatusBit);
    // Reports have none.
    if (found == statuses.end() || found->second.next == found->second.blocks.size()) continue;
    block.has_status = true;
    OpusData data;
    data.block = block;
    const OpusBlock& status = *found->second.blocks[found->second.next++];
    data.status_offset = status.offset;
    ReadStatus(input, reader, status, budget, data);
    if (!reader.failed()) FindValues(input, reader, data);
    if (reader.failed()) return kOpusReadFailed;
    file.data_types.push_back(block.type);
    file.data.push_back(std::move(data));
  }
  std::ranges::sort(file.data_types);
  return budget.overdrawn() ? int{kOverBudget} : int{kGood};
}

std::string OpusText(std::string_view bytes, int code_page) {
  if (IsUtf8(bytes)) return std::string(bytes);
  std::string text;
  AppendFromCodePage(text, bytes, code_page);
  return text;
}

}  // namespace nvimport
