#include "nvimport/hosting/import/SpooledInput.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>

namespace nvimport {

namespace {

int WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ::ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return errno;
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

}  // namespace

SpooledInput::SpooledInput(const std::string& name)
    : folder_(TemporaryPath::Kind::kFolder, TemporaryFolder() + "/nvimport-XXXXXX"),
      file_(folder_.path() + "/" + name) {
  const int error = folder_.is_made() ? Fill() : folder_.error();
  if (error != 0)
    failure_ = Failure::OfSystem("Standard input can't be stored for reading.",
                                 "in " + TemporaryFolder(), error);
}

int SpooledInput::Fill() {
  const int descriptor = ::open(path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (descriptor < 0) return errno;
  std::array<char, 64 * 1024> block;
  int error = 0;
  while (error == 0) {
    const ::ssize_t got = ::read(STDIN_FILENO, block.data(), block.size());
    if (got == 0) break;
    if (got < 0)
      error = errno == EINTR ? 0 : errno;
    else
      error = WriteAll(descriptor, {block.data(), static_cast<std::size_t>(got)});
  }
  if (::close(descriptor) != 0 && error == 0) error = errno;
  return error;
}

}  // namespace nvimport
