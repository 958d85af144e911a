#include "nvimport/formats/workbook/WorkbookCrypto.h"

#include <nettle/aes.h>
#include <nettle/arcfour.h>
#include <nettle/cbc.h>
#include <nettle/hmac.h>
#include <nettle/nettle-meta.h>

#include <algorithm>
#include <array>
#include <vector>

namespace nvimport {

namespace {

const nettle_hash& HashFunctions(HashKind kind) {
  switch (kind) {
    case HashKind::kMd5:
      return nettle_md5;
    case HashKind::kSha1:
      return nettle_sha1;
    case HashKind::kSha256:
      return nettle_sha256;
    case HashKind::kSha384:
      return nettle_sha384;
    case HashKind::kSha512:
      break;
  }
  return nettle_sha512;
}

const std::uint8_t* Bytes(const char* bytes) {
  return reinterpret_cast<const std::uint8_t*>(bytes);
}
std::uint8_t* Bytes(char* bytes) { return reinterpret_cast<std::uint8_t*>(bytes); }

// Room for the state of any hash.
struct alignas(std::max_align_t) HashState {
  explicit HashState(const nettle_hash& functions) : bytes(functions.context_size) {
    functions.init(bytes.data());
  }
  std::vector<unsigned char> bytes;
};

// The functions and the state of AES with the key.
struct Aes {
  explicit Aes(std::string_view key) {
    switch (key.size()) {
      case AES128_KEY_SIZE:
        functions = &nettle_aes128;
        break;
      case AES192_KEY_SIZE:
        functions = &nettle_aes192;
        break;
      default:
        functions = &nettle_aes256;
    }
    functions->set_decrypt_key(&state, Bytes(key.data()));
  }

  const nettle_cipher* functions = nullptr;
  union {
    aes128_ctx of_128;
    aes192_ctx of_192;
    aes256_ctx of_256;
  } state;
};

}  // namespace

bool HasCrypto() { return true; }

std::size_t SizeOf(HashKind kind) { return HashFunctions(kind).digest_size; }

std::string HashOf(HashKind kind, std::initializer_list<std::string_view> parts) {
  const nettle_hash& functions = HashFunctions(kind);
  HashState state(functions);
  for (const std::string_view part : parts)
    functions.update(state.bytes.data(), part.size(), Bytes(part.data()));
  std::string hash(functions.digest_size, '\0');
  functions.digest(state.bytes.data(), hash.size(), Bytes(hash.data()));
  return hash;
}

std::string SpinHash(HashKind kind, std::string hash, std::uint32_t count) {
  const nettle_hash& functions = HashFunctions(kind);
  HashState state(functions);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::array<std::uint8_t, 4> number = {
        static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i >> 8),
        static_cast<std::uint8_t>(i >> 16), static_cast<std::uint8_t>(i >> 24)};
    functions.update(state.bytes.data(), number.size(), number.data());
    functions.update(state.bytes.data(), hash.size(), Bytes(hash.data()));
    functions.digest(state.bytes.data(), hash.size(), Bytes(hash.data()));  // and begins anew
  }
  return hash;
}

struct Hmac::State {
  explicit State(HashKind kind)
      : functions(HashFunctions(kind)), outer(functions), inner(functions), state(functions) {}

  const nettle_hash& functions;
  HashState outer;
  HashState inner;
  HashState state;
};

Hmac::Hmac(HashKind kind, std::string_view key) : state_(std::make_unique<State>(kind)) {
  hmac_set_key(state_->outer.bytes.data(), state_->inner.bytes.data(), state_->state.bytes.data(),
               &state_->functions, key.size(), Bytes(key.data()));
}

Hmac::~Hmac() = default;

void Hmac::Take(std::span<const char> piece) {
  hmac_update(state_->state.bytes.data(), &state_->functions, piece.size(), Bytes(piece.data()));
}

std::string Hmac::Hash() {
  std::string hash(state_->functions.digest_size, '\0');
  hmac_digest(state_->outer.bytes.data(), state_->inner.bytes.data(), state_->state.bytes.data(),
              &state_->functions, hash.size(), Bytes(hash.data()));
  return hash;
}

struct Rc4::State {
  arcfour_ctx context;
};

Rc4::Rc4(std::string_view key) : state_(std::make_unique<State>()) {
  arcfour_set_key(&state_->context, key.size(), Bytes(key.data()));
}

Rc4::~Rc4() = default;

void Rc4::Apply(std::span<char> bytes) {
  arcfour_crypt(&state_->context, bytes.size(), Bytes(bytes.data()), Bytes(bytes.data()));
}

void Rc4::Skip(std::size_t count) {
  std::array<char, 64> skipped{};
  for (; count > 0; count -= std::min(count, skipped.size()))
    Apply(std::span(skipped).first(std::min(count, skipped.size())));
}

void DecryptAes(std::string_view key, std::span<char> bytes) {
  const Aes aes(key);
  aes.functions->decrypt(&aes.state, bytes.size(), Bytes(bytes.data()), Bytes(bytes.data()));
}

void DecryptAesChain(std::string_view key, std::string_view begin, std::span<char> bytes) {
  const Aes aes(key);
  std::array<std::uint8_t, kAesBlock> before{};
  std::copy_n(begin.begin(), std::min(begin.size(), before.size()), before.begin());
  cbc_decrypt(&aes.state, aes.functions->decrypt, kAesBlock, before.data(), bytes.size(),
              Bytes(bytes.data()), Bytes(bytes.data()));
}

}  // namespace nvimport
