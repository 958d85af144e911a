#include "plugins/odbc/OdbcSession.h"

#include <sqlucode.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "nvimport/platform/Connections.h"
#include "nvimport/platform/Progress.h"
#include "nvimport/platform/Utf16.h"
#include "nvimport/platform/Utf8.h"
#include "plugins/odbc/SavedQuery.h"

namespace nvimport {

namespace {

static_assert(sizeof(SQLWCHAR) == 2);

using Wide = std::vector<SQLWCHAR>;

constexpr auto kSlice = std::chrono::milliseconds(50);
constexpr auto kPatience = std::chrono::milliseconds(800);  // with a driver that is to stop
constexpr std::size_t kBlockBytes = std::size_t{2} << 20;
constexpr std::size_t kMostRows = 1000;
constexpr std::size_t kShortText = 255;                   // characters that have a place in rows
constexpr std::size_t kMostText = std::size_t{32} << 20;  // bytes of the long ones in a block

// With its NUL.
Wide ToWide(std::string_view utf8) {
  Wide wide;
  while (!utf8.empty()) {
    const char32_t c = TakeCharacter(utf8);
    if (c > 0xFFFF) {
      wide.push_back(static_cast<SQLWCHAR>(0xD800 + ((c - 0x10000) >> 10)));
      wide.push_back(static_cast<SQLWCHAR>(0xDC00 + ((c - 0x10000) & 0x3FF)));
    } else {
      wide.push_back(static_cast<SQLWCHAR>(c));
    }
  }
  wide.push_back(0);
  return wide;
}

std::string ToUtf8(const SQLWCHAR* wide, std::size_t count) {
  std::string text;
  AppendUtf16(text, {reinterpret_cast<const char*>(wide), 2 * count});
  return text;
}

bool IsGood(SQLRETURN status) { return SQL_SUCCEEDED(status); }

// As the interface takes numbers.
void* AsPointer(std::uintptr_t number) {
  return reinterpret_cast<void*>(number);  // NOLINT(performance-no-int-to-ptr)
}

// A handle of some kind, freed at the end.
template <SQLSMALLINT kKind>
struct Handle {
  Handle() = default;
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { Free(); }

  bool Make(SQLHANDLE parent) {
    Free();
    return IsGood(SQLAllocHandle(kKind, parent, &handle));
  }
  void Free() {
    if (handle != SQL_NULL_HANDLE) SQLFreeHandle(kKind, std::exchange(handle, nullptr));
  }

