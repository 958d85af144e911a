#pragma once

#include <exception>
#include <new>
#include <string>

namespace nvimport {

// What `operation` throws, if it does.
template <typename Operation>
std::string Thrown(const Operation& operation) {
  try {
    operation();
    return {};
  } catch (const std::bad_alloc&) {
    return "There is not enough memory for this file.";
  } catch (const std::exception& exception) {
    return exception.what();
  }
}

}  // namespace nvimport
