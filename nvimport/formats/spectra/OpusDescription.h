#pragma once

#include <span>
#include <string>

#include "nvimport/formats/spectra/OpusLayout.h"
#include "nvimport/formats/spectra/SpectraStatements.h"

namespace nvimport {

// Spectra in the sheet: those of a data block, from this row on.
struct OpusRows {
  const OpusData* data;
  int first_row;
};

// States what a file says of itself, of the whole sheet where it is `alone` in it, else of its
// rows; and what its blocks say, of their rows.
void DescribeOpus(const std::string& path, const OpusFile& file, std::span<const OpusRows> rows,
                  bool alone, SpectraStatements& statements);

}  // namespace nvimport
