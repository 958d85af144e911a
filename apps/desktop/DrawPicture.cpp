// The window's plot as a library, which the command loads to draw a picture.

#include <QApplication>
#include <QFile>
#include <memory>

#include "apps/desktop/Curves.h"
#include "apps/desktop/SpectraPlot.h"
#include "nvimport/hosting/export/Picture.h"
#include "nvimport/hosting/import/DecimalGuess.h"

namespace nvimport {

namespace {

bool Draw(MemorySheet& sheet, const PictureSettings& settings, const std::string& path,
          std::string& why) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  // Standard error is for what the import has to say.
  qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
  int count = 1;
  char name[] = "nvimport-draw";
  char* arguments[] = {name, nullptr};
  const QApplication application(count, arguments);
  auto curves = std::make_shared<Curves>(TakeCurves(
      sheet, {GuessDecimalMark(sheet)}, [](std::size_t, std::size_t) { return true; },
      settings.description));
  if (curves->size() == 0) return false;
  SpectraPlot plot;
  plot.SetCurves(curves);
  if (settings.is_reversed) plot.SetReversed(true);
  why = plot.Save(QFile::decodeName(path.c_str()), QString::fromStdString(settings.kind),
                  {settings.width, settings.height})
            .toStdString();
  return why.empty();
}

}  // namespace

}  // namespace nvimport

extern "C" __attribute__((visibility("default"))) bool NvImportDrawPicture(
    nvimport::MemorySheet& sheet, const nvimport::PictureSettings& settings,
    const std::string& path, std::string& why) {
  return nvimport::Draw(sheet, settings, path, why);
}
