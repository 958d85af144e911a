#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "nvimport/formats/spectra/JCAMPLayout.h"
#include "nvimport/formats/spectra/SpectraStatements.h"

namespace nvimport {

// A row of the sheet: a data page of a block, from 0.
struct JCAMPRow {
  std::uint32_t block;
  std::uint32_t page;
  int row;
};

// States the labelled data records of these files, whose blocks are in `layout` and those of them
// that are in the sheet in `rows`.
void DescribeJCAMP(const std::vector<std::string>& files, const JCAMPRules& rules,
                   const JCAMPLayout& layout, std::vector<JCAMPRow> rows,
                   SpectraStatements& statements);

}  // namespace nvimport
