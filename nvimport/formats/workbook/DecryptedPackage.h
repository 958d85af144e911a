#pragma once

#include <cstdint>
#include <optional>

#include "nvimport/formats/workbook/SheetBook.h"
#include "nvimport/platform/Budget.h"
#include "nvimport/platform/TemporaryFile.h"

namespace nvimport {

class CompoundFile;
class PackageCipher;

// A package out of the compound file that it is encrypted in, as a file that nobody else opens.
class DecryptedPackage {
 public:
  using Outcome = SheetBook::Outcome;

  // Asks for the password where the default one does not do.
  Outcome Open(const char* path);

  // By which this process opens the package.
  const char* path() const { return file_->path().c_str(); }

  // What its check sum told.
  enum class Sum { kHolds, kMissing, kBroken };
  Sum sum() const { return sum_; }

 private:
  Outcome Unlock(const char* path, PackageCipher& cipher);
  Outcome Decrypt(CompoundFile& file, std::size_t stream, PackageCipher& cipher);

  Budget budget_;
  std::optional<TemporaryFile> file_;
  Sum sum_ = Sum::kHolds;
};

}  // namespace nvimport
