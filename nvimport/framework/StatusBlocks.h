#pragma once

#include <cstddef>

namespace nvimport {

// Which status codes are whose. A new format takes a block that nobody has.
struct StatusBlock {
  const char* format;
  int first;
  int last;
};

inline constexpr StatusBlock kStatusBlocks[] = {
    {"text and Tivon", 512, 516},  // Tivon is read by the text reader and shares its 512.
    {"DIF", 768, 771},
    {"NSAS", 1280, 1291},
    {"Excel", 256, 267},
    {"JCAMP-DX", 1536, 1567},
    {"plug-in libraries", 2048, 2050},
    {"Lotus 1-2-3", 2304, 2315},
    {"Galactic SPC", 2560, 2569},
    {"Brimrose", 2816, 2822},
    {"CSV", 3072, 3076},
    {"Excel 2007", 3328, 3338},
    {"OpenDocument", 3584, 3591},
    {"XML Spreadsheet 2003", 3840, 3847},
    {"HTML", 4096, 4103},
    {"MATLAB", 4352, 4367},
    {"Bruker OPUS", 4384, 4399},
    {"HPLC ChemStation", 4400, 4415},
    {"netCDF", 4416, 4431},
    {"HDF5", 4432, 4447},
    {"database queries", 4448, 4463},
};

static_assert([] {
  constexpr std::size_t kCount = sizeof kStatusBlocks / sizeof *kStatusBlocks;
  for (std::size_t a = 0; a < kCount; ++a)
    for (std::size_t b = a + 1; b < kCount; ++b)
      if (kStatusBlocks[a].first <= kStatusBlocks[b].last &&
          kStatusBlocks[b].first <= kStatusBlocks[a].last)
        return false;
  return true;
}());

}  // namespace nvimport
