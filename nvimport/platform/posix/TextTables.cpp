#include "nvimport/platform/TextTables.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>

#include "nvimport/platform/Utf8.h"

namespace nvimport {

void TextTables::Close::operator()(void* handle) const { ::iconv_close(handle); }

TextTables::TextTables(const std::string& to, const std::string& from)
    : from_utf8_(from == "UTF-8") {
  // iconv_open says failure as (iconv_t)-1.
  const ::iconv_t handle = ::iconv_open(to.c_str(), from.c_str());
  if (reinterpret_cast<std::intptr_t>(handle) != -1) handle_.reset(handle);
}

bool TextTables::Append(std::string& out, std::string_view text,
                        std::string_view replacement) const {
  std::array<char, 1024> buffer;
  char* in = const_cast<char*>(text.data());  // NOLINT: iconv's signature; it writes nothing there
  std::size_t left = text.size();
  bool ended = false;
  bool has_all = true;
  while (!ended) {
    ended = left == 0;
    char* to = buffer.data();
    std::size_t room = buffer.size();
    // The last call, without input, returns to the encoding's initial state.
    const std::size_t result = ended ? ::iconv(handle_.get(), nullptr, nullptr, &to, &room)
                                     : ::iconv(handle_.get(), &in, &left, &to, &room);
    const int error = result == static_cast<std::size_t>(-1) ? errno : 0;
    out.append(buffer.data(), to);
    if (error == 0 || error == E2BIG) continue;
    out += replacement;
    has_all = false;
    std::size_t skipped = from_utf8_ ? std::max<std::size_t>(CharacterSize({in, left}), 1) : 1;
    skipped = std::min(skipped, left);
    in += skipped;
    left -= skipped;
  }
  return has_all;
}

}  // namespace nvimport
