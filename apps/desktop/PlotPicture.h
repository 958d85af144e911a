#pragma once

#include <QByteArray>
#include <QPicture>
#include <QSize>
#include <QString>

#include "apps/desktop/CurvesPlottable.h"

namespace nvimport {

// A plot as it is drawn into files, apart from the window: its frame is recorded, its curves are
// drawn when it is written, in any thread.
struct PlotPicture {
  static constexpr int kUsualResolution = 96;

  QSize size;                         // at the usual resolution
  int resolution = kUsualResolution;  // dots per inch of a PNG
  QPicture frame;                     // axes, titles, names
  CurvesDrawing all;
  CurvesDrawing emphasized;

  // The kinds of files by their suffixes.
  static bool IsKind(const QString& suffix) {
    return suffix == "svg" || suffix == "png" || suffix == "pdf";
  }
  // False when `report` stops it.
  bool Draw(QPainter& painter, const Report& report) const;
  // What a file of that kind holds; empty when it can't be drawn, or `report` stops it.
  QByteArray Bytes(const QString& kind, const Report& report) const;
  // Writes a file of the kind that its name ends with, or `kind` says. What hinders is returned,
  // nothing when `report` stopped it and nothing was written.
  QString Write(const QString& path, const QString& kind, const Report& report) const;
};

}  // namespace nvimport
