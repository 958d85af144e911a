// The stream EncryptedPackage: 0 uint64 size of the package  8 the package, in whole blocks.

#include "nvimport/formats/workbook/DecryptedPackage.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "nvimport/formats/workbook/PackageCipher.h"
#include "nvimport/formats/workbook/WorkbookCrypto.h"
#include "nvimport/formats/workbook/WorkbookPassword.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/CompoundFile.h"

namespace nvimport {

namespace {

// Where an element of the root stands, entry 0 for none.
std::size_t Find(const CompoundFile& file, std::string_view name) {
  const auto elements = file.Elements(0);
  if (!elements) return 0;
  const auto found = std::ranges::find_if(
      *elements, [&](std::size_t element) { return file.entries()[element].name == name; });
  return found != elements->end() ? *found : 0;
}

std::string ReadInfo(CompoundFile& file) {
  constexpr std::uint64_t kMost = 64 * 1024;
  const std::size_t entry = Find(file, "EncryptionInfo");
  const CompoundFile::Stream* const stream = entry != 0 ? file.OpenStream(entry) : nullptr;
  if (stream == nullptr || stream->size() > kMost) return {};
  std::string info(static_cast<std::size_t>(stream->size()), '\0');
  return file.Read(*stream, 0, info) == std::ssize(info) ? info : std::string();
}

}  // namespace

DecryptedPackage::Outcome DecryptedPackage::Open(const char* path) {
  CompoundFile file;
  if (!file.Open(path)) return Outcome::kCannotOpen;
  const std::size_t package = Find(file, "EncryptedPackage");
  const auto cipher = PackageCipher::Of(ReadInfo(file));
  if (package == 0 || !cipher) return Outcome::kProtected;
  if (!HasCrypto()) return Outcome::kNoCrypto;
  budget_ = Budget(InputFile(path).size());
  const Outcome unlocked = Unlock(path, *cipher);
  return unlocked == Outcome::kGood ? Decrypt(file, package, *cipher) : unlocked;
}

DecryptedPackage::Outcome DecryptedPackage::Unlock(const char* path, PackageCipher& cipher) {
  // What takes seconds is not tried unasked.
  constexpr std::uint64_t kMostUnasked = std::uint64_t{4} << 20;
  bool is_asked = false;
  const auto unlock = [&](const std::string& password) {
    if (!std::exchange(is_asked, true) && cipher.work() > kMostUnasked) return false;
    return budget_.Work(cipher.work()) && cipher.Unlock(password);
  };
  const Unlocking unlocking = UnlockWorkbook(path, unlock);
  if (budget_.overdrawn()) return Outcome::kOverBudget;
  switch (unlocking) {
    case Unlocking::kOpened:
      return Outcome::kGood;
    case Unlocking::kNoPassword:
      return Outcome::kNoPassword;
    case Unlocking::kWrongPassword:
      return Outcome::kWrongPassword;
    case Unlocking::kCancelled:
      break;
  }
  return Outcome::kCancelled;
}

DecryptedPackage::Outcome DecryptedPackage::Decrypt(CompoundFile& file, std::size_t entry,
                                                    PackageCipher& cipher) {
  constexpr std::uint64_t kHead = 8;
  constexpr std::size_t kPiece = 16 * PackageCipher::kSegment;
  const CompoundFile::Stream* const stream = file.OpenStream(entry);
  std::vector<char> piece(kHead);
  if (stream == nullptr || file.Read(*stream, 0, piece) != std::ssize(piece))
    return Outcome::kBrokenPackage;
  auto left = LoadLittle<std::uint64_t>(piece.data());
  if (left > stream->size() - kHead) return Outcome::kBrokenPackage;
  const auto sum = cipher.Sum();
  if (sum) sum->hash->Take(piece);
  file_.emplace();
  if (file_->path().empty()) return Outcome::kCannotOpen;
  piece.resize(kPiece);
  std::ptrdiff_t got = 0;
  for (std::uint64_t position = 0; position < stream->size() - kHead;
       position += static_cast<std::uint64_t>(got)) {
    got = file.Read(*stream, kHead + position, piece);
    if (got <= 0) return Outcome::kBrokenPackage;
    const auto whole = std::span(piece).first(static_cast<std::size_t>(got));
    if (sum) sum->hash->Take(whole);
    const auto blocks = whole.first(whole.size() - whole.size() % kAesBlock);
    cipher.Decrypt(position, blocks);
    const std::size_t count =
        static_cast<std::size_t>(std::min<std::uint64_t>(left, blocks.size()));
    if (!file_->Write(blocks.first(count))) return Outcome::kCannotOpen;
    left -= count;
  }
  if (left > 0) return Outcome::kBrokenPackage;
  if (sum)
    sum_ = sum->hash->Hash() == sum->wanted ? Sum::kHolds : Sum::kBroken;
  else
    sum_ = cipher.has_sum() ? Sum::kMissing : Sum::kHolds;
  return Outcome::kGood;
}

}  // namespace nvimport
