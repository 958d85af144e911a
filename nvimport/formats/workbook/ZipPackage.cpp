// The directory stands at the end of the file (see APPNOTE.TXT of the format).
//   end of the directory   PK 5 6   10 uint16 parts  12 uint32 its size  16 uint32 its offset
//                          20 uint16 comment
//   zip64: its place       PK 6 7   20 bytes before the end; 8 uint64 offset of the zip64 end
//   zip64: end             PK 6 6   32 uint64 parts  40 uint64 size of the directory
//                          48 uint64 its offset
//   entry                  PK 1 2   8 uint16 flags  10 uint16 method  16 uint32 CRC-32
//                          20 uint32 packed  24 uint32 unpacked  28, 30, 32 uint16 lengths of name,
//                          extra fields, comment  42 uint32 offset of the header  46 name
//   header                 PK 3 4   26, 28 uint16 lengths of name and extra fields  30 name
//   extra field            0 uint16 id  2 uint16 size; id 1 has what did not fit 32 bits, as 64

#include "nvimport/formats/workbook/ZipPackage.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "nvimport/formats/Inflater.h"
#include "nvimport/platform/BlockReader.h"
#include "nvimport/platform/ByteReader.h"

namespace nvimport {

namespace {

constexpr std::size_t kBlock = std::size_t{64} << 10;
constexpr std::size_t kEndSize = 22;
constexpr std::size_t kLocatorSize = 20;
constexpr std::size_t kEnd64Size = 56;
constexpr std::size_t kEntrySize = 46;
constexpr std::size_t kHeaderSize = 30;
constexpr std::uint32_t kElsewhere = 0xFFFFFFFF;
constexpr std::uint16_t kEncrypted = 1;

template <typename T>
T Field(const char* record, std::size_t at) {
  return LoadLittle<T>(record + at);
}

bool Begins(std::string_view text, std::string_view signature) {
  return text.substr(0, signature.size()) == signature;
}

// The numbers of an entry that stand in its extra field, if they do.
void TakeLongNumbers(std::string_view extra, std::initializer_list<std::uint64_t*> numbers) {
  constexpr std::uint16_t kZip64 = 1;
  constexpr std::size_t kHead = 4;
  while (extra.size() >= kHead) {
    const auto id = Field<std::uint16_t>(extra.data(), 0);
    const std::size_t size =
        std::min<std::size_t>(Field<std::uint16_t>(extra.data(), 2), extra.size() - kHead);
    std::string_view field = extra.substr(kHead, size);
    extra.remove_prefix(kHead + size);
    if (id != kZip64) continue;
    for (std::uint64_t* number : numbers) {
      if (*number != kElsewhere || field.size() < sizeof *number) continue;
      *number = Field<std::uint64_t>(field.data(), 0);
      field.remove_prefix(sizeof *number);
    }
  }
}

}  // namespace

// What is left of the open part, packed and unpacked.
struct ZipPackage::Unpacker {
  explicit Unpacker(const Place& place)
      : packed(place.packed), size(place.size), sum(place.sum), has_sum(!place.is_file) {
    if (place.method == Z_DEFLATED) inflater.emplace(Inflater::Wrap::kNone);
  }

  std::uint64_t packed;
  std::uint64_t size;
  std::uint32_t sum;
  bool has_sum;
  std::uint32_t sum_so_far = 0;
  std::optional<Inflater> inflater;  // unless the bytes stand as they are
  std::span<const char> ahead{};     // in `input`
  std::array<char, kBlock> input;
};

ZipPackage::ZipPackage() = default;

ZipPackage::~ZipPackage() = default;

bool ZipPackage::Open(const char* path) {
  file_ = InputFile(path);
  size_ = file_.is_open() ? file_.size() : 0;
  budget_ = Budget(size_);
  Directory directory{};
  return FindDirectory(directory) && ReadDirectory(directory);
}

bool ZipPackage::OpenAsPart(const char* path) {
  file_ = InputFile(path);
  if (!file_.is_open()) return false;
  size_ = file_.size();
  budget_ = Budget(size_);
  parts_.clear();
  parts_.try_emplace("", Place{0, size_, size_, 0, 0, false, /*is_file=*/true});
  return true;
}

std::string ZipPackage::KeyOf(std::string_view name) {
  std::string key(name.substr(name.starts_with('/') ? 1 : 0));
  for (char& c : key) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c == '\\') c = '/';
  }
  return key;
}

