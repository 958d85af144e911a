#include "nvimport/platform/windows/Errors.h"

#include <windows.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "nvimport/platform/System.h"

namespace nvimport {

bool KeepError() {
  const auto error = static_cast<int>(::GetLastError());
  switch (error) {
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_USER_MAPPED_FILE:
      errno = ETXTBSY;
      break;
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
      errno = ENOENT;
      break;
    case ERROR_DIRECTORY:
      errno = ENOTDIR;
      break;
    default: {
      const std::error_condition known = std::system_category().default_error_condition(error);
      errno = known.category() == std::generic_category() ? known.value() : EIO;
    }
  }
  return false;
}

std::string LastError() { return ErrorWords(errno); }

// As other systems have them, where the C library's are none of any use.
std::string ErrorWords(int error) {
  switch (error) {
    case ECANCELED:
      return "Operation canceled";
    case ELOOP:
      return "Too many levels of symbolic links";
    case ENAMETOOLONG:
      return "File name too long";
    case ETXTBSY:
      return "Another program has it open";
    default:
      return std::strerror(error);
  }
}

}  // namespace nvimport
