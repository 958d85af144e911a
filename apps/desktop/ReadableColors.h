#pragma once

#include <QObject>
#include <QPalette>

namespace nvimport {

// The palette with texts that stand out from what is behind them; what does already stays.
QPalette Readable(QPalette palette);

// Keeps the application's palette so, whatever palette the system or the user chooses.
class ReadableColors : public QObject {
 public:
  explicit ReadableColors(QObject& application);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
};

}  // namespace nvimport
