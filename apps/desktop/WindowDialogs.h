#pragma once

#include <QEventLoop>
#include <QMetaObject>
#include <QWidget>
#include <map>
#include <optional>
#include <string>

#include "apps/desktop/LibraryThread.h"
#include "apps/desktop/QuestionDialogs.h"
#include "nvimport/platform/Dialogs.h"

namespace nvimport {

// The library's questions, asked in its own thread, put to the user in the window's.
class WindowDialogs : public Dialogs {
 public:
  WindowDialogs(QWidget& window, LibraryThread& library) : window_(window), library_(library) {}

  // Begins an import, of a file when one is known. An import that is repeated asks nothing that
  // was answered.
  void Begin(std::string path, bool repeated);
  // The format, once it is settled: 0 while it is not.
  void SettleFormat(int format) { format_ = format; }
  // How texts are read as numbers, when the user was asked.
  std::optional<char> decimal_mark() const { return decimal_mark_; }

  std::optional<std::size_t> SelectFileType(const FileTypeQuestion& question) override;
  std::optional<TextImportChoice> ImportText(const TextImportQuestion& question) override;
  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override;
  std::optional<RangeChoice> SelectRange(const RangeQuestion& question) override;
  std::optional<std::vector<std::string>> OrderFiles(const FileOrderQuestion& question) override;
  std::optional<std::string> AskPassword(const PasswordQuestion& question) override;
  int ShowMessage(const MessageBoxQuestion& message) override;
  void ShowWaitCursor(bool on) override;

 private:
  // What `show` returns in the window's thread. Meanwhile the library can be asked for a preview.
  template <typename Show>
  auto Ask(Show show) {
    decltype(show()) answer{};
    QEventLoop wait;
    QMetaObject::invokeMethod(
        &window_,
        [&] {
          answer = show();
          QMetaObject::invokeMethod(&wait, &QEventLoop::quit, Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
    wait.exec();
    return answer;
  }

  QWidget& window_;
  LibraryThread& library_;
  std::string path_;
  bool repeated_ = false;
  int format_ = 0;
  std::optional<char> decimal_mark_;
  std::map<std::string, std::vector<std::size_t>> chosen_;  // by the title of the question
};

}  // namespace nvimport
