// In place of hashes and ciphers where their library is missing.

#include "nvimport/formats/workbook/WorkbookCrypto.h"

namespace nvimport {

struct Hmac::State {};
struct Rc4::State {};

bool HasCrypto() { return false; }
std::size_t SizeOf(HashKind) { return 0; }
std::string HashOf(HashKind, std::initializer_list<std::string_view>) { return {}; }
std::string SpinHash(HashKind, std::string hash, std::uint32_t) { return hash; }
Hmac::Hmac(HashKind, std::string_view) {}
Hmac::~Hmac() = default;
void Hmac::Take(std::span<const char>) {}
std::string Hmac::Hash() { return {}; }
Rc4::Rc4(std::string_view) {}
Rc4::~Rc4() = default;
void Rc4::Apply(std::span<char>) {}
void Rc4::Skip(std::size_t) {}
void DecryptAes(std::string_view, std::span<char>) {}
void DecryptAesChain(std::string_view, std::string_view, std::span<char>) {}

}  // namespace nvimport
