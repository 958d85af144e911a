#pragma once

#include <QDialog>
#include <QString>
#include <QStringList>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/desktop/Curves.h"
#include "nvimport/platform/Dialogs.h"

namespace nvimport {

// The questions of an import as dialogs. None is what the user cancelled.

// What a format says of a file, beside its name.
struct FormatAnswer {
  QString name;
  QString answer;  // "certain"
  bool can_be_read = true;
};
// One answer for each name of the question; the others can't be chosen.
std::optional<std::size_t> AskFileType(QWidget* parent, const FileTypeQuestion& question,
                                       const std::vector<FormatAnswer>& answers,
                                       const std::vector<FormatAnswer>& others);

// A text import choice, and the decimal mark of the numbers in texts.
struct TextImportAnswer {
  TextImportChoice choice;
  char decimal_mark = '.';
};
using PreviewRows = std::vector<std::vector<std::string>>;
// Makes a preview elsewhere and hands it back.
using PreviewMaker =
    std::function<void(const TextImportChoice& choice, std::function<void(PreviewRows)> show)>;
std::optional<TextImportAnswer> AskTextImport(QWidget* parent, const TextImportQuestion& question,
                                              char decimal_mark, const PreviewMaker& preview);

// Begins with what was chosen `before`, if that is anything.
std::optional<ItemsChoice> AskItems(QWidget* parent, const ItemsQuestion& question,
                                    const std::vector<std::size_t>& before = {});

// Makes the curves of the first spectrum elsewhere and hands them back.
using CurvesMaker = std::function<void(std::function<void(std::shared_ptr<const Curves>)> show)>;
std::optional<RangeChoice> AskRange(QWidget* parent, const RangeQuestion& question,
                                    const CurvesMaker& first_spectrum);

std::optional<std::vector<std::string>> AskFileOrder(QWidget* parent,
                                                     const std::vector<std::string>& files);

// The field shows no character of it.
std::optional<std::string> AskSecret(QWidget* parent, const PasswordQuestion& question);

// True to go on in spite of the warning.
bool AskWarning(QWidget* parent, const QString& title, const QString& text);

// What went wrong.
struct Trouble {
  QString text;    // what is said
  QString detail;  // what the reader says of it
  QString file;    // where
  QString advice;  // what can be done
};
void ShowTrouble(QWidget* parent, const Trouble& trouble);

// The dialog of `window` that waits for an answer, null for none.
QDialog* OpenQuestion(const QWidget& window);

}  // namespace nvimport