  SQLHANDLE handle = SQL_NULL_HANDLE;
};

using Statement = Handle<SQL_HANDLE_STMT>;

// A text of the row that a statement has come to.
std::string TextOf(const Statement& statement, SQLUSMALLINT column) {
  std::array<SQLWCHAR, 512> wide{};
  SQLLEN bytes = 0;
  const SQLRETURN status = SQLGetData(statement.handle, column, SQL_C_WCHAR, wide.data(),
                                      static_cast<SQLLEN>(sizeof(SQLWCHAR) * wide.size()), &bytes);
  if (!IsGood(status) || bytes < 0) return {};
  return ToUtf8(wide.data(),
                std::min<std::size_t>(static_cast<std::size_t>(bytes) / 2, wide.size() - 1));
}

// What the driver said last, "[08001] connection refused".
std::string WordsOf(SQLSMALLINT kind, SQLHANDLE handle) {
  std::array<SQLWCHAR, 6> state{};
  std::array<SQLWCHAR, 1024> text{};
  SQLINTEGER native = 0;
  SQLSMALLINT length = 0;
  if (!IsGood(SQLGetDiagRecW(kind, handle, 1, state.data(), &native, text.data(),
                             static_cast<SQLSMALLINT>(text.size()), &length)))
    return {};
  const auto count = std::clamp<std::size_t>(static_cast<std::size_t>(std::max<int>(length, 0)), 0,
                                             text.size() - 1);
  std::string words = "[" + ToUtf8(state.data(), 5) + "] " + ToUtf8(text.data(), count);
  words.erase(words.find_last_not_of(" \r\n") + 1);
  return words;
}

std::string InfoOf(SQLHDBC connection, SQLUSMALLINT what) {
  std::array<SQLWCHAR, 256> text{};
  SQLSMALLINT bytes = 0;
  if (!IsGood(SQLGetInfoW(connection, what, text.data(),
                          static_cast<SQLSMALLINT>(sizeof(SQLWCHAR) * text.size()), &bytes)))
    return {};
  return ToUtf8(text.data(),
                std::min<std::size_t>(static_cast<std::size_t>(std::max<int>(bytes, 0)) / 2,
                                      text.size() - 1));
}

QueryColumn::Kind KindOf(SQLSMALLINT type, bool is_unsigned) {
  switch (type) {
    case SQL_BIGINT:
      return is_unsigned ? QueryColumn::Kind::kDecimal : QueryColumn::Kind::kWhole;
    case SQL_BIT:
    case SQL_TINYINT:
    case SQL_SMALLINT:
    case SQL_INTEGER:
      return QueryColumn::Kind::kWhole;
    case SQL_REAL:
      return QueryColumn::Kind::kFloat;
    case SQL_FLOAT:
    case SQL_DOUBLE:
      return QueryColumn::Kind::kDouble;
    case SQL_DECIMAL:
    case SQL_NUMERIC:
      return QueryColumn::Kind::kDecimal;
    case SQL_DATE:
    case SQL_TIME:
    case SQL_TIMESTAMP:
    case SQL_TYPE_DATE:
    case SQL_TYPE_TIME:
    case SQL_TYPE_TIMESTAMP:
      return QueryColumn::Kind::kTime;
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY:
      return QueryColumn::Kind::kBinary;
    default:
      return QueryColumn::Kind::kText;
  }
}

SQLSMALLINT BoundAs(QueryColumn::Kind kind) {
  switch (kind) {
    case QueryColumn::Kind::kWhole:
      return SQL_C_SBIGINT;
    case QueryColumn::Kind::kFloat:
      return SQL_C_FLOAT;
    case QueryColumn::Kind::kDouble:
      return SQL_C_DOUBLE;
    default:
      return SQL_C_WCHAR;
  }
}

// How a driver is told not to keep all rows in memory.
std::string StreamingFor(const std::string& driver, const std::string& connection) {
  struct Way {
    std::string_view driver;
    std::string_view key;
    std::string_view words;
  };
  constexpr Way kWays[] = {{"psqlodbc", "UseDeclareFetch", "UseDeclareFetch=1;Fetch=1000"},
                           {"sqlite", "StepAPI", "StepAPI=1"},
                           {"maodbc", "OPTIONS", "OPTIONS=3145728"},
                           {"myodbc", "NO_CACHE", "NO_CACHE=1;FORWARD_CURSOR=1"}};
  for (const Way& way : kWays)
    if (driver.find(way.driver) != std::string::npos &&
        ConnectionValue(connection, way.key).empty())
      return ";" + std::string(way.words);
  return {};
}

// What has a transaction change nothing.
const char* ReadOnlyFor(const std::string& server) {
  if (server.starts_with("PostgreSQL"))
    return "SET TRANSACTION ISOLATION LEVEL REPEATABLE READ, READ ONLY";
  if (server.starts_with("MariaDB") || server.starts_with("MySQL"))
    return "SET TRANSACTION READ ONLY";
  if (server.starts_with("SQLite")) return "PRAGMA query_only = ON";
  return nullptr;
}

// As the database quotes a name that it would not take without.
std::string QuotedName(const std::string& name, const std::string& quote) {
  const bool is_plain = !name.empty() && std::ranges::all_of(name, [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
  }) && (name.front() < '0' || name.front() > '9');
  if (is_plain || quote.empty() || quote == " ") return name;
  std::string quoted = quote;
  for (const char c : name) quoted.append(c == quote.front() ? 2 : 1, c);
  return quoted + quote;
}

}  // namespace

// A parameter where the driver finds it.
struct BoundParameter {
  explicit BoundParameter(const QueryParameter& given) {
    if (const auto* const number = std::get_if<std::int64_t>(&given)) {
      whole = *number;
      length = sizeof whole;
      type = SQL_BIGINT;
      held_as = SQL_C_SBIGINT;
    } else if (const auto* const real = std::get_if<double>(&given)) {
      value = *real;
      length = sizeof value;
      type = SQL_DOUBLE;
      held_as = SQL_C_DOUBLE;
    } else if (const auto* const words = std::get_if<std::string>(&given)) {
      text = ToWide(*words);
      length = static_cast<SQLLEN>(sizeof(SQLWCHAR) * (text.size() - 1));
    }
  }
  void* place() {
    if (held_as == SQL_C_SBIGINT) return &whole;
    return held_as == SQL_C_DOUBLE ? static_cast<void*>(&value) : text.data();
  }

