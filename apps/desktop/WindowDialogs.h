#pragma once

#include <string>
#include <utility>

#include "nvimport/qt-dialogs/QtDialogs.h"

namespace nvimport {

// The questions of the window's imports, over the window's own plot. They leave it usable.
class WindowDialogs : public QtDialogs {
 public:
  explicit WindowDialogs(QWidget& window);

  // An import that is repeated asks nothing that was answered.
  void Begin(std::string path, bool repeated) {
    QtDialogs::Begin(std::move(path));
    repeated_ = repeated;
  }

  int ShowMessage(const MessageBoxQuestion& message) override {
    return repeated_ ? int{MessageBoxQuestion::kOkAnswer} : QtDialogs::ShowMessage(message);
  }

 private:
  bool repeated_ = false;
};

}  // namespace nvimport
