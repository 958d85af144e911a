// The least work that fetches the rows of a statement: by arrays of 1,000, and drops them. Its
// columns are taken as what they are, numbers or texts of at most 255 characters.

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <vector>

namespace {

void Check(SQLRETURN status, const char* what) {
  if (SQL_SUCCEEDED(status)) return;
  std::fprintf(stderr, "fetch-rows: %s failed\n", what);
  std::exit(1);
}

// As the interface takes numbers.
void* AsPointer(std::uintptr_t number) {
  return reinterpret_cast<void*>(number);  // NOLINT(performance-no-int-to-ptr)
}

SQLCHAR* Text(char* text) { return reinterpret_cast<SQLCHAR*>(text); }

}  // namespace

// fetch-rows CONNECTION STATEMENT: says how many rows there were.
int main(int count, char** arguments) {
  constexpr SQLULEN kRows = 1000;
  constexpr SQLLEN kText = 2 * 256;
  if (count != 3) return 2;
  SQLHENV environment = nullptr;
  SQLHDBC connection = nullptr;
  SQLHSTMT statement = nullptr;
  SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment);
  SQLSetEnvAttr(environment, SQL_ATTR_ODBC_VERSION, AsPointer(SQL_OV_ODBC3), 0);
  SQLAllocHandle(SQL_HANDLE_DBC, environment, &connection);
  Check(SQLDriverConnect(connection, nullptr, Text(arguments[1]), SQL_NTS, nullptr, 0, nullptr,
                         SQL_DRIVER_NOPROMPT),
        "connecting");
  SQLSetConnectAttr(connection, SQL_ATTR_AUTOCOMMIT, AsPointer(SQL_AUTOCOMMIT_OFF),
                    SQL_IS_UINTEGER);
  SQLAllocHandle(SQL_HANDLE_STMT, connection, &statement);
  SQLULEN fetched = 0;
  SQLSetStmtAttr(statement, SQL_ATTR_ROW_ARRAY_SIZE, AsPointer(kRows), 0);
  SQLSetStmtAttr(statement, SQL_ATTR_ROWS_FETCHED_PTR, &fetched, 0);
  Check(SQLExecDirect(statement, Text(arguments[2]), SQL_NTS), "the statement");
  SQLSMALLINT columns = 0;
  SQLNumResultCols(statement, &columns);
  std::vector<std::vector<char>> values(static_cast<std::size_t>(columns));
  std::vector<std::vector<SQLLEN>> lengths(values.size(), std::vector<SQLLEN>(kRows));
  for (std::size_t i = 0; i < values.size(); ++i) {
    const auto number = static_cast<SQLUSMALLINT>(i + 1);
    SQLLEN type = 0;
    SQLColAttribute(statement, number, SQL_DESC_CONCISE_TYPE, nullptr, 0, nullptr, &type);
    constexpr SQLLEN kWhole[] = {SQL_SMALLINT, SQL_INTEGER, SQL_BIGINT};
    constexpr SQLLEN kReal[] = {SQL_REAL, SQL_FLOAT, SQL_DOUBLE};
    SQLSMALLINT taken = SQL_C_WCHAR;
    if (std::ranges::find(kWhole, type) != std::end(kWhole)) taken = SQL_C_SBIGINT;
    if (std::ranges::find(kReal, type) != std::end(kReal)) taken = SQL_C_DOUBLE;
    const SQLLEN width = taken == SQL_C_WCHAR ? kText : SQLLEN{8};
    values[i].resize(kRows * static_cast<std::size_t>(width));
    Check(SQLBindCol(statement, number, taken, values[i].data(), width, lengths[i].data()),
          "a column");
  }
  std::size_t rows = 0;
  while (SQL_SUCCEEDED(SQLFetch(statement))) rows += fetched;
  std::printf("%zu rows\n", rows);
  SQLFreeHandle(SQL_HANDLE_STMT, statement);
  SQLEndTran(SQL_HANDLE_DBC, connection, SQL_ROLLBACK);
  SQLDisconnect(connection);
  SQLFreeHandle(SQL_HANDLE_DBC, connection);
  SQLFreeHandle(SQL_HANDLE_ENV, environment);
  return 0;
}
