#include "apps/desktop/PlotOutput.h"

#include <QApplication>
#include <QClipboard>
#include <QFileInfo>
#include <QMimeData>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinter>
#include <algorithm>
#include <memory>
#include <utility>

#include "apps/desktop/FileDialogs.h"
#include "apps/desktop/Jobs.h"
#include "apps/desktop/Page.h"
#include "apps/desktop/Trouble.h"

namespace nvimport {

PlotOutput::PlotOutput(QWidget& window, Jobs& jobs)
    : QObject(&window), window_(window), jobs_(jobs) {}

void PlotOutput::Copy(Page& page) {
  struct Pictures {
    QImage image;
    QByteArray svg;
  };
  jobs_.Run(
      tr("Copying the plot"),
      [report = jobs_.Reporting(), picture = page.plot().Picture(page.plot().size())] {
        return Pictures{QImage::fromData(picture.Bytes("png", report)),
                        picture.Bytes("svg", report)};
      },
      [this](const Pictures& pictures) {
        if (!jobs_.stopped()) {
          auto* const copied = new QMimeData;
          copied->setImageData(pictures.image);
          copied->setData("image/svg+xml", pictures.svg);
          QApplication::clipboard()->setMimeData(copied);
        }
        emit Finished();
      });
}

void PlotOutput::Print(Page& page) {
  const auto printer = std::make_shared<QPrinter>();
  printer->setDocName(page.name());
  printer->setPageOrientation(QPageLayout::Landscape);
  if (QPrintDialog dialog(printer.get(), &window_); dialog.exec() != QDialog::Accepted) return;
  jobs_.Run(
      tr("Printing %1").arg(page.name()),
      [report = jobs_.Reporting(), printer, picture = page.plot().Picture(page.plot().size())] {
        QPainter painter;
        if (!painter.begin(printer.get())) return false;
        // As large as the page allows.
        const QRectF paper = painter.viewport();
        const double scale =
            std::min(paper.width() / picture.size.width(), paper.height() / picture.size.height());
        painter.scale(scale, scale);
        if (!picture.Draw(painter, report)) printer->abort();
        return painter.end();
      },
      [this](bool is_printed) {
        jobs_.Tell(is_printed && !jobs_.stopped() ? tr("The plot is printed.")
                                                  : tr("Nothing was printed."));
        emit Finished();
      });
}

void PlotOutput::Save(Page& page) {
  if (const auto picture =
          AskPicture(&window_, page.read().again.files.front(), page.plot().size()))
    SaveTo(page, picture->path, picture->size, picture->resolution);
}

void PlotOutput::SaveTo(Page& page, const QString& path, QSize size, int resolution) {
  PlotPicture picture = page.plot().Picture(size.isEmpty() ? page.plot().size() : size);
  picture.resolution = resolution;
  jobs_.Run(
      tr("Drawing %1").arg(QFileInfo(path).fileName()),
      [report = jobs_.Reporting(), path, picture = std::move(picture)] {
        return picture.Write(path, {}, report);
      },
      [this, path](const QString& failure) {
        if (!failure.isEmpty())
          ShowTrouble(&window_, {failure, {}, path, tr("Choose another place or another type.")});
        else
          jobs_.Tell(jobs_.stopped() ? tr("Nothing was written.") : tr("%1 is written.").arg(path));
        emit Finished();
      });
}

}  // namespace nvimport
