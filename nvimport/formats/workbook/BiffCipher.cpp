// Encrypted workbooks (see [MS-XLS] and [MS-OFFCRYPTO]): the FILEPASS record says how, and its data
// hold what tells the right password.
//   BIFF5  0 uint16 key  2 uint16 hash of the password
//   BIFF8  0 uint16 0: the same from 2 on
//                   1: 2 uint16 version  4 uint16 minor version
//          1.1      6 salt, 22 verifier and 38 its hash, encrypted, each of 16 bytes
//          2.2-4.2  6 uint32 flags  10 uint32 size of the header, which begins at 14
//                   header: 8 uint32 cipher  12 uint32 hash  16 uint32 bits of the key
//                   behind it: 0 uint32 size of the salt  4 salt, 20 verifier, each of 16 bytes
//                   36 uint32 size of the hash  40 hash, of 20 bytes
// RC4 begins anew with each 1,024 bytes of the workbook, heads included, with a key of their
// number. What else obfuscates is a key of 16 bytes, from the end of each record on.

#include "nvimport/formats/workbook/BiffCipher.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <optional>
#include <string_view>

#include "nvimport/formats/workbook/ExcelStream.h"
#include "nvimport/formats/workbook/WorkbookCrypto.h"
#include "nvimport/formats/workbook/WorkbookPassword.h"

namespace nvimport {

namespace {

// Rotates the lower `width` bits.
std::uint32_t RotateLeft(std::uint32_t value, unsigned by, unsigned width) {
  const std::uint32_t mask = (1U << width) - 1;
  return ((value << by) | (value >> (width - by))) & mask;
}

class Obfuscation final : public BiffCipher {
 public:
  Obfuscation(std::uint16_t key, std::uint16_t hash) : key_(key), hash_(hash) {}

  bool is_built() const override { return true; }

  bool Unlock(const std::string& password) override {
    // Of a 16-bit character the lower byte counts, unless that is zero.
    const std::string wide = WidePassword(password);
    std::string text;
    for (std::size_t i = 0; i < wide.size(); i += 2)
      text += wide[i] != '\0' ? wide[i] : wide[i + 1];
    if (text.empty() || text.size() >= pad_.size() || KeyOf(text) != key_ || HashOf(text) != hash_)
      return false;
    static constexpr unsigned char kFill[] = {0xBB, 0xFF, 0xFF, 0xBA, 0xFF, 0xFF, 0xB9, 0x80,
                                              0x00, 0xBE, 0x0F, 0x00, 0xBF, 0x0F, 0x00};
    for (std::size_t i = 0; i < pad_.size(); ++i) {
      const auto byte = static_cast<unsigned char>(i < text.size() ? text[i] : 0);
      const unsigned char filled = i < text.size() ? byte : kFill[i - text.size()];
      const unsigned half = i % 2 == 0 ? key_ & 0xFFU : key_ >> 8U;
      pad_[i] = static_cast<unsigned char>(RotateLeft(filled ^ half, 2, 8));
    }
    return true;
  }

 private:
  static std::uint16_t KeyOf(std::string_view text) {
    std::uint32_t key = 0;
    std::uint32_t base = 0x8000;
    std::uint32_t end = 0xFFFF;
    const auto step = [](std::uint32_t& value) {
      value = RotateLeft(value, 1, 16);
      if ((value & 1) != 0) value ^= 0x1020;
    };
    for (std::size_t i = text.size(); i-- > 0;)
      for (unsigned bit = 0; bit < 8; ++bit) {
        step(base);
        const bool is_set = bit < 7 && (static_cast<unsigned char>(text[i]) >> bit & 1U) != 0;
        if (is_set) key ^= base;
        step(end);
      }
    return static_cast<std::uint16_t>(key ^ end);
  }

