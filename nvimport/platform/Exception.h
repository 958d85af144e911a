#pragma once

#include <stdexcept>

#include "nvimport/platform/Export.h"

namespace nvimport {

// A failure with a text for the user, where a failure can't travel as a value.
class NVIMPORT_API Exception : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  Exception(const Exception&) = default;
  Exception& operator=(const Exception&) = default;
  ~Exception() override;
};

// The user cancelled.
class NVIMPORT_API CancelException : public Exception {
 public:
  using Exception::Exception;
  CancelException(const CancelException&) = default;
  CancelException& operator=(const CancelException&) = default;
  ~CancelException() override;
};

}  // namespace nvimport