  SQLBIGINT whole = 0;
  double value = 0;
  Wide text{0};
  SQLLEN length = SQL_NULL_DATA;
  SQLSMALLINT type = SQL_WVARCHAR;
  SQLSMALLINT held_as = SQL_C_WCHAR;
};

// What the worker has to do with alone while it works.
struct OdbcSession::Handles {
  Handles() = default;
  Handles(const Handles&) = delete;
  Handles& operator=(const Handles&) = delete;
  ~Handles() { Close(); }

  // Leaves the database as it was.
  void Close() {
    running = SQL_NULL_HANDLE;
    statement.Free();
    if (!std::exchange(is_connected, false)) return;
    SQLEndTran(SQL_HANDLE_DBC, connection.handle, SQL_ROLLBACK);
    SQLDisconnect(connection.handle);
  }
  bool Connect(const std::string& words);
  bool Open(const std::string& words);
  bool BeginReadOnly();
  bool Run(const char* sql);
  bool ListTables();
  bool Prepare(const std::string& sql);
  bool Count(const std::string& sql);
  bool BindParameters(SQLHSTMT stmt);
  bool DescribeColumns(int count);
  bool Bind();
  bool FetchAhead();
  bool TakeLongTexts(std::size_t first, std::size_t count);
  bool TakeLongText(std::size_t column, SQLLEN& length);

  bool Fail(SQLSMALLINT kind, SQLHANDLE handle) {
    said = WordsOf(kind, handle);
    return false;
  }
  bool FailStatement() { return Fail(SQL_HANDLE_STMT, statement.handle); }

