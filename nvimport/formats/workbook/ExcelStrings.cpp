#include "nvimport/formats/workbook/ExcelStrings.h"

#include <algorithm>

#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/Utf16.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

namespace {

constexpr std::uint16_t kContinue = 0x003C;
constexpr int kShortestTable = 11;  // an SST record that is longer has strings
constexpr std::size_t kTableHead = 8;

// The bytes of a record from `at` on and of the CONTINUE records after it, as one.
class TableBytes {
 public:
  TableBytes(BaseStream& stream, int longest_record, bool keeps_option_byte, BiffRecord& record,
             std::size_t at)
      : stream_(stream),
        longest_record_(longest_record),
        keeps_option_byte_(keeps_option_byte),
        record_(record),
        left_(record.Text(at, static_cast<std::size_t>(record.length))) {}

  // True when nothing is left; goes on to the next record where this one is used up.
  bool AtEnd() {
    while (left_.empty() && NextRecord()) {
    }
    return left_.empty();
  }
  bool failed() const { return failed_; }

  // True once strings from here on are not what was written.
  bool damaged() const { return damaged_; }

  // Whether characters are being taken, and of which width.
  enum class Inside { kNothing, kNarrow, kWide, kTrailer };
  void Enter(Inside inside) { inside_ = inside; }
  Inside inside() const { return inside_; }

  // At most `count` bytes that lie together; none at the end.
  std::string_view Some(std::uint64_t count) {
    if (AtEnd()) return {};
    const std::string_view taken =
        left_.substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(count, left_.size())));
    left_.remove_prefix(taken.size());
    return taken;
  }

  std::uint8_t U8() { return Number<std::uint8_t>(); }
  std::uint16_t U16() { return Number<std::uint16_t>(); }
  std::uint32_t U32() { return Number<std::uint32_t>(); }

 private:
  template <typename T>
  T Number() {
    T value = 0;
    for (unsigned shift = 0; shift < 8 * sizeof(T); shift += 8) {
      if (AtEnd()) return 0;
      value = static_cast<T>(
          value | static_cast<T>(static_cast<T>(static_cast<unsigned char>(left_[0])) << shift));
      left_.remove_prefix(1);
    }
    return value;
  }

  bool NextRecord() {
    if (ended_) return false;
    const std::uint64_t position = stream_.Tell();
    const bool read = stream_.ReadRecord(longest_record_, record_);
    if (!read || record_.id != kContinue) {
      stream_.Seek(position);
      failed_ = !read;
      ended_ = true;
      return false;
    }
    left_ = record_.Text(0, static_cast<std::size_t>(record_.length));
    if (!left_.empty()) Continue();
    return true;
  }

  void Continue() {
    const char first = left_[0];
    const bool is_option = inside_ == Inside::kNarrow || inside_ == Inside::kWide;
    if (keeps_option_byte_) {
      if (is_option ? first != 0 || inside_ == Inside::kWide : first == 0) damaged_ = true;
      if (first == 0) left_.remove_prefix(1);
    } else if (is_option) {
      inside_ = (first & 0x01) != 0 ? Inside::kWide : Inside::kNarrow;
      left_.remove_prefix(1);
    }
  }

  BaseStream& stream_;
  int longest_record_;
  bool keeps_option_byte_;
  BiffRecord& record_;
  std::string_view left_;
  Inside inside_ = Inside::kNothing;
  bool ended_ = false;
  bool failed_ = false;
  bool damaged_ = false;
};

// Hands a string's characters, as they come, to `put(const char*, size)`. False when the bytes end
// before they do.
template <typename Put>
bool TakeCharacters(TableBytes& bytes, const ExcelStringHead& head, bool as_utf8, Put put) {
  using Inside = TableBytes::Inside;
  bytes.Enter(head.is_wide() ? Inside::kWide : Inside::kNarrow);
  Utf16Decoder decoder;
  std::string character;
  const auto take = [&](char32_t c) {
    character.clear();
    AppendUtf8(character, c);
    put(character.data(), character.size());
  };
  std::uint32_t left = head.characters;
  while (left > 0) {
    if (bytes.AtEnd()) break;
    if (bytes.inside() == Inside::kWide) {
      decoder.Unit(bytes.U16(), take);
      --left;
    } else {
      const std::string_view some = bytes.Some(left);
      left -= static_cast<std::uint32_t>(some.size());
      if (!as_utf8 || IsAscii(some)) {
        put(some.data(), some.size());
      } else {
        for (const char c : some) take(static_cast<unsigned char>(c));
      }
    }
  }
  decoder.End(take);
  bytes.Enter(Inside::kTrailer);
  for (std::uint64_t rest = head.trailer(); rest > 0;) {
    const std::string_view some = bytes.Some(rest);
    if (some.empty()) break;
    rest -= some.size();
  }
  bytes.Enter(Inside::kNothing);
  return left == 0;
}

