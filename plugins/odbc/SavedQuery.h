#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace nvimport {

// A database and what is asked of it, as query tools save that.
struct SavedQuery {
  std::string connection{};  // "DSN=lab;UID=reader"
  std::string statement{};   // in SQL; empty where a table is to be chosen
  std::string table{};       // the whole of it instead of a statement
};

// The query of a file of either form, UTF-8 or UTF-16: four lines, of which the first is XLODBC,
// the third the connection and the fourth and the following the statement; or XML in a web page,
// whose element OfficeDataConnection has a Connection of type ODBC. None for another file.
std::optional<SavedQuery> ParseQuery(std::string_view bytes);

// The same of a file; one of more than a megabyte has none.
std::optional<SavedQuery> ReadQuery(const char* path);

// Whether a statement is followed by another, by the rules of some database.
bool HasSeveralStatements(std::string_view statement);

}  // namespace nvimport