bool ZipPackage::ReadAt(std::uint64_t position, std::span<char> into) {
  return position <= size_ && file_.Seek(position) &&
         file_.Read(into) == static_cast<std::ptrdiff_t>(into.size());
}

// An archive may stand behind something else, which moves all offsets by `base`.
bool ZipPackage::FindDirectory(Directory& directory) {
  constexpr std::size_t kLongestComment = 0xFFFF;
  const auto tail_size =
      static_cast<std::size_t>(std::min<std::uint64_t>(size_, kEndSize + kLongestComment));
  std::vector<char> bytes(tail_size);
  if (tail_size < kEndSize || !ReadAt(size_ - tail_size, bytes)) return false;
  const std::string_view tail(bytes.data(), bytes.size());
  const std::size_t at = tail.rfind("PK\5\6", tail_size - kEndSize);
  if (at == std::string_view::npos) return false;
  std::uint64_t length = Field<std::uint32_t>(&tail[at], 12);
  std::uint64_t offset = Field<std::uint32_t>(&tail[at], 16);
  directory.parts = Field<std::uint16_t>(&tail[at], 10);
  directory.end = size_ - tail_size + at;
  if (at >= kLocatorSize && Begins(tail.substr(at - kLocatorSize), "PK\6\7")) {
    const auto position = Field<std::uint64_t>(&tail[at - kLocatorSize], 8);
    std::array<char, kEnd64Size> end64{};
    if (!ReadAt(position, end64) || !Begins({end64.data(), 4}, "PK\6\6")) return false;
    directory.parts = Field<std::uint64_t>(end64.data(), 32);
    directory.has_all_bits = true;
    length = Field<std::uint64_t>(end64.data(), 40);
    offset = Field<std::uint64_t>(end64.data(), 48);
    directory.end = position;
  }
  if (length > directory.end || offset > directory.end - length) return false;
  directory.begin = directory.end - length;
  directory.base = directory.begin - offset;
  return true;
}

bool ZipPackage::ReadDirectory(const Directory& directory) {
  constexpr std::size_t kKept = 192;  // of a part beside its name
  BlockReader reader;
  reader.Begin(file_, directory.begin);
  std::uint64_t parts = 0;
  std::uint64_t packed = 0;
  for (; reader.position() < directory.end; ++parts) {
    const auto head = reader.Ahead(kEntrySize);
    if (head.size() < kEntrySize || !Begins({head.data(), 4}, "PK\1\2")) return false;
    const std::size_t name_size = Field<std::uint16_t>(head.data(), 28);
    const std::size_t extra_size = Field<std::uint16_t>(head.data(), 30);
    const std::size_t comment_size = Field<std::uint16_t>(head.data(), 32);
    const auto entry = reader.Ahead(kEntrySize + name_size + extra_size);
    if (entry.size() < kEntrySize + name_size + extra_size) return false;
    const char* const record = entry.data();
    Place place{
        Field<std::uint32_t>(record, 42), Field<std::uint32_t>(record, 20),
        Field<std::uint32_t>(record, 24), Field<std::uint32_t>(record, 16),
        Field<std::uint16_t>(record, 10), (Field<std::uint16_t>(record, 8) & kEncrypted) != 0};
    TakeLongNumbers({record + kEntrySize + name_size, extra_size},
                    {&place.size, &place.packed, &place.header});
    place.header += directory.base;
    // Parts that lie in one another would unpack to any multiple of the file.
    if (place.packed > size_ - packed) return false;
    packed += place.packed;
    if (!budget_.Take(kKept + name_size)) return false;
    parts_.try_emplace(KeyOf({record + kEntrySize, name_size}), place);
    reader.Skip(kEntrySize + name_size + extra_size + comment_size);
  }
  // An entry whose lengths are damaged takes others with it.
  const std::uint64_t stated = directory.has_all_bits ? parts : parts & 0xFFFF;
  return !reader.failed() && reader.position() == directory.end && stated == directory.parts;
}

