#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "platform/Dialogs.h"

// Answers from a script while it lives; what the script leaves out is cancelled.
class ScriptedDialogs : public Dialogs {
 public:
  ScriptedDialogs() : before_(Install(this)) {}
  ScriptedDialogs(const ScriptedDialogs&) = delete;
  ScriptedDialogs& operator=(const ScriptedDialogs&) = delete;
  ~ScriptedDialogs() override { Install(before_); }

  std::optional<std::size_t> SelectFileType(const FileTypeQuestion& question) override {
    file_type_questions.push_back(question);
    return file_type;
  }
  std::optional<TextImportChoice> ImportText(const TextImportQuestion& question) override {
    return import_text ? import_text(question) : std::nullopt;
  }

  std::optional<std::size_t> file_type;
  std::function<std::optional<TextImportChoice>(const TextImportQuestion&)> import_text;

  std::vector<FileTypeQuestion> file_type_questions;

 private:
  Dialogs* before_;
};
