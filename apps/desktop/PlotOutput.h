#pragma once

#include <QObject>
#include <QSize>
#include <QString>

#include "apps/desktop/PlotPicture.h"

namespace nvimport {

class Jobs;
class Page;

// Gives plots away: to the clipboard, to a printer, into files.
class PlotOutput : public QObject {
  Q_OBJECT
 public:
  PlotOutput(QWidget& window, Jobs& jobs);

  // As a picture, or as SVG, whichever the program takes that it is pasted into.
  void Copy(Page& page);
  void Print(Page& page);
  // Asks for a file, and a size, and draws into it.
  void Save(Page& page);
  // The name says the kind; without a size it is the one that is seen.
  void SaveTo(Page& page, const QString& path, QSize size, int resolution);

 signals:
  void Finished();

 private:
  QWidget& window_;
  Jobs& jobs_;
};

}  // namespace nvimport
