#include "apps/nvimport/Failure.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>

std::string FailureLines(const Failure& failure) {
  return "nvimport: " + failure.text + "\n  " + failure.advice + "\n";
}

std::string SystemWords(int error) {
  std::string words = std::strerror(error);
  words[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(words[0])));
  return words;
}

int Graver(int a, int b) {
  static constexpr std::array kFromGravest{kFailed, kWrongUsage, kFormatUnknown, kWarned, kDone};
  const auto rank = [](int code) { return std::ranges::find(kFromGravest, code); };
  return rank(a) < rank(b) ? a : b;
}
