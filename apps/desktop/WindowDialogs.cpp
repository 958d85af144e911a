#include "apps/desktop/WindowDialogs.h"

#include <memory>

#include "apps/desktop/RangePlot.h"

namespace nvimport {

WindowDialogs::WindowDialogs(QWidget& window) : QtDialogs(window) {
  SetModal(false);
  OfferReading(true);
  SetRangeView([] { return std::make_unique<RangePlot>(); });
}

}  // namespace nvimport
