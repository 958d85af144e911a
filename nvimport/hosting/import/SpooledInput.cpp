#include "nvimport/hosting/import/SpooledInput.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <string_view>

#include "nvimport/hosting/import/Detecting.h"
#include "nvimport/hosting/import/Import.h"
#include "nvimport/platform/Console.h"
#include "nvimport/platform/Files.h"

namespace nvimport {

namespace {

// More than any reader looks at before it knows what to do.
constexpr std::uint64_t kHead = 1024 * 1024;

int WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const std::ptrdiff_t written = WriteSome(descriptor, bytes);
    if (written < 0 && written != kInterrupted) return errno;
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

// Others need room too: a disk is not filled to its last byte.
bool HasRoom(const std::string& folder) {
  constexpr std::uint64_t kLeastFree = 64 * 1024 * 1024;
  return RoomIn(folder.c_str()).value_or(kLeastFree) >= kLeastFree;
}

}  // namespace

SpooledInput::SpooledInput(const std::string& name)
    : folder_(TemporaryPath::Kind::kFolder, TemporaryFolder() + "/nvimport-XXXXXX"),
      file_(folder_.path() + "/" + name) {
  int error = folder_.error();
  if (folder_.is_made()) {
    descriptor_ = CreateNew(path().c_str());
    error = descriptor_ < 0 ? errno : Store(kHead, {});
  }
  if (error != 0) failure_ = Because(error);
}

SpooledInput::~SpooledInput() {
  if (descriptor_ >= 0) CloseFile(descriptor_);
}

bool SpooledInput::CanComeLater(int format, bool kept_rules) const {
  if (format == 0) format = SettleFormat(path(), kept_rules).format;
  const std::string name = FormatName(format);
  return name == "Text File" || name == "CSV File";
}

std::optional<Failure> SpooledInput::StoreRest(
    const std::function<bool(std::uint64_t stored)>& goes_on) {
  const int error = Store(UINT64_MAX, goes_on);
  return error != 0 ? std::optional(Because(error)) : std::nullopt;
}

int SpooledInput::Store(std::uint64_t most,
                        const std::function<bool(std::uint64_t stored)>& goes_on) {
  constexpr std::uint64_t kBetweenLooks = 16 * 1024 * 1024;
  std::array<char, 64 * 1024> block;
  for (std::uint64_t looked = stored_; stored_ < most && !is_whole_;) {
    if (stored_ - looked >= kBetweenLooks) {
      looked = stored_;
      if (!HasRoom(folder_.path())) return ENOSPC;
    }
    if (goes_on && !goes_on(stored_)) return ECANCELED;
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), most - stored_));
    const std::ptrdiff_t got = ReadSome(kInputStream, {block.data(), wanted});
    if (got == kInterrupted) continue;
    if (got < 0) return errno;
    is_whole_ = got == 0;
    const auto count = static_cast<std::size_t>(got);
    if (const int error = WriteAll(descriptor_, {block.data(), count}); error != 0) return error;
    stored_ += count;
  }
  return 0;
}

Failure SpooledInput::Because(int error) const {
  Failure failure = Failure::OfSystem("Standard input can't be stored for reading.",
                                      "in " + TemporaryFolder(), error);
  if (error == ENOSPC) failure.advice = "TMPDIR may name a folder with more room";
  return failure;
}

}  // namespace nvimport
