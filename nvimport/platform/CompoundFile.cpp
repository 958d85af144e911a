// The header, in the first 512 bytes:
//    0 char[8]  signature                48 uint32  first sector of the directory
//   26 uint16   version, 3 or 4          56 uint32  size from which a stream has sectors of its own
//   30 uint16   log2 of a sector's size  60 uint32  first sector of the mini FAT
//   32 uint16   log2 of a mini sector's  68 uint32  first sector of the list's continuation
//                                        76 uint32[109]  the FAT's sectors, a list
// Sector n begins at (n + 1) << log2. The FAT gives each sector's successor; the mini FAT does so
// for the mini sectors of 64 bytes, which lie in the root entry's stream. A directory entry:
//    0 char16[32]  name                  68 uint32  left, right, child
//   64 uint16      its bytes, NUL too   116 uint32  first sector
//   66 uint8       kind                 120 uint64  size (in version 3 only 32 bits count)

#include "nvimport/platform/CompoundFile.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/Utf16.h"

namespace nvimport {

namespace {

constexpr std::string_view kSignature = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";
constexpr std::size_t kHeaderSize = 512;
constexpr std::size_t kListBegin = 76;
constexpr std::size_t kEntrySize = 128;
constexpr unsigned kMiniShift = 6;
constexpr std::uint32_t kLastSector = 0xFFFFFFFA;
constexpr std::uint32_t kEndOfChain = 0xFFFFFFFE;
constexpr std::uint32_t kNone = 0xFFFFFFFF;
constexpr std::uint64_t kWholeChain = ~std::uint64_t{0};

std::uint64_t UnitsFor(std::uint64_t bytes, unsigned shift) {
  return (bytes >> shift) + ((bytes & ((1U << shift) - 1)) != 0 ? 1 : 0);
}

CompoundFile::Entry ParseEntry(const char* bytes, bool is_version3) {
  CompoundFile::Entry entry;
  const std::size_t claimed = LoadLittle<std::uint16_t>(bytes + 64);
  AppendUtf16(entry.name, {bytes, std::min<std::size_t>(claimed, 64)});
  entry.name.resize(std::min(entry.name.find('\0'), entry.name.size()));
  entry.kind = static_cast<CompoundFile::Kind>(bytes[66]);
  entry.left = LoadLittle<std::uint32_t>(bytes + 68);
  entry.right = LoadLittle<std::uint32_t>(bytes + 72);
  entry.child = LoadLittle<std::uint32_t>(bytes + 76);
  entry.first_sector = LoadLittle<std::uint32_t>(bytes + 116);
  entry.size = LoadLittle<std::uint64_t>(bytes + 120);
  if (is_version3) entry.size &= 0xFFFFFFFF;
  return entry;
}

}  // namespace

void CompoundFile::Stream::Append(std::uint32_t place) {
  if (runs_.empty() || place - runs_.back().place != units_ - runs_.back().first)
    runs_.push_back({units_, place});
  ++units_;
}

bool CompoundFile::IsCompoundFile(const char* path) {
  InputFile file(path);
  std::array<char, kSignature.size()> head;
  return file.is_open() && file.Read(head) == static_cast<std::ptrdiff_t>(head.size()) &&
         std::ranges::equal(head, kSignature);
}

bool CompoundFile::Open(const char* path) {
  Close();
  file_ = InputFile(path);
  if (file_.is_open() && ReadHeader()) return true;
  Close();
  return false;
}

void CompoundFile::Close() { *this = CompoundFile(); }

bool CompoundFile::ReadHeader() {
  std::array<char, kHeaderSize> header;
  if (file_.Read(header) != static_cast<std::ptrdiff_t>(header.size()) ||
      !std::string_view(header.data(), header.size()).starts_with(kSignature))
    return false;
  const auto field = [&](std::size_t at) { return LoadLittle<std::uint32_t>(header.data() + at); };
  shift_ = LoadLittle<std::uint16_t>(header.data() + 30);
  if ((shift_ != 9 && shift_ != 12) || LoadLittle<std::uint16_t>(header.data() + 32) != kMiniShift)
    return false;
  const std::uint64_t units = UnitsFor(file_.size(), shift_);
  // The header takes the room of a sector.
  sectors_ = static_cast<std::uint32_t>(std::clamp<std::uint64_t>(units, 1, kLastSector) - 1);
  taken_.resize(sectors_);
  mini_cutoff_ = field(56);
  mini_fat_first_ = field(60);
  return ReadSectorList(header) && ReadDirectory(field(48));
}

// The sectors of the FAT, which stand in the header and in sectors chained behind it.
bool CompoundFile::ReadSectorList(std::span<const char> header) {
  fat_.stream.shift_ = shift_;
  const std::uint64_t wanted = UnitsFor(std::uint64_t{sectors_} * 4, shift_);
  std::vector<char> block(header.begin() + kListBegin, header.end());
  std::size_t listed = block.size() / 4;
  auto next = LoadLittle<std::uint32_t>(&header[68]);
  while (true) {
    for (std::size_t i = 0; i < listed; ++i) {
      if (fat_.stream.units_ == wanted) break;
      const auto sector = LoadLittle<std::uint32_t>(&block[i * 4]);
      if (sector == kNone) continue;
      if (!Take(sector)) return false;
      fat_.stream.Append(sector + 1);
    }
    if (fat_.stream.units_ == wanted || next >= kLastSector) break;
    if (!Take(next)) return false;
    block.assign(std::size_t{1} << shift_, '\xFF');
    if (!file_.Seek((std::uint64_t{next} + 1) << shift_) || file_.Read(block) < 0) return false;
    listed = block.size() / 4 - 1;
    next = LoadLittle<std::uint32_t>(&block[listed * 4]);
  }
  fat_.stream.size_ = std::uint64_t{fat_.stream.units_} << shift_;
  return true;
}

bool CompoundFile::ReadDirectory(std::uint32_t first) {
  Stream directory;
  if (!FollowSectors(first, kWholeChain, directory)) return false;
  std::vector<char> block(std::size_t{1} << shift_);
  for (std::uint64_t at = 0; at < directory.size(); at += block.size()) {
    const std::ptrdiff_t got = Read(directory, at, block);
    if (got < 0) return false;
    for (std::size_t i = 0; i + kEntrySize <= static_cast<std::size_t>(got); i += kEntrySize)
      entries_.push_back(ParseEntry(&block[i], shift_ == 9));
  }
  return !entries_.empty() && entries_[0].kind == Kind::kRoot;
}

// What follows `sector`; a number that is no sector where the table does not tell.
std::uint32_t CompoundFile::Next(Table& table, std::uint32_t sector) {
  const std::uint64_t at = std::uint64_t{sector} * 4;
  const std::uint64_t number = at >> shift_;
  if (number != table.block_number) {
    table.block.assign(std::size_t{1} << shift_, '\xFF');
    if (Read(table.stream, number << shift_, table.block) < 0) return kNone;
    table.block_number = number;
  }
  return LoadLittle<std::uint32_t>(&table.block[at & (table.block.size() - 1)]);
}

bool CompoundFile::Take(std::uint32_t sector) {
  if (sector >= sectors_ || taken_[sector]) return false;
  taken_[sector] = true;
  return true;
}

// The chain's first `wanted` sectors, or all of it.
bool CompoundFile::FollowSectors(std::uint32_t first, std::uint64_t wanted, Stream& stream) {
  stream.shift_ = shift_;
  if (wanted != kWholeChain && wanted > sectors_) return false;
  for (std::uint32_t sector = first; stream.units_ < wanted; sector = Next(fat_, sector)) {
    if (wanted == kWholeChain && sector == kEndOfChain) break;
    if (!Take(sector)) return false;
    stream.Append(sector + 1);
  }
  stream.size_ = std::uint64_t{stream.units_} << shift_;
  return true;
}

bool CompoundFile::FollowMiniSectors(std::uint32_t first, std::uint64_t wanted, Stream& stream) {
  if (!OpenMiniStream() || wanted > mini_taken_.size()) return false;
  stream.shift_ = kMiniShift;
  for (std::uint32_t sector = first; stream.units_ < wanted; sector = Next(mini_fat_, sector)) {
    if (sector >= mini_taken_.size() || mini_taken_[sector]) return false;
    mini_taken_[sector] = true;
    const unsigned ratio = shift_ - kMiniShift;
    const std::uint32_t unit = sector >> ratio;
    const auto run =
        std::prev(std::ranges::upper_bound(mini_stream_->runs_, unit, {}, &Stream::Run::first));
    const std::uint32_t place = run->place + (unit - run->first);
    // In units of 64 bytes, so that a file of 256 GiB is the end.
    if (place >= kLastSector >> ratio) return false;
    stream.Append((place << ratio) + (sector & ((1U << ratio) - 1)));
  }
  return true;
}

bool CompoundFile::OpenMiniStream() {
  if (mini_stream_) return true;
  Stream mini;
  const std::uint64_t wanted = UnitsFor(entries_[0].size, shift_);
  if (!FollowSectors(mini_fat_first_, kWholeChain, mini_fat_.stream) ||
      !FollowSectors(entries_[0].first_sector, wanted, mini))
    return false;
  mini_taken_.resize(UnitsFor(entries_[0].size, kMiniShift));
  mini_stream_ = std::move(mini);
  return true;
}

std::optional<std::vector<std::size_t>> CompoundFile::Elements(std::size_t storage) const {
  std::vector<std::size_t> elements;
  std::vector<std::uint32_t> path;
  std::vector<bool> seen(entries_.size());
  seen[storage] = true;
  std::uint32_t entry = entries_[storage].child;
  while (true) {
    for (; entry != kNone; entry = entries_[entry].left) {
      if (entry >= entries_.size() || seen[entry]) return std::nullopt;
      seen[entry] = true;
      path.push_back(entry);
    }
    if (path.empty()) return elements;
    elements.push_back(path.back());
    entry = entries_[path.back()].right;
    path.pop_back();
  }
}

const CompoundFile::Stream* CompoundFile::OpenStream(std::size_t entry) {
  if (const auto known = streams_.find(entry); known != streams_.end()) return &known->second;
  if (entry >= entries_.size() || entries_[entry].kind != Kind::kStream) return nullptr;
  const Entry& claim = entries_[entry];
  Stream stream;
  const bool holds =
      claim.size < mini_cutoff_
          ? FollowMiniSectors(claim.first_sector, UnitsFor(claim.size, kMiniShift), stream)
          : FollowSectors(claim.first_sector, UnitsFor(claim.size, shift_), stream);
  if (!holds) return nullptr;
  stream.size_ = claim.size;
  return &streams_.emplace(entry, std::move(stream)).first->second;
}

std::ptrdiff_t CompoundFile::Read(const Stream& stream, std::uint64_t position,
                                  std::span<char> into) {
  std::size_t filled = 0;
  while (filled < into.size() && position < stream.size_) {
    const auto unit = static_cast<std::uint32_t>(position >> stream.shift_);
    const auto after = std::ranges::upper_bound(stream.runs_, unit, {}, &Stream::Run::first);
    const auto run = std::prev(after);
    const std::uint32_t end = after == stream.runs_.end() ? stream.units_ : after->first;
    const auto bytes = std::min<std::uint64_t>({into.size() - filled,
                                                (std::uint64_t{end} << stream.shift_) - position,
                                                stream.size_ - position});
    const std::uint64_t place = (std::uint64_t{run->place} << stream.shift_) + position -
                                (std::uint64_t{run->first} << stream.shift_);
    if (!file_.Seek(place)) return -1;
    const std::ptrdiff_t got = file_.Read(into.subspan(filled, bytes));
    if (got < 0) return -1;
    filled += static_cast<std::size_t>(got);
    position += static_cast<std::uint64_t>(got);
    if (static_cast<std::uint64_t>(got) < bytes) break;
  }
  return static_cast<std::ptrdiff_t>(filled);
}

}  // namespace nvimport
