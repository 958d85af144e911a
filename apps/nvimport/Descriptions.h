#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "nvimport/framework/Description.h"
#include "nvimport/hosting/CellText.h"

namespace nvimport {

// A description as the command tells it, its texts in UTF-8: with `with_x` the x values too.
nlohmann::ordered_json DescriptionJson(const Description& description, const TextDecoder& decoder,
                                       bool with_x);

// The same in a few lines: what is said of the whole file, and of its row where there is but one.
std::vector<std::pair<std::string, std::string>> DescriptionLines(const Description& description,
                                                                  const TextDecoder& decoder);

}  // namespace nvimport
