#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace nvimport {

class Hmac;

// How a package is encrypted, by what the stream EncryptionInfo says.
class PackageCipher {
 public:
  virtual ~PackageCipher() = default;

  // Null for a way that is not known, or sizes that are none of it.
  static std::unique_ptr<PackageCipher> Of(std::string_view info);

  // What trying a password takes, in bytes of work.
  virtual std::uint64_t work() const = 0;

  // Takes a password; false when it is not the right one.
  virtual bool Unlock(const std::string& password) = 0;

  // Decrypts whole blocks; `position` is that of a segment.
  static constexpr std::size_t kSegment = 4096;
  virtual void Decrypt(std::uint64_t position, std::span<char> bytes) const = 0;

  // What the encrypted package hashes to, under which key; none where nothing tells.
  struct CheckSum {
    std::unique_ptr<Hmac> hash;
    std::string wanted;
  };
  virtual std::optional<CheckSum> Sum() const { return std::nullopt; }
  // Such packages have one.
  virtual bool has_sum() const { return false; }
};

}  // namespace nvimport
