#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "nvimport/platform/Dialogs.h"

namespace nvimport {

class ProgressBar;

// Asks the library's questions in the terminal.
class TerminalDialogs : public Dialogs {
 public:
  // The file is called `name`. The bar is taken away before something is asked.
  TerminalDialogs(std::string name, ProgressBar& progress)
      : name_(std::move(name)), progress_(progress) {}

  std::optional<std::size_t> SelectFileType(const FileTypeQuestion& question) override;
  std::optional<TextImportChoice> ImportText(const TextImportQuestion& question) override;
  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override;
  std::optional<RangeChoice> SelectRange(const RangeQuestion& question) override;
  std::optional<std::vector<std::string>> OrderFiles(const FileOrderQuestion& question) override;
  std::optional<std::string> AskPassword(const PasswordQuestion& question) override;
  bool AllowQuery(const QueryQuestion& question) override;
  int ShowMessage(const MessageBoxQuestion& message) override;

 private:
  // Asks until `take` makes something of the line; an empty line answers `usual`.
  template <typename Take>
  auto Ask(const std::string& prompt, const std::string& usual, Take take)
      -> decltype(take(std::string()));

  std::string name_;
  ProgressBar& progress_;
};

}  // namespace nvimport
