// A Qt application with a table and a plot, which opens whatever NvImport reads. What an import has
// to ask is asked in dialogs over its window, and a range of points over its own plot.
#pragma once

#include <nvimport/framework/MemorySheet.h>
#include <nvimport/hosting/import/Import.h>
#include <nvimport/platform/Progress.h>
#include <nvimport/qt-dialogs/QtDialogs.h>
#include <nvimport/qt-dialogs/RangeView.h>

#include <QFile>
#include <QFileDialog>
#include <QMainWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPainter>
#include <QStatusBar>
#include <QTableWidget>
#include <algorithm>
#include <memory>

// The application's own plot: bars, and a range that is dragged.
class Plot : public QWidget, public nvimport::RangeView {
 public:
  QWidget* Widget() override { return this; }
  void ShowAxis(double from, double to) override { first_ = from, last_ = to; }
  void ShowSpectrum(const std::vector<double>&, const std::vector<float>& y) override { y_ = y; }
  void ShowRange(double from, double to) override {
    from_ = from, to_ = to;
    update();
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    const auto pixel = [&](double x) { return (x - first_) / (last_ - first_) * width(); };
    const QRectF range(QPointF(pixel(from_), 0), QPointF(pixel(to_), height()));
    painter.fillRect(range.normalized(), palette().highlight());
    if (y_.empty()) return;
    const auto [low, high] = std::minmax_element(y_.begin(), y_.end());
    const float scale = static_cast<float>(height()) / std::max(*high - *low, 1e-6F);
    for (std::size_t i = 0; i < y_.size(); ++i) {
      const auto x = static_cast<float>(i) * static_cast<float>(width() - 1) /
                     static_cast<float>(std::max<std::size_t>(y_.size() - 1, 1));
      painter.drawLine(QPointF(x, height()), QPointF(x, height() - (y_[i] - *low) * scale));
    }
  }
  void mousePressEvent(QMouseEvent* event) override { fixed_ = XAt(*event); }
  void mouseMoveEvent(QMouseEvent* event) override { dragged(fixed_, XAt(*event)); }

 private:
  double XAt(const QMouseEvent& event) const {
    return first_ + event.position().x() / width() * (last_ - first_);
  }

  double first_ = 0, last_ = 1, from_ = 0, to_ = 0, fixed_ = 0;
  std::vector<float> y_;
};

class HostWindow : public QMainWindow {
 public:
  HostWindow() {
    resize(800, 500);
    setCentralWidget(&table_);
    menuBar()->addAction(tr("&Open..."), this, [this] {
      const QString path = QFileDialog::getOpenFileName(this, tr("Open"));
      if (!path.isEmpty()) Open(path);
    });
    dialogs_.SetRangeView([] { return std::make_unique<Plot>(); });
  }
  ~HostWindow() override { takeCentralWidget(); }

  // False when nothing was read.
  bool Open(const QString& path) {
    nvimport::ImportRequest request;
    request.files = {QFile::encodeName(path).toStdString()};
    request.dialogs = &dialogs_;
    const auto progress = dialogs_.OpenProgress({tr("Reading %1").arg(path).toStdString()});
    request.progress = [&](const nvimport::ImportProgress& now) {
      return progress->Advance(now.position, now.size);
    };
    nvimport::MemorySheet sheet;
    const nvimport::ImportResult result = nvimport::ImportFile(request, sheet);
    if (!result) {
      statusBar()->showMessage(QString::fromStdString(result.failure->text));
      return false;
    }
    table_.setRowCount(sheet.GetNumberOfRows());
    table_.setColumnCount(sheet.GetNumberOfColumns());
    for (int row = 1; row <= table_.rowCount(); ++row)
      for (int column = 1; column <= table_.columnCount(); ++column) {
        const nvimport::MemoryCell cell = sheet.GetCell(column, row);
        const QString text = cell.kind == nvimport::CellKind::kNumber
                                 ? QString::number(cell.exact())
                                 : QString::fromUtf8(cell.text.data(), qsizetype(cell.text.size()));
        table_.setItem(row - 1, column - 1, new QTableWidgetItem(text));
      }
    return true;
  }

  QTableWidget& table() { return table_; }

 private:
  QTableWidget table_;
  nvimport::QtDialogs dialogs_{*this};  // all that the questions take
};
