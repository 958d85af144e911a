#include "nvimport/formats/spectra/JCAMPValues.h"

#include <charconv>
#include <limits>
#include <string>
#include <system_error>

namespace nvimport {

double jcamp::NearestDouble(const Written& number) {
  std::string text;
  for (const char* at = number.text; text.size() < static_cast<std::size_t>(number.length); ++at) {
    const Meaning meaning = MeaningOf(*at);
    if (meaning.kind != Kind::kPoint && meaning.kind != Kind::kComma)
      text += static_cast<char>('0' + meaning.digit);
  }
  text += 'e' + std::to_string(number.exponent - number.decimals);
  double value = 0;
  const auto error = std::from_chars(text.data(), text.data() + text.size(), value).ec;
  // Too small for a double is 0, and too large only with an exponent above 0.
  if (error == std::errc::result_out_of_range && number.exponent > 0)
    return std::numeric_limits<double>::infinity();
  return error == std::errc() ? value : 0;
}

}  // namespace nvimport
