#pragma once

#include <optional>

#include "apps/nvimport/Commands.h"
#include "apps/nvimport/ConvertPlan.h"
#include "apps/nvimport/FileRun.h"
#include "nvimport/hosting/Failure.h"

namespace nvimport {

// Tables made of several sheets: all those of a run in one, or those of each file.

// Judges the settings of such tables.
std::optional<Failure> SettleCombining(const Settings& settings, RunPlan& run, ConvertPlan& plan);

// Makes one table of all files, which are read in their turns for their columns, and then again.
int RunCombine(FileRun& run, const ConvertPlan& plan);

// Makes a table of the worksheets of one file.
void CombineSheets(FileTurn& turn, const ConvertPlan& plan);

}  // namespace nvimport
