#pragma once

#include <QObject>
#include <vector>

#include "apps/desktop/Look.h"
#include "apps/desktop/Overlay.h"
#include "apps/desktop/PlotChoice.h"

class QMenu;

namespace nvimport {

class Jobs;
class Page;
class Pages;

// Makes the curves of pages, as they are chosen and looked at.
class Plotter : public QObject {
  Q_OBJECT
 public:
  Plotter(QWidget& window, Jobs& jobs, Pages& pages);

  // Makes those of a page once nothing else is done.
  void Prepare(Page* page);
  // Of the page that is seen: asks how its sheet is drawn, and draws it so.
  void Choose();
  void DrawAs(const PlotChoice& choice);
  void LookAs(const Look& look);
  void OverlayWith(std::vector<OtherCurves> others);
  // Fills the menu with the pages whose curves can be seen over these.
  void ListOverlays(QMenu& menu);

 signals:
  void Plotted(Page* page);
  // There are curves, or none.
  void Finished();
  // All stays as it is.
  void Refused();

 private:
  Page* page() const;

  QWidget& window_;
  Jobs& jobs_;
  Pages& pages_;
};

}  // namespace nvimport
