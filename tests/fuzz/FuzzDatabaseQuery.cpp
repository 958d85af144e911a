// The input as the file of a query, and as a statement and a connection of one.

#include "nvimport/platform/Connections.h"
#include "plugins/odbc/SavedQuery.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

void Fuzz(std::string_view input) {
  if (const auto query = ParseQuery(input)) {
    Check(!query->connection.empty(), "a query has a database");
    Check(query->connection.find('\0') == std::string::npos, "and no NUL");
  }
  const std::string shown = WithoutSecrets(input);
  Check(ConnectionValue(shown, "PWD").empty(), "a password is not shown");
  Check(HasSeveralStatements(input) || input.find(';') == std::string_view::npos ||
            !HasSeveralStatements(std::string(input) + " "),
        "a blank is no statement");
}

}  // namespace nvimport
