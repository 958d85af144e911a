#include "plugins/complete/CompleteFormats.h"

#include <optional>

#include "nvimport/formats/BuiltInFactories.h"
#include "nvimport/formats/workbook/OpenDocumentFile.h"
#include "nvimport/formats/workbook/XmlSpreadsheetFile.h"
#ifdef NVIMPORT_HAS_HTML
#include "plugins/complete/HtmlFile.h"
#endif

namespace nvimport {

namespace {

// Of a format that has no habits nothing.
template <typename Factory>
struct WithoutHabits {};

template <typename Factory>
requires requires { typename Factory::Rules; }
struct WithoutHabits<Factory> {
  Factory factory = Factory(Factory::Rules::Off());
};

// What the library itself has no format for, behind those. Callers keep the index of a format here
// too.
struct MoreFactories {
  OpenDocumentFileFactory open_document_file_factory;
  XmlSpreadsheetFileFactory xml_spreadsheet_file_factory;
#ifdef NVIMPORT_HAS_HTML
  HtmlFileFactory html_file_factory;
#endif
};

struct Complete {
  // Apart from the formats of the library.
  Complete() {
    const FormatRegistry::Instead apart(formats);
    factories.emplace();
    more.emplace();
  }

  FormatRegistry formats;
  std::optional<FactoriesOf<WithoutHabits>> factories;
  std::optional<MoreFactories> more;
};

}  // namespace

FormatRegistry& CompleteFormats() {
  static Complete complete;
  return complete.formats;
}

}  // namespace nvimport