  static std::uint16_t HashOf(std::string_view text) {
    std::uint32_t hash = static_cast<std::uint32_t>(text.size()) ^ 0xCE4B;
    for (std::size_t i = 0; i < text.size(); ++i)
      hash ^=
          RotateLeft(static_cast<unsigned char>(text[i]), static_cast<unsigned>(i + 1) % 15, 15);
    return static_cast<std::uint16_t>(hash);
  }

  void DecryptBehind(std::size_t plain, std::uint64_t position, std::span<char> data) override {
    const std::uint64_t end = position + data.size();
    for (std::size_t i = plain; i < data.size(); ++i) {
      const std::uint32_t turned = RotateLeft(static_cast<unsigned char>(data[i]), 3, 8);
      data[i] = static_cast<char>(turned ^ pad_[(end + i) % pad_.size()]);
    }
  }

  std::uint16_t key_;
  std::uint16_t hash_;
  std::array<unsigned char, 16> pad_{};
};

std::string NumberBytes(std::uint32_t number) {
  std::string bytes;
  for (unsigned shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(number >> shift);
  return bytes;
}

class Rc4Cipher : public BiffCipher {
 public:
  bool Unlock(const std::string& password) override {
    Begin(password);
    block_.reset();
    std::string plain = verifier_ + verifier_hash_;
    Rc4(KeyOf(0)).Apply(plain);
    const std::string_view verifier = std::string_view(plain).substr(0, verifier_.size());
    return HashOf(hash_, {verifier}) == std::string_view(plain).substr(verifier_.size());
  }

 protected:
  Rc4Cipher(HashKind hash, std::string_view salt, std::string_view verifier,
            std::string_view verifier_hash)
      : hash_(hash), salt_(salt), verifier_(verifier), verifier_hash_(verifier_hash) {}

  virtual void Begin(const std::string& password) = 0;
  virtual std::string KeyOf(std::uint32_t block) const = 0;

  const std::string& salt() const { return salt_; }

 private:
  static constexpr std::uint64_t kBlock = 1024;

  void DecryptBehind(std::size_t plain, std::uint64_t position, std::span<char> data) override {
    std::span<char> bytes = data.subspan(plain);
    position += plain;
    while (!bytes.empty()) {
      GoTo(position);
      const std::size_t count = std::min<std::size_t>(bytes.size(), kBlock - position % kBlock);
      stream_->Apply(bytes.first(count));
      position_ = position += count;
      bytes = bytes.subspan(count);
    }
  }

  void GoTo(std::uint64_t position) {
    const std::uint64_t block = position / kBlock;
    if (block_ != block || position_ > position) {
      stream_.emplace(KeyOf(static_cast<std::uint32_t>(block)));
      block_ = block;
      position_ = block * kBlock;
    }
    stream_->Skip(static_cast<std::size_t>(position - position_));
    position_ = position;
  }

  HashKind hash_;
  std::string salt_;
  std::string verifier_;
  std::string verifier_hash_;
  std::optional<Rc4> stream_;
  std::optional<std::uint64_t> block_;  // of the stream
  std::uint64_t position_ = 0;          // its next byte
};

class Rc4Of40Bits final : public Rc4Cipher {
 public:
  explicit Rc4Of40Bits(const BiffRecord& file_pass)
      : Rc4Cipher(HashKind::kMd5, file_pass.Text(6, 16), file_pass.Text(22, 16),
                  file_pass.Text(38, 16)) {}

 private:
  static constexpr std::size_t kKeySize = 5;

  void Begin(const std::string& password) override {
    const std::string hash = HashOf(HashKind::kMd5, {WidePassword(password)}).substr(0, kKeySize);
    std::string all;
    for (int i = 0; i < 16; ++i) all += hash + salt();
    key_ = HashOf(HashKind::kMd5, {all}).substr(0, kKeySize);
  }
  std::string KeyOf(std::uint32_t block) const override {
    return HashOf(HashKind::kMd5, {key_, NumberBytes(block)});
  }

  std::string key_;
};

class Rc4OfProvider final : public Rc4Cipher {
 public:
  Rc4OfProvider(const BiffRecord& file_pass, std::size_t verifier, std::size_t key_bits)
      : Rc4Cipher(HashKind::kSha1, file_pass.Text(verifier + 4, 16),
                  file_pass.Text(verifier + 20, 16), file_pass.Text(verifier + 40, 20)),
        key_size_(key_bits / 8) {}

  static std::unique_ptr<BiffCipher> Of(const BiffRecord& file_pass) {
    constexpr std::size_t kHeader = 14;
    constexpr std::uint32_t kRc4 = 0x6801;
    constexpr std::uint32_t kSha1 = 0x8004;
    const std::uint32_t cipher = file_pass.U32(kHeader + 8);
    const std::uint32_t hash = file_pass.U32(kHeader + 12);
    std::size_t bits = file_pass.U32(kHeader + 16);
    if (bits == 0) bits = 40;
    const std::size_t verifier = kHeader + std::size_t{file_pass.U32(10)};
    constexpr std::size_t kVerifierSize = 60;
    if ((cipher != kRc4 && cipher != 0) || (hash != kSha1 && hash != 0) || bits < 40 ||
        bits > 128 || bits % 8 != 0 || !file_pass.Holds(verifier, kVerifierSize))
      return nullptr;
    return std::make_unique<Rc4OfProvider>(file_pass, verifier, bits);
  }

 private:
  void Begin(const std::string& password) override {
    key_ = HashOf(HashKind::kSha1, {salt(), WidePassword(password)});
  }
  std::string KeyOf(std::uint32_t block) const override {
    constexpr std::size_t kShort = 5;
    constexpr std::size_t kWhole = 16;
    std::string key = HashOf(HashKind::kSha1, {key_, NumberBytes(block)}).substr(0, key_size_);
    if (key_size_ == kShort) key.resize(kWhole);
    return key;
  }

  std::size_t key_size_;
  std::string key_;
};

// What can be read by who has no password yet.
bool IsPlain(std::uint16_t id) {
  constexpr std::uint8_t kBof = 0x09;
  constexpr std::uint16_t kPlain[] = {BiffRecord::kFilePass,
                                      0x00E1,   // INTERFACEHDR
                                      0x0138,   // RRDHEAD
                                      0x0194,   // USREXCL
                                      0x0195,   // FILELOCK
                                      0x0196};  // RRDINFO
  return (id & 0xFF) == kBof || std::ranges::find(kPlain, id) != std::end(kPlain);
}

}  // namespace

bool BiffCipher::is_built() const { return HasCrypto(); }

std::unique_ptr<BiffCipher> BiffCipher::Of(const BiffRecord& file_pass, bool is_biff8) {
  if (!is_biff8) return std::make_unique<Obfuscation>(file_pass.U16(0), file_pass.U16(2));
  const std::uint16_t version = file_pass.U16(2);
  const std::uint16_t minor = file_pass.U16(4);
  constexpr std::size_t kWhole = 54;
  if (file_pass.U16(0) == 0) return std::make_unique<Obfuscation>(version, minor);
  if (file_pass.U16(0) != 1) return nullptr;
  if (version == 1 && minor == 1 && file_pass.Holds(0, kWhole))
    return std::make_unique<Rc4Of40Bits>(file_pass);
  return version >= 2 && version <= 4 && minor == 2 ? Rc4OfProvider::Of(file_pass) : nullptr;
}

void BiffCipher::Decrypt(std::uint64_t position, std::uint16_t id, std::span<char> data) {
  if (IsPlain(id)) return;
  const std::uint64_t begin = position + BaseStream::kHeadSize;
  // Where a sheet lies can be read too.
  const std::size_t plain =
      id == BiffRecord::kBoundSheet ? std::min<std::size_t>(data.size(), sizeof(std::uint32_t)) : 0;
  DecryptBehind(plain, begin, data);
}

}  // namespace nvimport
