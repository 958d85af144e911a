#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/platform/OutputFile.h"

namespace nvimport {

// Writes an archive of compressed parts, one after another, to where nothing can be taken back.
class ZipStream {
 public:
  explicit ZipStream(OutputFile& file);
  ZipStream(const ZipStream&) = delete;
  ZipStream& operator=(const ZipStream&) = delete;
  ~ZipStream();

  // Names are ASCII.
  void BeginPart(std::string_view name);
  void Write(std::string_view bytes);
  void EndPart();
  // Writes the list of all parts.
  void End();

 private:
  // What the list says of a part.
  struct Part {
    std::string name;
    std::uint32_t position = 0;
    std::uint32_t sum = 0;
    std::uint64_t packed = 0;
    std::uint64_t size = 0;
  };

  void Deflate(int flush);
  void Put(std::string_view bytes);
  void Refuse();
  // What both the part and the list of parts have.
  static std::string Header(const Part& part);

  OutputFile& file_;
  ::z_stream stream_{};
  std::uint64_t position_ = 0;
  std::vector<Part> parts_;
};

}  // namespace nvimport
