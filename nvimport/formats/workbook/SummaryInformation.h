#pragma once

#include <string_view>

#include "nvimport/formats/DescriptionKeys.h"
#include "nvimport/platform/Budget.h"
#include "nvimport/platform/CompoundFile.h"

namespace nvimport {

// Adds what the summary streams of a compound file say: title, author, dates, and properties of the
// user's own.
void DescribeSummary(CompoundFile& file, Budget& budget, Stating& stating);

// The same of the bytes of one such stream.
void DescribeProperties(std::string_view stream, Budget& budget, Stating& stating);

}  // namespace nvimport
