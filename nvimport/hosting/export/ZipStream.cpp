// A ZIP archive: each part behind a header, its sums behind it; the list of parts; its place.
//   part  "PK\3\4", header without sums, name, data, "PK\7\8", sums
//   list  "PK\1\2", uint16 version, header, 14 bytes unused, uint32 position, name; each
//   end   "PK\5\6", 2 x uint16 disk, 2 x uint16 parts, uint32 size and position of the list, uint16
//   header  uint16 version, flags, method; uint32 time; sums; uint16 length of the name, 0
//   sums    uint32 CRC, packed size, size

#include "nvimport/hosting/export/ZipStream.h"

#include <limits>

#include "nvimport/platform/ByteWriter.h"

namespace nvimport {

namespace {

constexpr std::uint16_t kVersion = 20;
constexpr std::uint16_t kSumsBehind = 8;  // a flag
constexpr std::uint16_t kDeflated = 8;
constexpr std::uint32_t kFirstOf1980 = 0x0021'0000;
// Sheets are written as fast as they can be: a tenth of the size more for half the time.
constexpr int kLevel = Z_BEST_SPEED;

// Of the whole and of each part.
constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();

template <typename... Numbers>
void Append(std::string& to, Numbers... numbers) {
  (AppendLittle(to, numbers), ...);
}

}  // namespace

ZipStream::ZipStream(OutputFile& file) : file_(file) {
  if (deflateInit2(&stream_, kLevel, Z_DEFLATED, -MAX_WBITS, MAX_MEM_LEVEL, Z_DEFAULT_STRATEGY) !=
      Z_OK)
    file_.Fail("there is not enough memory for it");
}

ZipStream::~ZipStream() { deflateEnd(&stream_); }

void ZipStream::BeginPart(std::string_view name) {
  parts_.push_back({std::string(name), static_cast<std::uint32_t>(position_)});
  deflateReset(&stream_);
  Put(std::string("PK\3\4") + Header({parts_.back().name, 0}));
  Put(name);
}

void ZipStream::Write(std::string_view bytes) {
  Part& part = parts_.back();
  const auto* const data = reinterpret_cast<const Bytef*>(bytes.data());
  part.sum = static_cast<std::uint32_t>(crc32_z(part.sum, data, bytes.size()));
  part.size += bytes.size();
  if (part.size > kMost) return Refuse();
  stream_.next_in = const_cast<Bytef*>(data);
  stream_.avail_in = static_cast<uInt>(bytes.size());
  Deflate(Z_NO_FLUSH);
}

void ZipStream::EndPart() {
  Deflate(Z_FINISH);
  std::string sums = "PK\7\10";
  const Part& part = parts_.back();
  Append(sums, part.sum, static_cast<std::uint32_t>(part.packed),
         static_cast<std::uint32_t>(part.size));
  Put(sums);
}

void ZipStream::End() {
  const std::uint64_t begin = position_;
  for (const Part& part : parts_) {
    std::string entry = "PK\1\2";
    Append(entry, kVersion);
    entry += Header(part);
    entry.append(10, '\0');
    Append(entry, part.position);
    Put(entry + part.name);
  }
  const auto count = static_cast<std::uint16_t>(parts_.size());
  const std::uint64_t end = position_;
  std::string last = "PK\5\6";
  Append(last, std::uint32_t{0}, count, count, static_cast<std::uint32_t>(end - begin),
         static_cast<std::uint32_t>(begin), std::uint16_t{0});
  Put(last);
  if (position_ > kMost) Refuse();
}

void ZipStream::Deflate(int flush) {
  char packed[16 * 1024];
  do {
    stream_.next_out = reinterpret_cast<Bytef*>(packed);
    stream_.avail_out = sizeof packed;
    deflate(&stream_, flush);
    const std::string_view some(packed, sizeof packed - stream_.avail_out);
    parts_.back().packed += some.size();
    Put(some);
  } while (stream_.avail_out == 0 && !file_.failed());
}

void ZipStream::Put(std::string_view bytes) {
  file_.Write(bytes);
  position_ += bytes.size();
}

void ZipStream::Refuse() {
  file_.Fail("a workbook has no more than 4 GB; CSV and Arrow have no limit");
}

std::string ZipStream::Header(const Part& part) {
  std::string header;
  Append(header, kVersion, kSumsBehind, kDeflated, kFirstOf1980, part.sum,
         static_cast<std::uint32_t>(part.packed), static_cast<std::uint32_t>(part.size),
         static_cast<std::uint16_t>(part.name.size()), std::uint16_t{0});
  return header;
}

}  // namespace nvimport
