#pragma once

#include <string>

#include "nvimport/framework/NvImport.h"

namespace nvimport {

// The open options that `pairs`, "key=value;key=value", stand for. At most 255 bytes.
class PairOptions {
 public:
  explicit PairOptions(const std::string& pairs) : bytes_(4, '\0') {
    bytes_[0] = static_cast<char>(pairs.size());
    bytes_ += pairs;
    record_ = {static_cast<int>(bytes_.size()), reinterpret_cast<unsigned char*>(bytes_.data())};
  }
  NvImportOpenOptions* get() { return &record_; }

 private:
  std::string bytes_;
  NvImportOpenOptions record_{};
};

}  // namespace nvimport
