#include "platform/Dialogs.h"

#include <utility>

namespace {
Dialogs* installed = nullptr;
}  // namespace

Dialogs::~Dialogs() = default;

std::optional<std::size_t> Dialogs::SelectFileType(const FileTypeQuestion&) { return {}; }

std::optional<TextImportChoice> Dialogs::ImportText(const TextImportQuestion&) { return {}; }

Dialogs& Dialogs::Current() {
  static Dialogs nobody;
  return installed != nullptr ? *installed : nobody;
}

Dialogs* Dialogs::Install(Dialogs* dialogs) { return std::exchange(installed, dialogs); }
