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
    refused_ = false;
  }
  // Whether the user would not have the query of a file run.
  bool refused() const { return refused_; }

  int ShowMessage(const MessageBoxQuestion& message) override {
    return repeated_ ? int{MessageBoxQuestion::kOkAnswer} : QtDialogs::ShowMessage(message);
  }
  bool AllowQuery(const QueryQuestion& question) override {
    refused_ = !QtDialogs::AllowQuery(question);
    return !refused_;
  }

 private:
  bool repeated_ = false;
  bool refused_ = false;
};

}  // namespace nvimport
