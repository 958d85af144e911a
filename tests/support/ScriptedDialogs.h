#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "nvimport/platform/Dialogs.h"

namespace nvimport {

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
  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override {
    items_questions.push_back(question);
    return items;
  }
  std::optional<RangeChoice> SelectRange(const RangeQuestion& question) override {
    range_questions.push_back(question);
    return range;
  }

  std::optional<std::size_t> file_type;
  std::function<std::optional<TextImportChoice>(const TextImportQuestion&)> import_text;
  std::optional<ItemsChoice> items;
  std::optional<RangeChoice> range;

  std::vector<FileTypeQuestion> file_type_questions;
  std::vector<ItemsQuestion> items_questions;
  std::vector<RangeQuestion> range_questions;

 private:
  Dialogs* before_;
};

}  // namespace nvimport
