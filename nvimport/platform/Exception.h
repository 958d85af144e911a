#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "nvimport/platform/Export.h"

namespace nvimport {

// A failure with a text for the user, where a failure can't travel as a value.
class NVIMPORT_API Exception : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  // With what the reader or the system said of it.
  Exception(const std::string& text, std::string detail)
      : std::runtime_error(text), detail_(std::move(detail)) {}
  Exception(const Exception&) = default;
  Exception& operator=(const Exception&) = default;
  ~Exception() override;

  // What the reader or the system said of it, empty for nothing.
  const std::string& GetDetail() const { return detail_; }

 private:
  std::string detail_;
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
