#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "nvimport/platform/Export.h"

namespace nvimport {

// A file written through a buffer, replacing what was there. Writers don't report a full disk, so
// the first failed write, flush or close of the process is remembered for whoever asked for the
// file: see TakeFailure.
class NVIMPORT_API OutputFile {
 public:
  OutputFile() = default;
  explicit OutputFile(const char* path);
  // Writes to an open descriptor, which is closed only if `owned`.
  OutputFile(int descriptor, bool owned);
  OutputFile(OutputFile&& other) noexcept;
  OutputFile& operator=(OutputFile&& other) noexcept;
  ~OutputFile() { Close(); }

  bool is_open() const { return descriptor_ >= 0; }
  // Whether a write has failed, so that no more is worth its while.
  bool failed() const { return failed_; }

  void Write(std::string_view text) {
    if (text.size() > kBufferSize - used_) return WriteAcross(text);
    text.copy(buffer_.get() + used_, text.size());
    used_ += text.size();
  }

  // Where the next `count` bytes, at most kMostRoom, may be put before Advance takes some of them;
  // null when no file is open.
  static constexpr std::size_t kMostRoom = 256;
  char* Room(std::size_t count) {
    if (count > kBufferSize - used_) Flush();
    return buffer_ != nullptr ? buffer_.get() + used_ : nullptr;
  }
  void Advance(std::size_t count) { used_ += count; }

  void Flush();

  // As a failed write, with the reason in words.
  void Fail(std::string words);

  // Flushes and closes.
  void Close();

  // Closes without what is still in the buffer. Whether nothing has gone into the file.
  bool Abandon();

  // The words for the first failure since the last call, the system's ("No space left on device")
  // or others; empty when there was none.
  static std::string TakeFailure();

 private:
  static constexpr std::size_t kBufferSize = 256 * 1024;

  void WriteAcross(std::string_view text);
  void WriteOut(const char* bytes, std::size_t count);

  int descriptor_ = -1;
  bool owned_ = true;
  bool failed_ = false;
  bool is_untouched_ = true;
  std::unique_ptr<char[]> buffer_;
  std::size_t used_ = kBufferSize;  // without a buffer every write goes the long way
};

}  // namespace nvimport