  Handle<SQL_HANDLE_ENV> environment;
  Handle<SQL_HANDLE_DBC> connection;
  Statement statement;
  std::atomic<SQLHANDLE> running{SQL_NULL_HANDLE};  // what can be told to stop
  bool is_connected = false;
  SQLUINTEGER login_seconds = 0;
  std::string said;
  std::string driver;
  std::string server;
  std::vector<QueryColumn> columns;
  std::vector<DatabaseTable> tables;
  std::int64_t counted = -1;
  std::size_t row_bytes = 0;
  std::size_t rows_at_once = 1;  // of a fetch
  SQLULEN fetched = 0;
  SQLLEN offset = 0;  // of the block from the place that is bound
  char* bound = nullptr;
  bool is_at_end = false;
  std::vector<BoundParameter> parameters;
  RowBlock ahead;
  std::size_t text_bytes = 0;  // of its long ones
};

bool OdbcSession::Handles::Open(const std::string& words) {
  if (std::exchange(is_connected, false)) SQLDisconnect(connection.handle);
  if (environment.handle == SQL_NULL_HANDLE && !environment.Make(SQL_NULL_HANDLE)) return false;
  SQLSetEnvAttr(environment.handle, SQL_ATTR_ODBC_VERSION, AsPointer(SQL_OV_ODBC3), 0);
  if (!connection.Make(environment.handle)) return Fail(SQL_HANDLE_ENV, environment.handle);
  SQLHDBC dbc = connection.handle;
  const auto set = [&](SQLINTEGER attribute, std::uintptr_t value) {
    SQLSetConnectAttrW(dbc, attribute, AsPointer(value), SQL_IS_UINTEGER);
  };
  set(SQL_ATTR_LOGIN_TIMEOUT, login_seconds);
  set(SQL_ATTR_ACCESS_MODE, SQL_MODE_READ_ONLY);
  Wide wide = ToWide(words);
  std::array<SQLWCHAR, 1024> completed{};
  SQLSMALLINT length = 0;
  is_connected = IsGood(SQLDriverConnectW(
      dbc, nullptr, wide.data(), static_cast<SQLSMALLINT>(wide.size() - 1), completed.data(),
      static_cast<SQLSMALLINT>(completed.size()), &length, SQL_DRIVER_NOPROMPT));
  return is_connected || Fail(SQL_HANDLE_DBC, dbc);
}

bool OdbcSession::Handles::Connect(const std::string& words) {
  constexpr std::size_t kLongest = 32'000;  // of which a length has 16 bits
  if (words.size() > kLongest) {
    said = "the connection is too long";
    return false;
  }
  if (!Open(words)) return false;
  const std::string name = InfoOf(connection.handle, SQL_DRIVER_NAME);
  if (const std::string more = StreamingFor(name, words); !more.empty() && !Open(words + more))
    return false;
  driver = name + " " + InfoOf(connection.handle, SQL_DRIVER_VER);
  server = InfoOf(connection.handle, SQL_DBMS_NAME) + " " + InfoOf(connection.handle, SQL_DBMS_VER);
  // So that the server notices where this process ends meanwhile; older ones don't know it.
  if (server.starts_with("PostgreSQL")) Run("SET client_connection_check_interval = 1000");
  // Which would have SQLite's driver keep all rows.
  const bool has_transaction = !server.starts_with("SQLite");
  if (has_transaction)
    SQLSetConnectAttrW(connection.handle, SQL_ATTR_AUTOCOMMIT, AsPointer(SQL_AUTOCOMMIT_OFF),
                       SQL_IS_UINTEGER);
  return BeginReadOnly();
}

bool OdbcSession::Handles::BeginReadOnly() {
  const char* const sql = ReadOnlyFor(server);
  return sql == nullptr || Run(sql);
}

bool OdbcSession::Handles::Run(const char* sql) {
  Statement one;
  if (!one.Make(connection.handle)) return Fail(SQL_HANDLE_DBC, connection.handle);
  Wide wide = ToWide(sql);
  return IsGood(SQLExecDirectW(one.handle, wide.data(), SQL_NTS)) ||
         Fail(SQL_HANDLE_STMT, one.handle);
}

bool OdbcSession::Handles::ListTables() {
  Statement list;
  if (!list.Make(connection.handle)) return Fail(SQL_HANDLE_DBC, connection.handle);
  Wide types = ToWide("TABLE,VIEW");
  if (!IsGood(SQLTablesW(list.handle, nullptr, 0, nullptr, 0, nullptr, 0, types.data(), SQL_NTS)))
    return Fail(SQL_HANDLE_STMT, list.handle);
  const std::string quote = InfoOf(connection.handle, SQL_IDENTIFIER_QUOTE_CHAR);
  constexpr std::size_t kMostTables = 100'000;
  std::map<std::pair<std::string, std::string>, std::size_t> places;
  tables.clear();
  while (tables.size() < kMostTables && IsGood(SQLFetch(list.handle))) {
    // Drivers want them in this order.
    const std::string schema = TextOf(list, 2);
    const std::string name = TextOf(list, 3);
    const std::string kind = TextOf(list, 4);
    const bool is_apart = !schema.empty() && schema != "public" && schema != "main";
    places.emplace(std::pair(schema, name), tables.size());
    tables.push_back(
        {(is_apart ? QuotedName(schema, quote) + "." : "") + QuotedName(name, quote), kind, {}});
  }
  // A driver that does not tell the columns of all tables at once tells none.
  Statement all;
  if (!all.Make(connection.handle) ||
      !IsGood(SQLColumnsW(all.handle, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0)))
    return true;
  for (std::size_t i = 0; i < kMostTables && IsGood(SQLFetch(all.handle)); ++i) {
    const std::string schema = TextOf(all, 2);
    const std::string table = TextOf(all, 3);
    if (const auto found = places.find({schema, table}); found != places.end())
      tables[found->second].columns.push_back(TextOf(all, 4));
  }
  return true;
}

// Where it can't be counted the transaction may have to begin anew, and so the statement.
bool OdbcSession::Handles::Count(const std::string& sql) {
  counted = -1;
  {
    Statement count;
    if (!count.Make(connection.handle)) return Fail(SQL_HANDLE_DBC, connection.handle);
    const std::size_t end = sql.find_last_not_of("; \t\r\n") + 1;
    running = count.handle;
    Wide wide = ToWide("SELECT COUNT(*) FROM (" + sql.substr(0, end) + "\n) nvimport_rows");
    SQLBIGINT rows = 0;
    SQLLEN length = 0;
    if (BindParameters(count.handle) &&
        IsGood(SQLExecDirectW(count.handle, wide.data(), SQL_NTS)) &&
        IsGood(SQLFetch(count.handle)) &&
        IsGood(SQLGetData(count.handle, 1, SQL_C_SBIGINT, &rows, sizeof rows, &length))) {
      counted = rows;
      running = statement.handle;
      return true;
    }
  }
  SQLEndTran(SQL_HANDLE_DBC, connection.handle, SQL_ROLLBACK);
  return BeginReadOnly() && Prepare(sql);
}

bool OdbcSession::Handles::Prepare(const std::string& sql) {
  if (!statement.Make(connection.handle)) return Fail(SQL_HANDLE_DBC, connection.handle);
  running = statement.handle;
  SQLSetStmtAttrW(statement.handle, SQL_ATTR_CURSOR_TYPE, AsPointer(SQL_CURSOR_FORWARD_ONLY),
                  SQL_IS_UINTEGER);
  Wide wide = ToWide(sql);
  SQLSMALLINT count = 0;
  if (!IsGood(SQLPrepareW(statement.handle, wide.data(), SQL_NTS))) return FailStatement();
  SQLSMALLINT wanted = 0;
  if (IsGood(SQLNumParams(statement.handle, &wanted)) &&
      static_cast<std::size_t>(wanted) != parameters.size()) {
    said = "parameters of the statement: " + std::to_string(wanted) +
           ", given: " + std::to_string(parameters.size());
    return false;
  }
  if (!BindParameters(statement.handle) || !IsGood(SQLNumResultCols(statement.handle, &count)))
    return FailStatement();
  return DescribeColumns(count);
}

bool OdbcSession::Handles::BindParameters(SQLHSTMT stmt) {
  SQLUSMALLINT number = 0;
  return std::ranges::all_of(parameters, [&](BoundParameter& one) {
    const auto size = static_cast<SQLULEN>(std::max<std::size_t>(one.text.size() - 1, 1));
    return IsGood(SQLBindParameter(stmt, ++number, SQL_PARAM_INPUT, one.held_as, one.type, size, 0,
                                   one.place(), 0, &one.length));
  });
}

bool OdbcSession::Handles::DescribeColumns(int count) {
  columns.clear();
  row_bytes = 0;
  SQLHSTMT stmt = statement.handle;
  bool has_long = false;
  for (int i = 1; i <= count; ++i) {
    std::array<SQLWCHAR, 512> text{};
    SQLSMALLINT length = 0;
    SQLSMALLINT type = 0;
    SQLULEN size = 0;
    SQLSMALLINT digits = 0;
    SQLSMALLINT nullable = 0;
    const auto number = static_cast<SQLUSMALLINT>(i);
    if (!IsGood(SQLDescribeColW(stmt, number, text.data(), static_cast<SQLSMALLINT>(text.size()),
                                &length, &type, &size, &digits, &nullable)))
      return FailStatement();
    const auto units = [&](int most) {
      return static_cast<std::size_t>(std::clamp<int>(most, 0, static_cast<int>(text.size()) - 1));
    };
    QueryColumn& column = columns.emplace_back();
    column.name = ToUtf8(text.data(), units(length));
    SQLLEN is_unsigned = 0;
    SQLColAttributeW(stmt, number, SQL_DESC_UNSIGNED, nullptr, 0, nullptr, &is_unsigned);
    column.kind = KindOf(type, is_unsigned == SQL_TRUE);
    SQLSMALLINT bytes = 0;
    if (IsGood(SQLColAttributeW(stmt, number, SQL_DESC_TYPE_NAME, text.data(),
                                static_cast<SQLSMALLINT>(sizeof(SQLWCHAR) * text.size()), &bytes,
                                nullptr)))
      column.type = ToUtf8(text.data(), units(bytes / 2));
    if (column.kind == QueryColumn::Kind::kBinary) continue;
    const bool is_text = BoundAs(column.kind) == SQL_C_WCHAR;
    constexpr std::size_t kSignAndPoint = 3;
    const std::size_t units_of_text =
        size == 0 ? kShortText : std::min<std::size_t>(size + kSignAndPoint, kShortText);
    const bool is_long = is_text && (size == 0 || size > kShortText);
    has_long |= is_long;
    // That driver reads on behind a text that it has cut.
    column.is_apart = is_long && driver.find("maodbc") != std::string::npos;
    column.width = is_text ? (sizeof(SQLWCHAR) * (units_of_text + 1) + 7) / 8 * 8 : 8;
    column.place = row_bytes + sizeof(SQLLEN);
    row_bytes = column.place + column.width;
  }
  // What is longer than its place is asked for by itself, of many rows not by every driver.
  SQLUINTEGER extensions = 0;
  SQLGetInfoW(connection.handle, SQL_GETDATA_EXTENSIONS, &extensions, sizeof extensions, nullptr);
  const bool takes_many = !has_long || (extensions & SQL_GD_BLOCK) != 0;
  rows_at_once = takes_many ? std::clamp<std::size_t>(
                                  kBlockBytes / std::max<std::size_t>(row_bytes, 1), 1, kMostRows)
                            : 1;
  return true;
}

bool OdbcSession::Handles::Bind() {
  const std::size_t rows =
      std::clamp<std::size_t>(kBlockBytes / std::max<std::size_t>(row_bytes, 1), 1, kMostRows);
  ahead.bytes.assign(std::max<std::size_t>(rows * row_bytes, 1), 0);
  bound = ahead.bytes.data();
  SQLHSTMT stmt = statement.handle;
  const auto set = [&](SQLINTEGER attribute, const void* value) {
    return IsGood(SQLSetStmtAttrW(stmt, attribute, const_cast<void*>(value), 0));
  };
  if (!set(SQL_ATTR_ROW_BIND_TYPE, AsPointer(std::max<std::size_t>(row_bytes, 1))) ||
      !set(SQL_ATTR_ROW_BIND_OFFSET_PTR, &offset) || !set(SQL_ATTR_ROWS_FETCHED_PTR, &fetched))
    return FailStatement();
  if (!set(SQL_ATTR_ROW_ARRAY_SIZE, AsPointer(rows_at_once))) {
    rows_at_once = 1;
    if (!set(SQL_ATTR_ROW_ARRAY_SIZE, AsPointer(rows_at_once))) return FailStatement();
  }
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const QueryColumn& column = columns[i];
    if (column.width == 0 || column.is_apart) continue;
    char* const place = bound + column.place;
    if (!IsGood(SQLBindCol(stmt, static_cast<SQLUSMALLINT>(i + 1), BoundAs(column.kind), place,
                           static_cast<SQLLEN>(column.width),
                           reinterpret_cast<SQLLEN*>(place - sizeof(SQLLEN)))))
      return FailStatement();
  }
  return true;
}

