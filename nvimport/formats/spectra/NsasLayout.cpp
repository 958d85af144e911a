// NSAS, little-endian, in blocks of 128 bytes. A DA file holds spectra, each a block that begins
// with a header of 80 bytes, then the values as float32 in as many blocks as they need:
//   0 int16    instrument model   14 int16 values (n)          30 int16 constituents
//   2 int16    spectrum number    16 int16 first wavelength    64 int16 three fields of the date
//   4 char[10] sample name        18 int16 end wavelength      70 int16 hour, minute, second
// The values lie (end - first) / n apart, so that the last lies one step before the end.
// The CN file beside it holds a block for each spectrum, the constituents as float32; before these,
// in one of its two versions, three blocks with their names, char[10] each.

#include "nvimport/formats/spectra/NsasLayout.h"

#include <algorithm>
#include <string_view>

#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/ByteReader.h"

namespace nvimport {

namespace {

constexpr std::size_t kBlockSize = 128;
constexpr std::size_t kHeaderSize = 80;
constexpr std::size_t kCnHeaderSize = 3 * kBlockSize;
constexpr std::size_t kNameWidth = 10;

NsasName GetHeaderChar(std::string_view field) {
  field = field.substr(0, field.find('\0'));
  const auto is_visible = [](char c) { return static_cast<unsigned char>(c) > ' '; };
  while (!field.empty() && !is_visible(field.front())) field.remove_prefix(1);
  while (!field.empty() && !is_visible(field.back())) field.remove_suffix(1);
  NsasName name{};
  field.copy(name.data(), kNameWidth);
  return name;
}

}  // namespace

void NsasDaFile::Begin(InputFile& file) {
  size_ = file.size();
  reader_.Begin(file, 0);
}

int NsasDaFile::ReadDaHeader(const NsasRecord* first, NsasRecord& record) {
  const auto bytes = reader_.Ahead(kBlockSize);
  if (bytes.size() < kHeaderSize) return kDaHeaderCut;
  ByteReader reader(bytes);
  SpectrumGrid& axis = record.axis;
  record.model = reader.I16();
  record.number = reader.I16();
  record.name = GetHeaderChar(reader.Text(kNameWidth));
  axis.points = reader.I16();
  axis.first = reader.I16();
  const int end = reader.I16();
  axis.spacing = axis.points < 1 ? 0 : (end - axis.first) / axis.points;
  axis.last = axis.first + (axis.points - 1) * axis.spacing;
  axis.State(end, std::max(axis.points, 0));
  record.constituents = reader.Seek(30).I16();
  reader.Seek(64);
  for (const std::size_t field : {2U, 1U, 0U, 3U, 4U, 5U}) record.time[field] = reader.I16();
  // The last wavelength is then not below the first.
  if (axis.first <= 0 || axis.spacing <= 0 || record.constituents < 0) return kDaBadHeader;
  if (first != nullptr &&
      (axis.spacing != first->axis.spacing || record.constituents != first->constituents))
    return kDaHeadersDiffer;
  if (bytes.size() < kBlockSize) return kDaHeaderFillerCut;
  reader_.Skip(kBlockSize);
  record.data = reader_.position();
  return kGood;
}

bool NsasDaFile::SkipDa(const NsasRecord& record) {
  const std::uint64_t end = (record.data_end() + kBlockSize - 1) / kBlockSize * kBlockSize;
  reader_.Skip(end - reader_.position());
  return end <= size_;
}

bool NsasCnFile::Begin(InputFile& file, std::uint64_t spectra) {
  const std::uint64_t values = spectra * kBlockSize;
  has_names_ = file.size() == kCnHeaderSize + values;
  reader_.Begin(file, 0);
  return has_names_ || file.size() == values;
}

int NsasCnFile::ReadCnHeader(std::span<NsasName> names) {
  std::ranges::fill(names, NsasName{});
  if (!has_names_) return kGood;
  const auto bytes = reader_.Ahead(kCnHeaderSize);
  if (bytes.size() < kCnHeaderSize) return kCnNamesCut;
  ByteReader reader(bytes);
  for (NsasName& name : names) name = GetHeaderChar(reader.Text(kNameWidth));
  reader_.Skip(kCnHeaderSize);
  return kGood;
}

int NsasCnFile::ReadConstituensValues(std::span<float> values) {
  const auto bytes = reader_.Ahead(kBlockSize);
  ByteReader reader(bytes);
  for (float& value : values) value = reader.F32();
  if (!reader.ok()) return kCnValuesCut;
  if (bytes.size() < kBlockSize) return kCnFillerCut;
  reader_.Skip(kBlockSize);
  return kGood;
}

}  // namespace nvimport
