#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "nvimport/platform/Dialogs.h"
#include "nvimport/qt-dialogs/Export.h"
#include "nvimport/qt-dialogs/TextReading.h"

class QWidget;

namespace nvimport {

class RangeView;

// The questions of imports as dialogs of a Qt application. While one lives it is the installed
// Dialogs, so that a host needs no more than
//
//   nvimport::QtDialogs dialogs(window);
//
// Made and destroyed in the window's thread, before the window. Imports may run there, or in any
// other thread while that one runs its event loop; previews are then made by the asking thread.
class NVIMPORT_QT_API QtDialogs : public Dialogs {
 public:
  explicit QtDialogs(QWidget& window);
  QtDialogs(const QtDialogs&) = delete;
  QtDialogs& operator=(const QtDialogs&) = delete;
  ~QtDialogs() override;

  // Dialogs that are not modal leave the window usable, and closing it to the host: which then
  // calls Cancel. They are modal unless this is said.
  void SetModal(bool modal);
  // What makes the plot of a question for a range; without it a plain one is shown.
  void SetRangeView(std::function<std::unique_ptr<RangeView>()> make);
  // Of which file the next questions are, and as which format (its position, 0 while it is not
  // settled) it is read: the file types are then listed with what each says of it. Not needed.
  void Begin(std::string path, int format = 0);
  void SettleFormat(int format);

  // Has the text import ask for all of a TextReading, of which a reader is told the delimiter
  // alone: the rest is for the host. Where the text has quotes the import ends as if it were
  // cancelled, and text_reading() has them, for another one by CSV File. Without this it asks for
  // the delimiter and the decimal mark.
  void OfferReading(bool offers);
  // What the user said in the text import since Begin.
  const std::optional<TextReading>& text_reading() const;
  // Asks the same of a text that is read without a question, beginning with `now`.
  std::optional<TextReading> AskReading(const std::string& path, const TextReading& now);
  // Whether one is open.
  bool asking() const;
  // Cancels the questions that are open, and each that comes until the next Begin.
  void Cancel();

  std::optional<std::size_t> SelectFileType(const FileTypeQuestion& question) override;
  std::optional<TextImportChoice> ImportText(const TextImportQuestion& question) override;
  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override;
  std::optional<RangeChoice> SelectRange(const RangeQuestion& question) override;
  std::optional<std::vector<std::string>> OrderFiles(const FileOrderQuestion& question) override;
  std::optional<std::string> AskPassword(const PasswordQuestion& question) override;
  bool AllowQuery(const QueryQuestion& question) override;
  int ShowMessage(const MessageBoxQuestion& message) override;
  void ShowDetails(const DetailMessage& message) override;
  std::unique_ptr<Progress> OpenProgress(const ProgressWindow& window) override;
  void ShowWaitCursor(bool on) override;

 private:
  struct State;

  std::shared_ptr<State> state_;
  Dialogs* before_;
};

}  // namespace nvimport