bool OdbcSession::Handles::FetchAhead() {
  ahead.rows = 0;
  ahead.texts.clear();
  text_bytes = 0;
  const std::size_t room =
      std::max<std::size_t>(ahead.bytes.size() / std::max<std::size_t>(row_bytes, 1), 1);
  while (!is_at_end && ahead.rows + rows_at_once <= room) {
    offset = static_cast<SQLLEN>(reinterpret_cast<std::uintptr_t>(ahead.bytes.data()) +
                                 ahead.rows * row_bytes - reinterpret_cast<std::uintptr_t>(bound));
    fetched = 0;
    const SQLRETURN status = SQLFetch(statement.handle);
    if (status == SQL_NO_DATA) {
      is_at_end = true;
      break;
    }
    if (!IsGood(status)) return FailStatement();
    const std::size_t count = std::min<std::size_t>(fetched, rows_at_once);
    if (!TakeLongTexts(ahead.rows, count)) return false;
    ahead.rows += count;
  }
  return true;
}

bool OdbcSession::Handles::TakeLongTexts(std::size_t first, std::size_t count) {
  for (std::size_t row = 0; row < count; ++row) {
    bool is_placed = false;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const QueryColumn& column = columns[i];
      if (column.width == 0 || BoundAs(column.kind) != SQL_C_WCHAR) continue;
      char* const at =
          ahead.bytes.data() + (first + row) * row_bytes + column.place - sizeof(SQLLEN);
      SQLLEN length = 0;
      std::memcpy(&length, at, sizeof length);
      const auto room = static_cast<SQLLEN>(column.width - sizeof(SQLWCHAR));
      if (!column.is_apart && (length == SQL_NULL_DATA || (length >= 0 && length <= room)))
        continue;
      if (rows_at_once > 1 && !std::exchange(is_placed, true) &&
          !IsGood(SQLSetPos(statement.handle, static_cast<SQLSETPOSIROW>(row + 1), SQL_POSITION,
                            SQL_LOCK_NO_CHANGE)))
        return FailStatement();
      if (!TakeLongText(i, length)) return false;
      std::memcpy(at, &length, sizeof length);
    }
  }
  return true;
}

