#include "nvimport/platform/NvFile.h"

#include <cstddef>
#include <string_view>

#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/System.h"

namespace nvimport {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t kHeadSize = 4096;

// Western text in 16 bits has a zero in nearly every high byte and never a 16-bit zero. Binary
// spectra and workbooks have zeros too, but on both sides, or together.
bool LooksLikeUtf16(std::string_view head) {
  std::size_t zeros[2] = {0, 0};
  for (std::size_t i = 0; i + 1 < head.size(); i += 2) {
    if (head[i] == '\0' && head[i + 1] == '\0') return false;
    zeros[0] += head[i] == '\0' ? 1 : 0;
    zeros[1] += head[i + 1] == '\0' ? 1 : 0;
  }
  const std::size_t characters = head.size() / 2;
  return (zeros[0] == 0 || zeros[1] == 0) && characters > 0 &&
         (zeros[0] + zeros[1]) * 4 >= characters * 3;
}

}  // namespace

bool NvFile::Exists(const char* path) { return FileExists(path); }

ETextFileEncoding NvFile::GetEncoding(const char* path) {
  InputFile file(path);
  if (!file.is_open()) return ETextFileEncoding::kSingleByte;
  char bytes[kHeadSize];
  const std::ptrdiff_t got = file.Read(bytes);
  if (got <= 0) return ETextFileEncoding::kSingleByte;
  const std::string_view head(bytes, static_cast<std::size_t>(got));
  // The 32-bit marks come first: the little-endian one begins like the 16-bit one.
  if (head.starts_with("\xff\xfe\0\0"sv) || head.starts_with("\0\0\xfe\xff"sv))
    return ETextFileEncoding::kUtf32;
  if (head.starts_with("\xff\xfe"sv) || head.starts_with("\xfe\xff"sv))
    return ETextFileEncoding::kUtf16;
  if (head.starts_with("\xef\xbb\xbf"sv)) return ETextFileEncoding::kUtf8;
  return file.size() % 2 == 0 && LooksLikeUtf16(head) ? ETextFileEncoding::kUtf16
                                                      : ETextFileEncoding::kSingleByte;
}

}  // namespace nvimport
