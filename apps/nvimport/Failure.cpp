#include "apps/nvimport/Failure.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <utility>

#include "nvimport/platform/Paths.h"

namespace nvimport {

std::string FailureLines(const Failure& failure) {
  return "nvimport: " + failure.text + "\n  " + failure.advice + "\n";
}

std::string Advised(const std::string& words) {
  constexpr std::pair<int, const char*> kAdvice[] = {
      {EACCES, "ask its owner for leave, or take another"},
      {EDQUOT, "make room, or write elsewhere"},
      {EFBIG, "a limit (ulimit -f) is in the way, or the disk's own"},
      {EIO, "the disk or the network fails; try a copy"},
      {EISDIR, "name a file in it"},
      {ELOOP, "check the name"},
      {EMFILE, "fewer --jobs need fewer open files"},
      {ENAMETOOLONG, "check the name"},
      {ENFILE, "fewer --jobs need fewer open files"},
      {ENOENT, "check the name"},
      {ENOSPC, "make room, or write elsewhere"},
      {ENOTDIR, "a part of the name is a file, no folder"},
      {EROFS, "write elsewhere"},
  };
  const auto knows = [&](const auto& advice) {
    return EqualIgnoringCase(words, std::strerror(advice.first));
  };
  const auto* const known = std::ranges::find_if(kAdvice, knows);
  return known != std::end(kAdvice) ? words + "; " + known->second : words;
}

std::string SystemWords(int error) {
  std::string words = std::strerror(error);
  words[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(words[0])));
  return Advised(words);
}

int Graver(int a, int b) {
  static constexpr std::array kFromGravest{kFailed, kWrongUsage, kFormatUnknown, kWarned, kDone};
  const auto rank = [](int code) { return std::ranges::find(kFromGravest, code); };
  return rank(a) < rank(b) ? a : b;
}

}  // namespace nvimport