bool ZipPackage::OpenPart(std::string_view name) {
  // No deflated byte stands for more; the rest is for what hardly is one.
  constexpr std::uint64_t kMostRatio = 1032;
  constexpr std::uint64_t kSmallest = 1024;
  unpacker_.reset();
  buffer_.Clear(0);
  failed_ = is_too_large_ = false;
  part_size_ = 0;
  const auto found = parts_.find(KeyOf(name));
  if (found == parts_.end()) return false;
  const Place& place = found->second;
  part_size_ = place.size;
  is_too_large_ = place.size > kSmallest && (place.size - kSmallest) / kMostRatio > place.packed;
  const bool is_known =
      place.method == Z_DEFLATED || (place.method == 0 && place.packed == place.size);
  if (is_too_large_ || place.is_encrypted || !is_known) return false;
  std::uint64_t position = 0;
  if (!place.is_file && !FindBytes(found->first, place, position)) return false;
  unpacker_ = std::make_unique<Unpacker>(place);
  return file_.Seek(position);
}

// Where a part's bytes begin. False when its header is not there or is that of another part.
bool ZipPackage::FindBytes(std::string_view key, const Place& place, std::uint64_t& position) {
  std::array<char, kHeaderSize> header{};
  if (!ReadAt(place.header, header) || !Begins({header.data(), 4}, "PK\3\4")) return false;
  std::string name(Field<std::uint16_t>(header.data(), 26), '\0');
  if (!ReadAt(place.header + kHeaderSize, name) || KeyOf(name) != key) return false;
  position = place.header + kHeaderSize + name.size() + Field<std::uint16_t>(header.data(), 28);
  return true;
}

void ZipPackage::EndPart(bool is_good) {
  failed_ = failed_ || !is_good;
  unpacker_.reset();
}

void ZipPackage::Skip(std::uint64_t count) {
  while (count > buffer_.size()) {
    count -= buffer_.size();
    buffer_.Skip(buffer_.size());
    Fill(1);
    if (buffer_.size() == 0) return;
  }
  buffer_.Skip(static_cast<std::size_t>(count));
}

bool ZipPackage::PassRest() {
  while (unpacker_) Skip(buffer_.size() + 1);
  return !failed_;
}

void ZipPackage::Fill(std::size_t least) {
  least = std::min(least, kMostAhead);
  while (unpacker_ && buffer_.size() < least)
    buffer_.Fill(kBlock, [this](std::span<char> into) { return Unpack(into); });
}

// Ends the part where all that is stated has come, and where it is damaged.
std::ptrdiff_t ZipPackage::Unpack(std::span<char> into) {
  Unpacker& part = *unpacker_;
  into = into.first(static_cast<std::size_t>(std::min<std::uint64_t>(into.size(), part.size)));
  if (part.ahead.empty() && part.packed > 0) {
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(part.input.size(), part.packed));
    const std::ptrdiff_t got = file_.Read(std::span(part.input).first(wanted));
    if (got <= 0) {
      EndPart(false);
      return 0;
    }
    part.ahead = std::span(part.input).first(static_cast<std::size_t>(got));
    part.packed -= part.ahead.size();
  }
  std::size_t count = 0;
  bool is_good = true;
  bool is_last = false;
  if (part.inflater) {
    count = part.inflater->Inflate(part.ahead, into);
    is_last = part.inflater->at_end() || count == part.size;
    is_good = !part.inflater->failed();
  } else {
    count = std::min(into.size(), part.ahead.size());
    std::ranges::copy(part.ahead.first(count), into.begin());
    part.ahead = part.ahead.subspan(count);
    is_last = count == part.size;
  }
  part.size -= count;
  if (part.has_sum) part.sum_so_far = Crc32(part.sum_so_far, into.first(count));
  if (!is_good || is_last) EndPart(is_good && part.size == 0 && part.sum_so_far == part.sum);
  return static_cast<std::ptrdiff_t>(count);
}

}  // namespace nvimport