bool OdbcSession::Handles::TakeLongText(std::size_t column, SQLLEN& length) {
  std::string text;
  std::vector<SQLWCHAR> piece(16 * 1024);
  while (true) {
    SQLLEN left = 0;
    const SQLRETURN status =
        SQLGetData(statement.handle, static_cast<SQLUSMALLINT>(column + 1), SQL_C_WCHAR,
                   piece.data(), static_cast<SQLLEN>(sizeof(SQLWCHAR) * piece.size()), &left);
    if (status == SQL_NO_DATA) break;
    if (!IsGood(status)) return FailStatement();
    if (left == SQL_NULL_DATA) {
      length = SQL_NULL_DATA;
      return true;
    }
    const std::size_t most = sizeof(SQLWCHAR) * (piece.size() - 1);
    const bool is_last = left >= 0 && static_cast<std::size_t>(left) <= most;
    text.append(reinterpret_cast<const char*>(piece.data()),
                is_last ? static_cast<std::size_t>(left) : most);
    if (text_bytes + text.size() > kMostText) {
      said = "a text is too long";
      return false;
    }
    if (is_last) break;
  }
  text_bytes += text.size();
  constexpr SQLLEN kFirst = 16;  // which no indicator is minus of
  length = -kFirst - static_cast<SQLLEN>(ahead.texts.size());
  ahead.texts.push_back(std::move(text));
  return true;
}

