#pragma once

#include <array>
#include <bit>
#include <memory>
#include <utility>

#include "nvimport/framework/SprFileFactory.h"

namespace nvimport {

// Rules of reading, a flag each, of which none holds.
template <typename Rules>
constexpr Rules NoRules() {
  return std::bit_cast<Rules>(std::array<bool, sizeof(Rules)>{});
}

// Makes readers with rules. Every file may be one of theirs: only Open looks inside.
template <typename Reader, typename Kept>
class RuledFactory : public SprFileFactory {
 public:
  using Rules = Kept;

  int IsCorrectFileType(const char*) override { return kNoOpinion; }
  SpreadsheetFile* Create() override { return std::make_unique<Reader>(rules_).release(); }

 protected:
  RuledFactory(FormatTraits traits, const Rules& rules)
      : SprFileFactory(std::move(traits)), rules_(rules) {}

  const Rules& rules() const { return rules_; }

 private:
  Rules rules_;
};

}  // namespace nvimport
