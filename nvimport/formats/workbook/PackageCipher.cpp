// The stream EncryptionInfo (see [MS-OFFCRYPTO]): 0 uint16 version  2 uint16 minor version
//   2.2-4.2  8 uint32 size of the header, which begins at 12
//            header: 8 uint32 cipher  16 uint32 bits of the key
//            behind it: 0 uint32 size of the salt  4 salt, 20 verifier, each of 16 bytes
//            36 uint32 size of the hash  40 hash, of 32 bytes
//   4.4      8 XML: <keyData> of the package, <dataIntegrity> of its check sum, <encryptedKey> of
//   the
//            key by a password; bytes are in base 64
// A key is a password's hash, hashed again many times with a number each.

#include "nvimport/formats/workbook/PackageCipher.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

#include "nvimport/formats/workbook/WorkbookCrypto.h"
#include "nvimport/formats/workbook/WorkbookPassword.h"
#include "nvimport/platform/ByteReader.h"

namespace nvimport {

namespace {

constexpr std::size_t kVersionSize = 8;

std::string NumberBytes(std::uint32_t number) {
  std::string bytes;
  for (unsigned shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(number >> shift);
  return bytes;
}

// Of each AES key in bytes.
bool IsKeySize(std::size_t size) { return size == 16 || size == 24 || size == 32; }

bool IsWhole(std::string_view bytes) { return !bytes.empty() && bytes.size() % kAesBlock == 0; }

class StandardCipher final : public PackageCipher {
 public:
  static std::unique_ptr<PackageCipher> Of(std::string_view info) {
    ByteReader reader(std::span<const char>(info.substr(kVersionSize)));
    const std::size_t header = reader.U32();
    constexpr std::size_t kHeader = kVersionSize + sizeof(std::uint32_t);
    constexpr std::size_t kNumbers = 32;
    if (!reader.ok() || header < kNumbers || header > info.size() - kHeader) return nullptr;
    reader.Skip(8);
    const std::uint32_t cipher = reader.U32();
    reader.Skip(4);
    const std::uint32_t bits = reader.U32();
    ByteReader verifier(std::span<const char>(info.substr(kHeader + header)));
    constexpr std::size_t kHashSize = 32;
    auto standard = std::make_unique<StandardCipher>();
    standard->key_size_ = bits / 8;
    verifier.Skip(4);
    standard->salt_ = verifier.Text(kAesBlock);
    standard->verifier_ = verifier.Text(kAesBlock);
    verifier.Skip(4);
    standard->verifier_ += verifier.Text(kHashSize);
    constexpr std::uint32_t kAes[] = {0x660E, 0x660F, 0x6610};
    const bool is_aes = std::ranges::find(kAes, cipher) != std::end(kAes);
    if (!is_aes || bits % 8 != 0 || !IsKeySize(standard->key_size_) || !verifier.ok())
      return nullptr;
    return standard;
  }

  std::uint64_t work() const override { return std::uint64_t{kSpins} * sizeof(std::uint32_t); }

  bool Unlock(const std::string& password) override {
    const std::string salted = HashOf(HashKind::kSha1, {salt_, WidePassword(password)});
    const std::string hash =
        HashOf(HashKind::kSha1, {SpinHash(HashKind::kSha1, salted, kSpins), NumberBytes(0)});
    key_ = (Mixed(hash, 0x36) + Mixed(hash, 0x5C)).substr(0, key_size_);
    std::string plain = verifier_;
    DecryptAes(key_, plain);
    const std::string_view both = plain;
    return both.substr(kAesBlock).starts_with(HashOf(HashKind::kSha1, {both.substr(0, kAesBlock)}));
  }

  void Decrypt(std::uint64_t, std::span<char> bytes) const override { DecryptAes(key_, bytes); }

 private:
  static constexpr std::uint32_t kSpins = 50'000;

  static std::string Mixed(std::string_view hash, char with) {
    std::string block(64, with);
    for (std::size_t i = 0; i < hash.size(); ++i) block[i] = static_cast<char>(block[i] ^ hash[i]);
    return HashOf(HashKind::kSha1, {block});
  }

  std::size_t key_size_ = 0;
  std::string salt_;
  std::string verifier_;
  std::string key_;
};

// An element without content, by its name without a prefix: its attributes as they stand.
class Element {
 public:
  Element(std::string_view xml, std::string_view name) {
    for (std::size_t at = xml.find(name); at != xml.npos; at = xml.find(name, at + 1)) {
      const bool begins = at > 0 && (xml[at - 1] == '<' || xml[at - 1] == ':');
      const std::string_view rest = xml.substr(at + name.size());
      if (!begins || rest.empty() || kBlank.find(rest[0]) == kBlank.npos) continue;
      attributes_ = rest.substr(0, rest.find('>'));
      return;
    }
  }

  // "" where there is none.
  std::string_view Text(std::string_view name) const {
    for (std::size_t at = attributes_.find(name); at != attributes_.npos;
         at = attributes_.find(name, at + 1)) {
      std::string_view rest = attributes_.substr(at + name.size());
      const bool begins = at > 0 && kBlank.find(attributes_[at - 1]) != kBlank.npos;
      rest.remove_prefix(std::min(rest.find_first_not_of(kBlank), rest.size()));
      if (!begins || !rest.starts_with('=')) continue;
      rest.remove_prefix(std::min(rest.find_first_not_of(kBlank, 1), rest.size()));
      if (rest.empty()) return {};
      return rest.substr(1, rest.find(rest[0], 1) - 1);
    }
    return {};
  }

  std::uint32_t Number(std::string_view name) const {
    const std::string_view text = Text(name);
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_number = error == std::errc() && end == text.data() + text.size();
    return is_number ? number : std::numeric_limits<std::uint32_t>::max();
  }

  std::string Bytes(std::string_view name) const {
    constexpr std::string_view kDigits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    std::uint32_t bits = 0;
    unsigned count = 0;
    for (const char c : Text(name)) {
      const std::size_t digit = kDigits.find(c);
      if (digit == kDigits.npos) continue;
      bits = bits << 6 | static_cast<std::uint32_t>(digit);
      count += 6;
      if (count < 8) continue;
      count -= 8;
      bytes += static_cast<char>(bits >> count);
    }
    return bytes;
  }

 private:
  static constexpr std::string_view kBlank = " \t\r\n";

  std::string_view attributes_;
};

// What <keyData> and <encryptedKey> say alike.
struct AgileKey {
  HashKind hash = HashKind::kSha1;
  std::size_t key_size = 0;
  std::string salt;

  // False where it is nothing that can be decrypted.
  bool Take(const Element& element) {
    static constexpr std::pair<std::string_view, HashKind> kHashes[] = {
        {"SHA1", HashKind::kSha1},
        {"SHA-1", HashKind::kSha1},
        {"SHA256", HashKind::kSha256},
        {"SHA384", HashKind::kSha384},
        {"SHA512", HashKind::kSha512}};
    const std::string_view name = element.Text("hashAlgorithm");
    const auto* const known =
        std::ranges::find(kHashes, name, &std::pair<std::string_view, HashKind>::first);
    if (known == std::end(kHashes)) return false;
    hash = known->second;
    const std::uint32_t bits = element.Number("keyBits");
    key_size = bits / 8;
    salt = element.Bytes("saltValue");
    constexpr std::size_t kLongestSalt = 64;
    return element.Text("cipherAlgorithm") == "AES" &&
           element.Text("cipherChaining") == "ChainingModeCBC" &&
           element.Number("blockSize") == kAesBlock && bits % 8 == 0 && IsKeySize(key_size) &&
           !salt.empty() && salt.size() <= kLongestSalt;
  }

  // Decrypts what was chained from the salt, or its hash with `block`.
  std::string Decrypted(std::string_view key, std::string bytes,
                        std::string_view block = {}) const {
    std::string begin = block.empty() ? salt : HashOf(hash, {salt, block});
    begin.resize(kAesBlock, kPad);
    DecryptAesChain(key, begin, bytes);
    return bytes;
  }

  static constexpr char kPad = 0x36;
};

class AgileCipher final : public PackageCipher {
 public:
  static std::unique_ptr<PackageCipher> Of(std::string_view xml) {
    const Element data(xml, "keyData");
    const Element integrity(xml, "dataIntegrity");
    const Element key(xml, "encryptedKey");
    auto agile = std::make_unique<AgileCipher>();
    agile->spins_ = key.Number("spinCount");
    agile->verifier_ = key.Bytes("encryptedVerifierHashInput");
    agile->verifier_hash_ = key.Bytes("encryptedVerifierHashValue");
    agile->encrypted_key_ = key.Bytes("encryptedKeyValue");
    agile->sum_key_ = integrity.Bytes("encryptedHmacKey");
    agile->sum_ = integrity.Bytes("encryptedHmacValue");
    constexpr std::uint32_t kMostSpins = 10'000'000;
    const bool is_whole = IsWhole(agile->verifier_) && IsWhole(agile->verifier_hash_) &&
                          IsWhole(agile->encrypted_key_);
    if (!agile->data_.Take(data) || !agile->key_.Take(key) || agile->spins_ > kMostSpins ||
        !is_whole || agile->encrypted_key_.size() < agile->data_.key_size)
      return nullptr;
    return agile;
  }

  std::uint64_t work() const override { return std::uint64_t{spins_} * sizeof(std::uint32_t); }

  bool Unlock(const std::string& password) override {
    const std::string salted = HashOf(key_.hash, {key_.salt, WidePassword(password)});
    const std::string hash = SpinHash(key_.hash, salted, spins_);
    const auto decrypted = [&](const std::string& bytes, std::string_view block) {
      std::string key = HashOf(key_.hash, {hash, block});
      key.resize(key_.key_size, AgileKey::kPad);
      return key_.Decrypted(key, bytes);
    };
    const std::string verifier = decrypted(verifier_, "\xFE\xA7\xD2\x76\x3B\x4B\x9E\x79");
    const std::string wanted = decrypted(verifier_hash_, "\xD7\xAA\x0F\x6D\x30\x61\x34\x4E");
    // Both are filled up to whole blocks.
    const std::string_view input = std::string_view(verifier).substr(0, key_.salt.size());
    if (!wanted.starts_with(HashOf(key_.hash, {input}))) return false;
    package_key_ = decrypted(encrypted_key_, "\x14\x6E\x0B\xE7\xAB\xAC\xD0\xD6");
    package_key_.resize(data_.key_size);
    return true;
  }

  void Decrypt(std::uint64_t position, std::span<char> bytes) const override {
    auto segment = static_cast<std::uint32_t>(position / kSegment);
    for (; !bytes.empty(); ++segment) {
      const auto piece = bytes.first(std::min(bytes.size(), kSegment));
      std::string begin = HashOf(data_.hash, {data_.salt, NumberBytes(segment)});
      begin.resize(kAesBlock);
      DecryptAesChain(package_key_, begin, piece);
      bytes = bytes.subspan(piece.size());
    }
  }

  std::optional<CheckSum> Sum() const override {
    const std::size_t size = SizeOf(data_.hash);
    if (!IsWhole(sum_key_) || !IsWhole(sum_) || sum_key_.size() < size || sum_.size() < size)
      return std::nullopt;
    std::string key = data_.Decrypted(package_key_, sum_key_, "\x5F\xB2\xAD\x01\x0C\xB9\xE1\xF6");
    std::string wanted = data_.Decrypted(package_key_, sum_, "\xA0\x67\x7F\x02\xB2\x2C\x84\x33");
    key.resize(size);
    wanted.resize(size);
    return CheckSum{std::make_unique<Hmac>(data_.hash, key), std::move(wanted)};
    // The optional has it.
  }  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks)
  bool has_sum() const override { return true; }

 private:
  AgileKey data_;  // of the package
  AgileKey key_;   // of the key by a password
  std::uint32_t spins_ = 0;
  std::string verifier_;
  std::string verifier_hash_;
  std::string encrypted_key_;
  std::string sum_key_;
  std::string sum_;
  std::string package_key_;
};

}  // namespace

std::unique_ptr<PackageCipher> PackageCipher::Of(std::string_view info) {
  if (info.size() < kVersionSize) return nullptr;
  const auto version = LoadLittle<std::uint16_t>(info.data());
  const auto minor = LoadLittle<std::uint16_t>(info.data() + 2);
  if (version == 4 && minor == 4) return AgileCipher::Of(info.substr(kVersionSize));
  return version >= 2 && version <= 4 && minor == 2 ? StandardCipher::Of(info) : nullptr;
}

}  // namespace nvimport