// Does one thing at a time with the handles, which it alone touches meanwhile.
class OdbcSession::Worker {
 public:
  static std::shared_ptr<Worker> Start() {
    auto worker = std::make_shared<Worker>();
    // It keeps itself, in case that the session can't wait for it.
    std::thread([worker] { worker->Run(); }).detach();
    return worker;
  }

  void Begin(std::function<bool(Handles&)> work) {
    const std::lock_guard lock(mutex_);
    work_ = std::move(work);
    is_busy_ = true;
    changed_.notify_all();
  }
  // Whether it is done by then.
  bool WaitFor(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, time, [this] { return !is_busy_; });
  }
  // Tells the driver to stop, which may itself have to wait for the driver.
  void Cancel(const std::shared_ptr<Worker>& self) {
    {
      const std::lock_guard lock(mutex_);
      ++cancelling_;
    }
    std::thread([self] {
      SQLHANDLE const running = self->handles_.running;
      if (running != SQL_NULL_HANDLE) SQLCancel(running);
      const std::lock_guard lock(self->mutex_);
      --self->cancelling_;
      self->changed_.notify_all();
    }).detach();
  }
  void End() {
    const std::lock_guard lock(mutex_);
    ends_ = true;
    changed_.notify_all();
  }
  // Whether the handles are gone by then.
  bool WaitForEnd(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, time, [this] { return has_ended_; });
  }

  bool succeeded() const { return succeeded_; }
  Handles& handles() { return handles_; }

 private:
  void Run() {
    std::unique_lock lock(mutex_);
    while (true) {
      changed_.wait(lock, [this] { return is_busy_ || ends_; });
      if (!is_busy_) break;
      lock.unlock();
      const bool succeeded = work_(handles_);
      lock.lock();
      succeeded_ = succeeded;
      is_busy_ = false;
      changed_.notify_all();
    }
    // Who tells the driver to stop still has the handles.
    changed_.wait(lock, [this] { return cancelling_ == 0; });
    lock.unlock();
    handles_.Close();
    lock.lock();
    has_ended_ = true;
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::function<bool(Handles&)> work_;
  bool is_busy_ = false;
  bool succeeded_ = false;
  bool ends_ = false;
  bool has_ended_ = false;
  int cancelling_ = 0;  // threads that do
  Handles handles_;
};