// Walks over at most `claimed` strings: begin() before each, put() for its parts, end() behind it.
template <typename Visitor>
void WalkStrings(TableBytes& bytes, std::uint32_t claimed, bool as_utf8, Visitor& visitor) {
  for (std::uint32_t i = 0; i < claimed && !bytes.AtEnd(); ++i) {
    const ExcelStringHead head = ExcelStringHead::Read(bytes);
    const bool is_whole = TakeCharacters(
        bytes, head, as_utf8, [&](const char* text, std::size_t size) { visitor.Put(text, size); });
    if (!visitor.End(bytes.damaged(), is_whole)) break;
  }
}

struct Measure {
  std::uint64_t bytes = 0;
  std::uint32_t strings = 0;
  std::uint32_t good_strings = 0;
  std::uint32_t whole_strings = 0;

  void Put(const char*, std::size_t size) { bytes += size; }
  bool End(bool damaged, bool is_whole) {
    ++bytes;
    ++strings;
    if (is_whole) whole_strings = strings;
    if (!damaged) good_strings = strings;
    return bytes < ~std::uint32_t{0};
  }
};

// Another program may change the file meanwhile, so the room is watched.
struct Store {
  char* text;
  std::uint64_t room;
  std::vector<std::uint32_t>& begins;
  std::uint64_t used = 0;

  void Put(const char* bytes, std::size_t size) {
    const std::size_t fits = std::min<std::uint64_t>(size, room - used - 1);
    std::copy_n(bytes, fits, text + used);
    used += fits;
  }
  bool End(bool, bool) {
    text[used++] = '\0';
    if (used < room) begins.push_back(static_cast<std::uint32_t>(used));
    return used < room;
  }
};

}  // namespace

void ReadExcelString(const BiffRecord& record, std::size_t at, std::string& text, bool as_utf8) {
  const std::string_view bytes = record.Text(at, static_cast<std::size_t>(record.length));
  ByteReader reader(bytes);
  const ExcelStringHead head = ExcelStringHead::Read(reader);
  const std::size_t claimed = std::size_t{head.characters} * (head.is_wide() ? 2 : 1);
  const std::string_view characters = reader.Text(std::min(claimed, reader.remaining()));
  text.clear();
  if (head.is_wide())
    AppendUtf16(text, characters);
  else if (as_utf8)
    AppendLatin1(text, characters);
  else
    text = characters;
}

void ReadContinuedExcelString(BaseStream& stream, int longest_record, BiffRecord& record,
                              std::size_t at, std::string& text, bool as_utf8) {
  TableBytes bytes(stream, longest_record, /*keeps_option_byte=*/false, record, at);
  text.clear();
  TakeCharacters(bytes, ExcelStringHead::Read(bytes), as_utf8,
                 [&](const char* part, std::size_t size) { text.append(part, size); });
}

bool ExcelStrings::Read(BaseStream& stream, std::uint64_t position, int longest_record,
                        bool keeps_option_byte, bool as_utf8) {
  *this = ExcelStrings();
  const auto walk = [&](auto& visitor) {
    stream.Seek(position);
    BiffRecord record;
    if (!stream.ReadRecord(longest_record, record)) return false;
    if (record.length <= kShortestTable) return true;
    const std::uint32_t claimed = record.U32(4);
    TableBytes bytes(stream, longest_record, keeps_option_byte, record, kTableHead);
    WalkStrings(bytes, claimed, as_utf8, visitor);
    return !bytes.failed();
  };
  Measure measure;
  if (!walk(measure)) return false;
  if (measure.strings == 0) return true;
  text_ = std::make_unique<char[]>(measure.bytes);
  begins_.reserve(measure.strings);
  begins_.push_back(0);
  whole_ = measure.whole_strings;
  if (measure.good_strings < measure.strings) first_damaged_ = measure.good_strings;
  Store store{text_.get(), measure.bytes, begins_};
  return walk(store);
}

}  // namespace nvimport
