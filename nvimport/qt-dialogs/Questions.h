#pragma once

#include <QDialog>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "nvimport/platform/Dialogs.h"
#include "nvimport/qt-dialogs/RangeView.h"
#include "nvimport/qt-dialogs/TextReading.h"

namespace nvimport {

// The questions of an import as dialogs. None is what the user cancelled.

// The window that they belong to.
class QuestionWindow {
 public:
  explicit QuestionWindow(QWidget& window) : window_(&window) {}

  void SetModal(bool modal) { modal_ = modal; }
  QWidget* window() const { return window_; }
  // Shows a dialog until it is answered, and returns its result.
  int Answer(QDialog& dialog);
  bool asking() const { return !open_.empty(); }
  // Rejects those that are shown.
  void Cancel();

 private:
  QPointer<QWidget> window_;
  bool modal_ = true;
  std::vector<QDialog*> open_;
};

// What a format says of a file, beside its name.
struct FormatAnswer {
  QString name;
  QString answer;  // "certain"
  bool can_be_read = true;
};
// One answer for each name of the question; the others can't be chosen.
std::optional<std::size_t> AskFileType(QuestionWindow& window, const FileTypeQuestion& question,
                                       const std::vector<FormatAnswer>& answers,
                                       const std::vector<FormatAnswer>& others);

using PreviewRows = std::vector<std::vector<std::string>>;  // in UTF-8
// Makes a preview elsewhere and hands it back.
using PreviewMaker =
    std::function<void(const TextReading& reading, std::function<void(PreviewRows)> show)>;
// What a text import asks for.
enum class TextQuestions {
  kDelimiter,  // and the decimal mark
  kReading     // all that a TextReading says
};
std::optional<TextReading> AskTextImport(QuestionWindow& window, const QString& title,
                                         const std::string& path, const TextReading& now,
                                         TextQuestions asked, const PreviewMaker& preview);

// Begins with what was chosen `before`, if that is anything.
std::optional<ItemsChoice> AskItems(QuestionWindow& window, const ItemsQuestion& question,
                                    const std::vector<std::size_t>& before = {});

struct Spectrum {
  std::vector<double> x;
  std::vector<float> y;
};
// Reads the first spectrum elsewhere and hands it back.
using SpectrumReader = std::function<void(std::function<void(Spectrum)> show)>;
std::optional<RangeChoice> AskRange(QuestionWindow& window, const RangeQuestion& question,
                                    RangeView& view, const SpectrumReader& first_spectrum);

std::optional<std::vector<std::string>> AskFileOrder(QuestionWindow& window,
                                                     const std::vector<std::string>& files);

// The field shows no character of it.
std::optional<std::string> AskSecret(QuestionWindow& window, const PasswordQuestion& question);

// Whether to run it: not unless that is said.
bool AskQuery(QuestionWindow& window, const QueryQuestion& question);

// The MessageBoxQuestion::Answer.
int AskMessage(QuestionWindow& window, const MessageBoxQuestion& message);

void ShowDetail(QuestionWindow& window, const DetailMessage& message);

}  // namespace nvimport
