#include "nvimport/platform/Exception.h"

namespace nvimport {

Exception::~Exception() = default;

CancelException::~CancelException() = default;

}  // namespace nvimport
