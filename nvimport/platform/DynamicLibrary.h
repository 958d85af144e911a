#pragma once

#include <initializer_list>
#include <memory>
#include <string>

#include "nvimport/platform/Export.h"

namespace nvimport {

// A dynamic library that is loaded while the object lives.
class NVIMPORT_API DynamicLibrary {
 public:
  DynamicLibrary() = default;

  // Loads the library at `path`, which must be absolute. Its own references to names that it
  // defines stay with it, whatever the host defines under the same names.
  explicit DynamicLibrary(const std::string& path);

  bool is_open() const { return module_ != nullptr; }

  // Why the library could not be loaded.
  const std::string& error() const { return error_; }

  // The address of a function that this library itself defines; null for one that only a library
  // it depends on has.
  void* Find(const char* name) const;

  template <typename Function>
  Function* Find(const char* name) const {
    return reinterpret_cast<Function*>(Find(name));
  }

  // True when the file at `path` is a library for this machine that defines every one of `names`.
  // It is read, not loaded: none of its code runs, and no more is read than the look-up needs.
  static bool Defines(const char* path, std::initializer_list<const char*> names);

  // The real path of the library (or program) that holds `address`; empty where there is none.
  static std::string PathOf(const void* address);

 private:
  std::shared_ptr<void> module_;
  std::string path_;
  std::string error_;
};

}  // namespace nvimport
