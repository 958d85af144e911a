#pragma once

#include <QWidget>
#include <optional>

#include "apps/desktop/Curves.h"
#include "apps/desktop/PlotChoice.h"

namespace nvimport {

class MemorySheet;

// Asks how a sheet is drawn, beginning with `choice`; `curves` are what is drawn now. None when the
// user cancels.
std::optional<PlotChoice> AskPlotChoice(QWidget* parent, MemorySheet& sheet, const Curves& curves,
                                        const PlotChoice& choice);

}  // namespace nvimport
