#pragma once

#include <QPointer>
#include <QProgressDialog>
#include <QString>
#include <atomic>
#include <memory>

#include "nvimport/platform/Progress.h"

namespace nvimport {

// A window with a bar and Cancel, for an import in the window's thread or another.
class ProgressDialog : public Progress {
 public:
  ProgressDialog(QWidget* window, const QString& title);
  ProgressDialog(const ProgressDialog&) = delete;
  ProgressDialog& operator=(const ProgressDialog&) = delete;
  ~ProgressDialog() override;

  bool Advance(std::uint64_t position, std::uint64_t size) override;

 private:
  // Lives in the window's thread, and may outlive the import's side.
  struct Shown {
    QPointer<QProgressDialog> dialog;
    std::atomic<bool> stopped = false;
  };

  QPointer<QWidget> window_;
  std::shared_ptr<Shown> shown_ = std::make_shared<Shown>();
};

}  // namespace nvimport
