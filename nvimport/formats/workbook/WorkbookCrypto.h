#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace nvimport {

// The hashes and ciphers of encrypted workbooks, which are another library's. Bytes are strings.

// False where the library was built without that one, and then nothing else here may be called.
bool HasCrypto();

enum class HashKind { kMd5, kSha1, kSha256, kSha384, kSha512 };

// Of a hash, in bytes.
std::size_t SizeOf(HashKind kind);
// Of all parts, one behind the other.
std::string HashOf(HashKind kind, std::initializer_list<std::string_view> parts);
// The hash of a number of 32 bits and of the hash before, for each number below `count`.
std::string SpinHash(HashKind kind, std::string hash, std::uint32_t count);

// The hash of what comes piece by piece, under a key.
class Hmac {
 public:
  Hmac(HashKind kind, std::string_view key);
  ~Hmac();
  void Take(std::span<const char> piece);
  std::string Hash();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// A stream of bytes that others are mixed with.
class Rc4 {
 public:
  explicit Rc4(std::string_view key);
  ~Rc4();
  void Apply(std::span<char> bytes);
  void Skip(std::size_t count);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// Decrypts whole blocks of 16 bytes with a key of 16, 24 or 32: each on its own, or chained from
// `begin`.
inline constexpr std::size_t kAesBlock = 16;
void DecryptAes(std::string_view key, std::span<char> bytes);
void DecryptAesChain(std::string_view key, std::string_view begin, std::span<char> bytes);

}  // namespace nvimport
