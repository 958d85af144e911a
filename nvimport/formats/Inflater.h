#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace nvimport {

// Unpacks one deflated stream, bare or as zlib wraps it, piece by piece.
class Inflater {
 public:
  enum class Wrap { kNone, kZlib };

  // False when the library was built without zlib. Then there may be no inflater.
  static bool IsBuilt();

  explicit Inflater(Wrap wrap);
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;
  ~Inflater();

  // Fills `into` as far as `packed` lasts, of which it takes off what it used. The number of bytes
  // that came.
  std::size_t Inflate(std::span<const char>& packed, std::span<char> into);

  // The stream has ended, and its check sum holds if it has one.
  bool at_end() const { return at_end_; }
  // It is damaged, or nothing came of it any more.
  bool failed() const { return failed_; }

 private:
  struct Stream;

  std::unique_ptr<Stream> stream_;
  bool at_end_ = false;
  bool failed_ = false;
};

// The CRC-32 of what had the sum before and these bytes behind it.
std::uint32_t Crc32(std::uint32_t before, std::span<const char> bytes);

// Packs bytes as one zlib stream, piece by piece. There are as many as inflaters.
class Deflater {
 public:
  Deflater();
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;
  ~Deflater();

  // Fills `into` with what comes of `bytes`, of which it takes off what it used; of the last ones
  // also with the end of the stream. The number of bytes that came, less than there is room for
  // once no more is to come of these.
  std::size_t Deflate(std::span<const char>& bytes, bool are_last, std::span<char> into);

 private:
  struct Stream;

  std::unique_ptr<Stream> stream_;
};

}  // namespace nvimport
