#pragma once

#include <cstdint>
#include <optional>

#include "nvimport/formats/spectra/SpectrumAxis.h"
#include "nvimport/platform/InputFile.h"

namespace nvimport {

// What the header of a Brimrose file says. Observations of one size follow it.
struct BrimroseLayout {
  static constexpr std::size_t kValues = 120;  // where they begin in an observation

  SpectrumGrid axis;  // of wavelengths
  int observations = 0;

  bool IsFinite() const;
  std::uint64_t ObservationSize() const {
    return kValues + static_cast<std::uint64_t>(axis.points) * sizeof(float);
  }
  // Where an observation begins, from 0.
  std::uint64_t Observation(int number) const;
  // True when every field makes sense and the file of that size holds just what they say.
  bool IsWhole(std::uint64_t file_size) const;
};

// The layout of a file; none of one that is too short for a header.
std::optional<BrimroseLayout> ReadBrimroseLayout(InputFile& file);

}  // namespace nvimport