OdbcSession::OdbcSession(std::chrono::seconds most) : most_(most), worker_(Worker::Start()) {
  worker_->handles().login_seconds = static_cast<SQLUINTEGER>(most.count());
}

OdbcSession::~OdbcSession() {
  if (is_fetching_ && !worker_->WaitFor(std::chrono::milliseconds(0))) worker_->Cancel(worker_);
  worker_->End();
  worker_->WaitForEnd(kPatience);
}

OdbcSession::Outcome OdbcSession::Do(std::function<bool(Handles&)> work) {
  worker_->Begin(std::move(work));
  return Wait();
}

OdbcSession::Outcome OdbcSession::Wait() {
  const auto end = std::chrono::steady_clock::now() + most_;
  while (!worker_->WaitFor(kSlice)) {
    const bool goes_on = Progress::Poll();
    if (goes_on && std::chrono::steady_clock::now() < end) continue;
    worker_->Cancel(worker_);
    worker_->WaitFor(kPatience);
    return goes_on ? Outcome::kOutOfTime : Outcome::kCancelled;
  }
  if (worker_->succeeded()) return Outcome::kDone;
  words_ = worker_->handles().said;
  return Outcome::kFailed;
}

OdbcSession::Outcome OdbcSession::Connect(const std::string& connection) {
  const Outcome outcome =
      Do([connection](Handles& handles) { return handles.Connect(connection); });
  if (outcome != Outcome::kDone) return outcome;
  driver_ = worker_->handles().driver;
  server_ = worker_->handles().server;
  return outcome;
}

bool OdbcSession::lacks_password() const {
  // 28000 is what the standard has; some servers say it in words alone.
  return words_.starts_with("[28") || words_.find("password") != std::string::npos;
}

OdbcSession::Outcome OdbcSession::ListTables(std::vector<DatabaseTable>& tables) {
  const Outcome outcome = Do([](Handles& handles) { return handles.ListTables(); });
  if (outcome == Outcome::kDone) tables = std::move(worker_->handles().tables);
  return outcome;
}

OdbcSession::Outcome OdbcSession::Prepare(const std::string& statement,
                                          const std::vector<QueryParameter>& parameters) {
  const Outcome outcome = Do([statement, parameters](Handles& handles) {
    // They are not to be moved while the statement before has them.
    handles.statement.Free();
    handles.parameters = {parameters.begin(), parameters.end()};
    return handles.Prepare(statement);
  });
  if (outcome != Outcome::kDone) return outcome;
  columns_ = worker_->handles().columns;
  row_bytes_ = worker_->handles().row_bytes;
  return outcome;
}

OdbcSession::Outcome OdbcSession::Count(const std::string& statement, std::int64_t& rows) {
  const Outcome outcome = Do([statement](Handles& handles) { return handles.Count(statement); });
  rows = outcome == Outcome::kDone ? worker_->handles().counted : -1;
  return outcome;
}

OdbcSession::Outcome OdbcSession::Execute() {
  is_fetching_ = false;
  return Do([](Handles& handles) {
    handles.is_at_end = false;
    return handles.Bind() &&
           (IsGood(SQLExecute(handles.statement.handle)) || handles.FailStatement());
  });
}

OdbcSession::Outcome OdbcSession::Fetch(RowBlock& block) {
  const auto begin = [this] {
    worker_->Begin([](Handles& handles) { return handles.FetchAhead(); });
  };
  if (!std::exchange(is_fetching_, true)) begin();
  if (const Outcome outcome = Wait(); outcome != Outcome::kDone) return outcome;
  std::swap(block, worker_->handles().ahead);
  RowBlock& ahead = worker_->handles().ahead;
  if (ahead.bytes.size() != block.bytes.size()) ahead.bytes.resize(block.bytes.size());
  if (block.rows > 0) begin();
  return Outcome::kDone;
}

}  // namespace nvimport
