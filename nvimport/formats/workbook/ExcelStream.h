#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/CompoundFile.h"
#include "nvimport/platform/Export.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/RefillBuffer.h"

namespace nvimport {

class BiffCipher;

// A record of a workbook, in place: good until the next one is read. A field that the record is too
// short for is zero, a text is cut to the record.
struct BiffRecord {
  // Those that more than one part of the reader looks for.
  enum Id : std::uint16_t {
    kEof = 0x000A,
    kDateMode = 0x0022,
    kFilePass = 0x002F,
    kCodePage = 0x0042,
    kBoundSheet = 0x0085,
    kBundleOffsets = 0x008E,
    kBundleHeader = 0x008F,
    kXf = 0x00E0,
    kSst = 0x00FC,
    kFormat = 0x041E
  };

  std::uint16_t id = 0;
  std::int16_t length = 0;
  char* data = nullptr;  // writable, as is the byte behind the record

  bool Holds(std::size_t at, std::size_t size) const {
    return at + size <= static_cast<std::size_t>(length);
  }
  template <typename T>
  T Field(std::size_t at) const {
    return Holds(at, sizeof(T)) ? LoadLittle<T>(data + at) : T{};
  }
  std::uint8_t U8(std::size_t at) const { return Field<std::uint8_t>(at); }
  std::uint16_t U16(std::size_t at) const { return Field<std::uint16_t>(at); }
  std::uint32_t U32(std::size_t at) const { return Field<std::uint32_t>(at); }
  double F64(std::size_t at) const { return std::bit_cast<double>(Field<std::uint64_t>(at)); }

  std::string_view Text(std::size_t at, std::size_t size) const {
    const std::size_t begin = std::min(at, static_cast<std::size_t>(length));
    return {data + begin, std::min(size, static_cast<std::size_t>(length) - begin)};
  }

  std::uint8_t low_id() const { return static_cast<std::uint8_t>(id); }
};

// The bytes of a workbook through a window, from a file of its own.
class NVIMPORT_API BaseStream {
 public:
  enum class Status { kGood, kNoStorage, kNoStream };

  explicit BaseStream(const char* path);
  BaseStream(const BaseStream&) = delete;
  BaseStream& operator=(const BaseStream&) = delete;
  virtual ~BaseStream();

  Status status() const { return status_; }
  std::uint64_t size() const { return size_; }
  // That the workbook lies in; null for none.
  virtual CompoundFile* compound_file() { return nullptr; }

  std::uint64_t Tell() const { return window_.position(); }

  // Goes to `position`; beyond the end no record is read.
  void Seek(std::uint64_t position);

  // Reads the record at the current position; false, without moving, when there is none or it is
  // longer than `longest`.
  bool ReadRecord(int longest, BiffRecord& record) {
    const char* const head = Peek(kHeadSize);
    if (head == nullptr) return false;
    record.id = LoadLittle<std::uint16_t>(head);
    record.length = LoadLittle<std::int16_t>(head + 2);
    if (record.length < 0 || record.length > longest) return false;
    const std::size_t whole = kHeadSize + static_cast<std::size_t>(record.length);
    char* const bytes = Peek(whole);
    if (bytes == nullptr) return false;
    record.data = bytes + kHeadSize;
    if (cipher_) Decrypt(record);
    window_.Skip(whole);
    return true;
  }

  // Gives `pass` the bytes that are ahead, unless they are encrypted, and goes past as many as it
  // says.
  template <typename Pass>
  void PassAhead(Pass pass) {
    if (!cipher_) window_.Skip(pass(std::span<const char>(window_.data(), window_.size())));
  }

  static constexpr std::size_t kHeadSize = 4;

  // The records from here on are encrypted, and what is read of them no longer.
  void SetCipher(std::unique_ptr<BiffCipher> cipher);
  bool has_cipher() const { return cipher_ != nullptr; }

 protected:
  BaseStream() = default;

  // Makes the stream one of `size` bytes, or one that failed.
  void Set(Status status, std::uint64_t size);

 private:
  // Large enough for every record.
  static constexpr std::size_t kSmallestWindow = 16 * 1024;
  static constexpr std::size_t kLargestWindow = 256 * 1024;
  // After a jump little is read at first: who looks at a few records of each sheet jumps on.
  static constexpr std::size_t kFirstBlock = 4 * 1024;

  // Fills `into` from `position`, less only at the end. The number of bytes, or -1.
  virtual std::ptrdiff_t Fetch(std::uint64_t position, std::span<char> into);

  // The next `count` bytes, or null.
  char* Peek(std::size_t count) {
    return count <= window_.size() ? window_.data() : PeekAcross(count);
  }
  char* PeekAcross(std::size_t count);
  void Decrypt(BiffRecord& record);

  InputFile file_;
  Status status_ = Status::kGood;
  std::uint64_t size_ = 0;
  RefillBuffer window_;
  std::size_t capacity_ = 0;
  std::size_t block_ = kFirstBlock;
  std::unique_ptr<BiffCipher> cipher_;
  std::uint64_t encrypted_from_ = 0;
  std::vector<char> decrypted_;  // a record: its bytes in the window may be read once more
};

// The workbook's stream in a compound file: the first element called "Workbook" or "Book". Without
// `exact_names` in any case, and of both the former, which is the one without a code page.
class NVIMPORT_API ExcelStgStream final : public BaseStream {
 public:
  explicit ExcelStgStream(const char* path, bool exact_names = true);

  CompoundFile* compound_file() override { return &compound_file_; }

 private:
  std::ptrdiff_t Fetch(std::uint64_t position, std::span<char> into) override;

  CompoundFile compound_file_;
  const CompoundFile::Stream* stream_ = nullptr;
};

}  // namespace nvimport
