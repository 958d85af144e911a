#pragma once

#include <cstdint>
#include <string_view>

#include "nvimport/platform/ByteSource.h"
#include "nvimport/platform/InputFile.h"

namespace nvimport {

// Where the bytes of a netCDF file of the classic formats come from: a file that is one, or what
// shows a file of another format as one.
class NetcdfSource : public ByteSource {
 public:
  // What is shown has a version of its own, in which there are values of the type kText.
  virtual bool is_shown() const { return false; }
  // The text that a value of the type kText means, if it was read since ForgetTexts.
  virtual std::string_view Text(std::uint64_t) const { return {}; }
  virtual void ForgetTexts() {}
};

// A file as it stands.
class NetcdfFileSource final : public NetcdfSource {
 public:
  explicit NetcdfFileSource(const char* path) : file_(path) {}

  bool is_open() const { return file_.is_open(); }
  std::uint64_t size() const override { return file_.size(); }
  std::ptrdiff_t ReadAt(std::uint64_t position, std::span<char> into) override {
    return file_.Seek(position) ? file_.Read(into) : -1;
  }

 private:
  InputFile file_;
};

}  // namespace nvimport
