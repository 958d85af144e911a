#pragma once

#include <QStringList>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/desktop/Databases.h"
#include "apps/desktop/Trouble.h"
#include "nvimport/framework/MemorySheet.h"
#include "nvimport/hosting/export/Export.h"
#include "nvimport/qt-dialogs/TextReading.h"

namespace nvimport {

class Description;
class JobProgress;
class WindowDialogs;

// What is to be read.
struct OpenRequest {
  std::vector<std::string> files;
  int filter = 1;                         // position in the open dialog
  int format = 0;                         // position in the list of formats, once it is known
  std::vector<unsigned char> options;     // of the import that is repeated, or none
  std::optional<TextReading> text;        // what the user said of a delimited text
  bool chooses = false;                   // how a text is read that would not be asked
  std::optional<bool> kept_rules;         // else those of the import that is repeated
  std::optional<DatabaseQuery> database;  // in place of a file: `files` is what it is called
};

// What came of it.
struct OpenResult {
  std::shared_ptr<MemorySheet> sheet;              // null when nothing was read
  OpenRequest again;                               // reads the same without a question
  std::shared_ptr<const Description> description;  // of its axes too
  QString format;                                  // its name
  bool kept_rules = false;                         // were read by
  NumberMarks marks;                               // of numbers in texts
  bool reads_unasked = false;                      // a text whose reader asks nothing
  QStringList warnings;
  QStringList left;  // what was not chosen of what the file holds
  QStringList notes;
  std::optional<Trouble> trouble;  // none when the user cancelled
};

// Reads through the driver, asking `dialogs`; in the library's thread.
OpenResult Open(const OpenRequest& request, WindowDialogs& dialogs, JobProgress& progress);

// What can be written, in the order of the save dialog.
struct ExportKind {
  QString filter;  // "CSV (*.csv)"
  OutputFormat format;
};
std::vector<ExportKind> ExportKinds();

// The kind that a file of that name has, the chosen one where it fits; none for a name that no kind
// has.
std::optional<std::size_t> KindFor(const QString& path, std::size_t chosen);

struct ExportResult {
  bool written = false;
  QStringList notes;               // on cells that may not read back
  std::optional<Trouble> trouble;  // none when the user cancelled
};

// Writes the whole sheet; in the library's thread.
ExportResult Export(MemorySheet& sheet, const std::string& path, const ExportKind& kind,
                    JobProgress& progress);

// The filters of the open dialog, and the one it begins with, from 0.
QStringList OpenFilters(int& first);
// Remembers that a file was read as `format`, 0 for any, by the filter chosen there.
void RememberFormat(int format);

}  // namespace nvimport
