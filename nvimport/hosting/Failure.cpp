#include "nvimport/hosting/Failure.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <utility>

#include "nvimport/platform/Paths.h"
#include "nvimport/platform/System.h"

namespace nvimport {

namespace {

std::string Words(int error) {
  std::string words = ErrorWords(error);
  words[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(words[0])));
  return words;
}

// What to do about an error of which the system has these words, where that can be said.
std::string AdviceFor(const std::string& words) {
  constexpr std::pair<int, const char*> kAdvice[] = {
      {EACCES, "ask its owner for leave, or take another"},
#ifdef EDQUOT
      {EDQUOT, "make room, or write elsewhere"},
#endif
      {EFBIG, "a limit (ulimit -f) is in the way, or the disk's own"},
      {EIO, "the disk or the network fails; try a copy"},
      {EISDIR, "name a file in it"},
      {ELOOP, "check the name"},
      {EMFILE, "fewer files at a time need fewer of them open"},
      {ENAMETOOLONG, "check the name"},
      {ENFILE, "fewer files at a time need fewer of them open"},
      {ENOENT, "check the name"},
      {ENOSPC, "make room, or write elsewhere"},
      {ENOTDIR, "a part of the name is a file, no folder"},
      {EROFS, "write elsewhere"},
      {ETXTBSY, "close it there, or take another"},
  };
  const auto knows = [&](const auto& advice) {
    return EqualIgnoringCase(words, ErrorWords(advice.first));
  };
  const auto* const known = std::ranges::find_if(kAdvice, knows);
  return known != std::end(kAdvice) ? known->second : "";
}

}  // namespace

std::string Failure::Explanation() const {
  return detail + (detail.empty() || advice.empty() ? "" : "; ") + advice;
}

Failure Failure::OfSystem(std::string text, std::string where, std::string words) {
  Failure failure{kFailed, std::move(text), AdviceFor(words), std::move(where)};
  failure.detail = std::move(words);
  return failure;
}

Failure Failure::OfSystem(std::string text, std::string where, int error) {
  return OfSystem(std::move(text), std::move(where), Words(error));
}

std::string SystemWords(int error) { return Failure::OfSystem({}, {}, error).Explanation(); }

}  // namespace nvimport
