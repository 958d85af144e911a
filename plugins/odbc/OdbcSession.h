#pragma once

#include <sql.h>
#include <sqlext.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace nvimport {

// What a column of a result is, as far as its cells depend on it.
struct QueryColumn {
  enum class Kind : std::uint8_t { kText, kWhole, kFloat, kDouble, kDecimal, kTime, kBinary };

  std::string name;  // in UTF-8
  std::string type;  // the database's name for it
  Kind kind = Kind::kText;
  std::size_t width = 0;  // in bytes, of its values in a row
  std::size_t place = 0;  // of its value in a row's bytes; its length stands before that
  bool is_apart = false;  // its texts never have that place
};

// What a question mark of a statement stands for: none for NULL.
using QueryParameter = std::variant<std::monostate, std::int64_t, double, std::string>;

// A table or a view.
struct DatabaseTable {
  std::string name;  // as a statement names it, in the database's quotes where it needs them
  std::string kind;  // "TABLE", "VIEW"
  std::vector<std::string> columns;  // their names
};

// Rows as they come: so many of `row_bytes` each, and the texts that are longer than their place.
struct RowBlock {
  std::vector<char> bytes;
  std::size_t rows = 0;
  std::vector<std::string> texts;  // UTF-16; the length of a value is minus their number less 16
};

// One connection and one statement of it. Drivers block, so that they work in a thread of their own
// while this one looks whether the user has had enough. One that goes on in spite of being told to
// stop is left alone with what it holds.
class OdbcSession {
 public:
  enum class Outcome : std::uint8_t { kDone, kFailed, kCancelled, kOutOfTime };

  explicit OdbcSession(std::chrono::seconds most);
  OdbcSession(const OdbcSession&) = delete;
  OdbcSession& operator=(const OdbcSession&) = delete;
  ~OdbcSession();

  Outcome Connect(const std::string& connection);
  // Those that are the user's, in order.
  Outcome ListTables(std::vector<DatabaseTable>& tables);
  // Settles what the statement gives, without running it.
  Outcome Prepare(const std::string& statement, const std::vector<QueryParameter>& parameters);
  // How many rows it gives, or -1 where the database does not count them.
  Outcome Count(const std::string& statement, std::int64_t& rows);
  Outcome Execute();
  // The next rows into `block`, none at the end. `next` is then fetched meanwhile.
  Outcome Fetch(RowBlock& block);

  const std::vector<QueryColumn>& columns() const { return columns_; }
  std::size_t row_bytes() const { return row_bytes_; }
  // The driver's words for what failed, with its SQLSTATE in front.
  const std::string& words() const { return words_; }
  bool lacks_password() const;
  const std::string& driver() const { return driver_; }
  const std::string& server() const { return server_; }

 private:
  struct Handles;
  class Worker;

  // Has the worker do it.
  Outcome Do(std::function<bool(Handles&)> work);
  // Waits for what the worker does.
  Outcome Wait();

  std::chrono::seconds most_;
  std::shared_ptr<Worker> worker_;
  std::vector<QueryColumn> columns_;
  std::size_t row_bytes_ = 0;
  std::string words_;
  std::string driver_;
  std::string server_;
  bool is_fetching_ = false;
};

}  // namespace nvimport
