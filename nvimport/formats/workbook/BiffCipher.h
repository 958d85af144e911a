#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "nvimport/platform/Export.h"

namespace nvimport {

struct BiffRecord;

// How the records behind a FILEPASS record are encrypted. Their heads are not.
class NVIMPORT_API BiffCipher {
 public:
  virtual ~BiffCipher() = default;

  // Null for a way that is not known.
  static std::unique_ptr<BiffCipher> Of(const BiffRecord& file_pass, bool is_biff8);

  // It can be undone with what the library was built with.
  virtual bool is_built() const;

  // Takes a password; false when it is not the right one.
  virtual bool Unlock(const std::string& password) = 0;

  // Decrypts what a record at `position` of the workbook holds, behind its head.
  void Decrypt(std::uint64_t position, std::uint16_t id, std::span<char> data);

 private:
  // The same of data that begin at `position`, but for the first `plain` bytes.
  virtual void DecryptBehind(std::size_t plain, std::uint64_t position, std::span<char> data) = 0;
};

}  // namespace nvimport
