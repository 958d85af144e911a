#include "nvimport/platform/Dialogs.h"

#include <utility>

#include "nvimport/platform/Installed.h"
#include "nvimport/platform/Progress.h"

namespace nvimport {

namespace {
thread_local CWnd* current_parent = nullptr;
}  // namespace

ParentWindow::ParentWindow(CWnd* parent) : before_(std::exchange(current_parent, parent)) {}

ParentWindow::~ParentWindow() { current_parent = before_; }

CWnd* ParentWindow::Current() { return current_parent; }

Dialogs::~Dialogs() = default;

std::optional<std::size_t> Dialogs::SelectFileType(const FileTypeQuestion&) { return {}; }

std::optional<TextImportChoice> Dialogs::ImportText(const TextImportQuestion&) { return {}; }

std::optional<ItemsChoice> Dialogs::SelectItems(const ItemsQuestion&) { return {}; }

std::optional<RangeChoice> Dialogs::SelectRange(const RangeQuestion&) { return {}; }

std::optional<std::vector<std::string>> Dialogs::OrderFiles(const FileOrderQuestion& question) {
  return SortFiles(question.files);
}
std::optional<std::vector<std::string>> Dialogs::SortFiles(const std::vector<std::string>&) {
  return {};
}

int Dialogs::ShowMessage(const MessageBoxQuestion&) { return MessageBoxQuestion::kOkAnswer; }

void Dialogs::ShowDetails(const DetailMessage&) {}

std::unique_ptr<Progress> Dialogs::OpenProgress(const ProgressWindow& window) {
  return ShowProgress(window.title);
}
std::unique_ptr<Progress> Dialogs::ShowProgress(const std::string&) { return nullptr; }

void Dialogs::ShowWaitCursor(bool) {}

std::optional<std::string> Dialogs::AskPassword(const PasswordQuestion&) { return ""; }

bool Dialogs::AllowQuery(const QueryQuestion&) { return false; }

Dialogs& Dialogs::Current() {
  Dialogs* const installed = Installed<Dialogs*>::Current();
  return installed != nullptr ? *installed : Immortal<Dialogs>();
}

bool Dialogs::CanAsk() { return Installed<Dialogs*>::Current() != nullptr; }

Dialogs* Dialogs::Install(Dialogs* dialogs) { return Installed<Dialogs*>::Exchange(dialogs); }

Dialogs* Dialogs::InstallForThread(Dialogs* dialogs) {
  return Installed<Dialogs*>::ExchangeOwn(dialogs);
}

}  // namespace nvimport
