#include "nvimport/formats/Inflater.h"

#include <zlib.h>
#ifdef NVIMPORT_HAS_ISAL
#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>
#endif

#include <algorithm>
#include <limits>
#include <new>

namespace nvimport {

namespace {

constexpr std::size_t kMost = std::numeric_limits<uInt>::max();  // bytes at once

}  // namespace

bool Inflater::IsBuilt() { return true; }

// ISA-L takes half the time, where the machine is one that it knows.
#ifdef NVIMPORT_HAS_ISAL

struct Inflater::Stream {
  inflate_state isal;
};

Inflater::Inflater(Wrap wrap) : stream_(std::make_unique<Stream>()) {
  isal_inflate_init(&stream_->isal);
  stream_->isal.crc_flag = wrap == Wrap::kZlib ? ISAL_ZLIB : ISAL_DEFLATE;
}

Inflater::~Inflater() = default;

std::size_t Inflater::Inflate(std::span<const char>& packed, std::span<char> into) {
  inflate_state& isal = stream_->isal;
  const std::size_t taken = std::min(packed.size(), kMost);
  const std::size_t room = std::min(into.size(), kMost);
  isal.next_in = const_cast<std::uint8_t*>(reinterpret_cast<const std::uint8_t*>(packed.data()));
  isal.avail_in = static_cast<std::uint32_t>(taken);
  isal.next_out = reinterpret_cast<std::uint8_t*>(into.data());
  isal.avail_out = static_cast<std::uint32_t>(room);
  const int status = isal_inflate(&isal);
  // Of damaged input it may count more bytes as used than it was given.
  const std::size_t left = status < 0 ? 0 : isal.avail_in;
  const std::size_t count = room - std::min<std::size_t>(isal.avail_out, room);
  packed = packed.subspan(taken - left);
  at_end_ = status == ISAL_DECOMP_OK && isal.block_state == ISAL_BLOCK_FINISH;
  failed_ = !at_end_ && (status != ISAL_DECOMP_OK || (count == 0 && left == taken));
  return count;
}

std::uint32_t Crc32(std::uint32_t before, std::span<const char> bytes) {
  return crc32_gzip_refl(before, reinterpret_cast<const unsigned char*>(bytes.data()),
                         bytes.size());
}

#else

struct Inflater::Stream {
  z_stream zlib{};
};

Inflater::Inflater(Wrap wrap) : stream_(std::make_unique<Stream>()) {
  if (inflateInit2(&stream_->zlib, wrap == Wrap::kZlib ? MAX_WBITS : -MAX_WBITS) != Z_OK)
    throw std::bad_alloc();
}

Inflater::~Inflater() { inflateEnd(&stream_->zlib); }

std::size_t Inflater::Inflate(std::span<const char>& packed, std::span<char> into) {
  z_stream& zlib = stream_->zlib;
  const std::size_t taken = std::min(packed.size(), kMost);
  const std::size_t room = std::min(into.size(), kMost);
  zlib.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(packed.data()));
  zlib.avail_in = static_cast<uInt>(taken);
  zlib.next_out = reinterpret_cast<Bytef*>(into.data());
  zlib.avail_out = static_cast<uInt>(room);
  const int status = inflate(&zlib, Z_NO_FLUSH);
  if (status == Z_MEM_ERROR) throw std::bad_alloc();
  packed = packed.subspan(taken - zlib.avail_in);
  at_end_ = status == Z_STREAM_END;
  failed_ = !at_end_ && status != Z_OK;
  return room - zlib.avail_out;
}

std::uint32_t Crc32(std::uint32_t before, std::span<const char> bytes) {
  return static_cast<std::uint32_t>(
      crc32_z(before, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

#endif

struct Deflater::Stream {
  z_stream zlib{};
};

Deflater::Deflater() : stream_(std::make_unique<Stream>()) {
  if (deflateInit(&stream_->zlib, Z_DEFAULT_COMPRESSION) != Z_OK) throw std::bad_alloc();
}

Deflater::~Deflater() { deflateEnd(&stream_->zlib); }

std::size_t Deflater::Deflate(std::span<const char>& bytes, bool are_last, std::span<char> into) {
  z_stream& zlib = stream_->zlib;
  const std::size_t taken = std::min(bytes.size(), kMost);
  const std::size_t room = std::min(into.size(), kMost);
  zlib.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(bytes.data()));
  zlib.avail_in = static_cast<uInt>(taken);
  zlib.next_out = reinterpret_cast<Bytef*>(into.data());
  zlib.avail_out = static_cast<uInt>(room);
  deflate(&zlib, are_last && taken == bytes.size() ? Z_FINISH : Z_NO_FLUSH);
  bytes = bytes.subspan(taken - zlib.avail_in);
  return room - zlib.avail_out;
}

}  // namespace nvimport
