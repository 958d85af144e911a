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
  painter.save();
  // In the pixels that it was recorded in, which playing would scale by those of the device.
  painter.scale(static_cast<double>(frame.logicalDpiX()) / painter.device()->logicalDpiX(),
                static_cast<double>(frame.logicalDpiY()) / painter.device()->logicalDpiY());
  // Playing changes what it is done with.
  QPicture played = frame;
  played.play(&painter);
  painter.restore();
  const auto draw = [&](const CurvesDrawing& drawing) {
    painter.save();
    painter.setClipRect(drawing.area);
    const bool whole = drawing.Draw(painter, report);
    painter.restore();
    return whole;
  };
  return draw(all) && draw(emphasized);
}

QByteArray PlotPicture::Bytes(const QString& kind, const Report& report) const {
  QBuffer bytes;
  bytes.open(QIODevice::WriteOnly);
  const auto draw_on = [&](QPaintDevice& device) {
    QPainter painter;
    return painter.begin(&device) && Draw(painter, report);
  };
  bool is_drawn = false;
  if (kind == "png") {
    constexpr double kInch = 0.0254;  // m
    const double scale = static_cast<double>(resolution) / kUsualResolution;
    QImage image((QSizeF(size) * scale).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    image.setDotsPerMeterX(static_cast<int>(resolution / kInch));
    image.setDotsPerMeterY(image.dotsPerMeterX());
    QPainter painter;
    if (painter.begin(&image)) {
      painter.scale(scale, scale);
      is_drawn = Draw(painter, report) && painter.end() && image.save(&bytes, "PNG");
    }
  } else if (kind == "svg") {
    QSvgGenerator generator;
    generator.setOutputDevice(&bytes);
    generator.setSize(size);
    generator.setViewBox(QRect({0, 0}, size));
    is_drawn = draw_on(generator);
  } else {
    constexpr int kPointsPerInch = 72;
    QPdfWriter writer(&bytes);
    writer.setResolution(kPointsPerInch);
    writer.setPageSize(QPageSize(size, {}, QPageSize::ExactMatch));
    writer.setPageMargins({});
    is_drawn = draw_on(writer);
  }
  return is_drawn ? bytes.data() : QByteArray();
}

QString PlotPicture::Write(const QString& path, const QString& kind, const Report& report) const {
  const QString suffix = kind.isEmpty() ? QFileInfo(path).suffix().toLower() : kind;
  if (!IsKind(suffix)) return QObject::tr("A picture is an SVG, PNG or PDF file.");
  bool goes_on = true;
  const QByteArray bytes = Bytes(suffix, [&](std::size_t done, std::size_t of) {
    goes_on = report(done, of);
    return goes_on;
  });
  if (!goes_on) return {};
  // A picture that is not whole is none.
  QSaveFile file(path);
  const bool is_written = !bytes.isEmpty() && file.open(QIODevice::WriteOnly) &&
                          file.write(bytes) == bytes.size() && file.commit();
  return is_written ? QString() : QObject::tr("The picture could not be written.");
}

}  // namespace nvimport
