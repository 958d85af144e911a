#include "plugins/odbc/OdbcFormats.h"

#include <optional>

#include "plugins/odbc/DatabaseFile.h"

namespace nvimport {

namespace {

struct OfOdbc {
  // Apart from the formats of the library.
  OfOdbc() {
    const FormatRegistry::Instead apart(formats);
    queries.emplace();
  }

  FormatRegistry formats;
  std::optional<DatabaseFileFactory> queries;
};

}  // namespace

FormatRegistry& OdbcFormats() {
  static OfOdbc of_odbc;
  return of_odbc.formats;
}

}  // namespace nvimport
