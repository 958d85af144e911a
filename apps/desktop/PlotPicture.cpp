#include "apps/desktop/PlotPicture.h"

#include <QBuffer>
#include <QFileInfo>
#include <QImage>
#include <QObject>
#include <QPainter>
#include <QPdfWriter>
#include <QSaveFile>
#include <QSvgGenerator>

namespace nvimport {

bool PlotPicture::Draw(QPainter& painter, const Report& report) const {
  // Playing changes what it is done with.
  QPicture frame = below;
  frame.play(&painter);
  const auto draw = [&](const CurvesDrawing& drawing) {
    painter.save();
    painter.setClipRect(drawing.area);
    const bool whole = drawing.Draw(painter, report);
    painter.restore();
    return whole;
  };
  if (!draw(all)) return false;
  frame = above;
  frame.play(&painter);
  return draw(emphasized);
}

QString PlotPicture::Write(const QString& path, const QString& kind, const Report& report) const {
  const QString suffix = kind.isEmpty() ? QFileInfo(path).suffix().toLower() : kind;
  if (!IsKind(suffix)) return QObject::tr("A picture is an SVG, PNG or PDF file.");
  QBuffer bytes;
  bytes.open(QIODevice::WriteOnly);
  bool is_drawn = false;
  bool goes_on = true;
  const auto draw_on = [&](QPaintDevice& device) {
    QPainter painter;
    is_drawn = painter.begin(&device);
    if (is_drawn) goes_on = Draw(painter, report);
  };
  if (suffix == "png") {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    draw_on(image);
    is_drawn = is_drawn && goes_on && image.save(&bytes, "PNG");
  } else if (suffix == "svg") {
    QSvgGenerator generator;
    generator.setOutputDevice(&bytes);
    generator.setSize(size);
    generator.setViewBox(QRect({0, 0}, size));
    draw_on(generator);
  } else {
    constexpr int kPointsPerInch = 72;
    QPdfWriter writer(&bytes);
    writer.setResolution(kPointsPerInch);
    writer.setPageSize(QPageSize(size, {}, QPageSize::ExactMatch));
    writer.setPageMargins({});
    draw_on(writer);
  }
  if (!goes_on) return {};
  // A picture that is not whole is none.
  QSaveFile file(path);
  const bool is_written = is_drawn && file.open(QIODevice::WriteOnly) &&
                          file.write(bytes.data()) == bytes.data().size() && file.commit();
  return is_written ? QString() : QObject::tr("The picture could not be written.");
}

}  // namespace nvimport
