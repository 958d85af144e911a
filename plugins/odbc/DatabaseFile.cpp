#include "plugins/odbc/DatabaseFile.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <utility>

#include "nvimport/framework/Description.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/Connections.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/Progress.h"
#include "nvimport/platform/TemporaryFile.h"
#include "nvimport/platform/Utf16.h"

namespace nvimport {

namespace {

constexpr StatusText kTexts[] = {
    {kQueryNoFile, "Unable to open file."},
    {kQueryNotOne, "This file does not seem to hold a database query."},
    {kQueryNotAllowed, "The query was not run: nobody allowed it."},
    {kQueryNoConnection, "There is no connection to the database."},
    {kQueryWrong, "The database does not take the query."},
    {kQuerySeveral, "The query has more than one statement."},
    {kQueryNoRows, "The statement gives no rows, and only those that do are run."},
    {kQueryLost, "The rows could not be fetched from the database."},
    {kQueryOutOfTime, "The database did not answer in time."},
    {kQueryNoTables, "The database has no table for this user."},
    {kQueryNoSpace, "There is no room for the rows of the query."},
    {kQueryChanged, "The database gave other rows than it had counted."},
};
static_assert(WellFormed(kTexts, 4448, 4463));

constexpr const char* kSource = "DatabaseFile";
constexpr int kUsualSeconds = 30;

// A decimal of the database, as a number where that has all its digits.
void SetDecimal(ReadSpreadSheetData& sink, int column, int row, const std::string& text) {
  const std::string_view mantissa = std::string_view(text).substr(0, text.find_first_of("eE"));
  const auto digits = std::ranges::count_if(mantissa, [](char c) { return c >= '0' && c <= '9'; });
  const char* const end = text.data() + text.size();
  long long whole = 0;
  if (const auto parsed = std::from_chars(text.data(), end, whole);
      parsed.ec == std::errc() && parsed.ptr == end)
    return sink.SetExact(column, row, whole);
  double value = 0;
  const auto parsed = std::from_chars(text.data(), end, value);
  const bool has_all = parsed.ec == std::errc() && parsed.ptr == end &&
                       digits <= std::numeric_limits<double>::digits10;
  if (has_all)
    sink.SetExact(column, row, value);
  else
    sink.Set(column, row, text.c_str(), text.size());
}

// A parameter as it is written: NULL, a number, or a text, which may stand behind an apostrophe.
QueryParameter ParameterOf(const std::string& text) {
  if (text == "NULL") return {};
  const char* const end = text.data() + text.size();
  std::int64_t whole = 0;
  if (const auto parsed = std::from_chars(text.data(), end, whole);
      parsed.ec == std::errc() && parsed.ptr == end)
    return whole;
  double value = 0;
  if (const auto parsed = std::from_chars(text.data(), end, value);
      parsed.ec == std::errc() && parsed.ptr == end && std::isfinite(value))
    return value;
  return text.starts_with('\'') ? text.substr(1) : text;
}

// "a view: id, name".
std::string DetailOf(const DatabaseTable& table) {
  constexpr std::size_t kMost = 12;
  std::string text = table.kind == "VIEW" ? "a view" : "a table";
  for (std::size_t i = 0; i < std::min(table.columns.size(), kMost); ++i)
    text += (i == 0 ? ": " : ", ") + table.columns[i];
  if (table.columns.size() > kMost)
    text += " and " + std::to_string(table.columns.size() - kMost) + " more";
  return text;
}

// Without a fraction of zeros.
void ShortenTime(std::string& text) {
  if (text.find('.') == std::string::npos) return;
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.')) text.pop_back();
}

// What lies between UTF-16LE and UTF-8 for most.
void Decode(std::string& text, std::string_view utf16) {
  text.clear();
  for (std::size_t i = 0; i + 1 < utf16.size(); i += 2) {
    const auto low = static_cast<unsigned char>(utf16[i]);
    if (utf16[i + 1] != 0 || low > 0x7F) {
      text.clear();
      return AppendUtf16(text, utf16);
    }
    text += static_cast<char>(low);
  }
}

}  // namespace

// The rows of a query in a temporary file.
struct DatabaseFile::Spool {
  struct Block {
    std::uint64_t at;
    std::size_t bytes;
    std::size_t rows;
    std::vector<std::size_t> texts;  // their sizes; they lie behind the rows
  };

  bool Add(const RowBlock& block, std::size_t row_bytes) {
    Block& added = blocks.emplace_back(Block{size, block.rows * row_bytes, block.rows, {}});
    bool is_written = Write(std::span(block.bytes).first(added.bytes));
    for (const std::string& text : block.texts) {
      added.texts.push_back(text.size());
      is_written = is_written && Write(text);
    }
    return is_written;
  }
  bool Write(std::span<const char> bytes) {
    size += bytes.size();
    return file.Write(bytes);
  }
  bool Next(RowBlock& block) {
    block.rows = 0;
    block.texts.clear();
    if (next == blocks.size()) return true;
    const Block& from = blocks[next++];
    block.bytes.resize(from.bytes);
    if (!file.Read(from.at, block.bytes)) return false;
    std::uint64_t at = from.at + from.bytes;
    for (const std::size_t text_size : from.texts) {
      std::string& text = block.texts.emplace_back(text_size, '\0');
      if (!file.Read(at, text)) return false;
      at += text_size;
    }
    block.rows = from.rows;
    return Progress::Report(at, size);
  }

  TemporaryFile file;
  std::uint64_t size = 0;
  std::vector<Block> blocks;
  std::size_t next = 0;
};

DatabaseFile::DatabaseFile() = default;
DatabaseFile::~DatabaseFile() = default;

void DatabaseFile::Close() {
  SpreadsheetFile::Close();
  session_.reset();
  spool_.reset();
  query_ = {};
  parameters_.clear();
  leaves_size_open_ = has_run_ = false;
}

int DatabaseFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  Close();
  if (!read) return Fail(kWrongMode);
  if (!InputFile(path).is_open()) return Fail(kQueryNoFile);
  auto query = ReadQuery(path);
  if (!query) return Fail(kQueryNotOne);
  query_ = std::move(*query);
  GivenOptions given(kSource, options);
  int seconds = kUsualSeconds;
  std::vector<int> numbers;
  if (!given.TakeNumbers("timeout", numbers, 24 * 3600)) return Fail(kInvalidOptions);
  if (numbers.size() == 1) seconds = numbers.front();
  std::vector<std::string> tables;
  if (!given.TakeNames("table", tables)) return Fail(kInvalidOptions);
  std::vector<std::string> parameters;
  if (given.Find("params") && !given.TakeNames("params", parameters)) return Fail(kInvalidOptions);
  for (const std::string& parameter : parameters) parameters_.push_back(ParameterOf(parameter));
  if (!query_.table.empty()) query_.statement = "SELECT * FROM " + query_.table;
  if (HasSeveralStatements(query_.statement)) return Fail(kQuerySeveral);

  session_ = std::make_unique<OdbcSession>(std::chrono::seconds(seconds));
  if (Connect(path) != kGood) return status_;
  if (query_.statement.empty() &&
      ChooseTable(options, tables.empty() ? std::string_view() : tables.front()) != kGood)
    return status_;
  if (const auto outcome = session_->Prepare(query_.statement, parameters_);
      outcome != OdbcSession::Outcome::kDone)
    return FailOf(outcome, kQueryWrong);
  if (session_->columns().empty()) return Fail(kQueryNoRows);
  if (TakesChoices(options) && !query_.table.empty())
    GiveChoices(OptionPairs{{"table", OptionPairs::JoinNames({query_.table})}}.Bytes(), chosen_,
                options);
  return kGood;
}

int DatabaseFile::Connect(const char* path) {
  const std::string shown = WithoutSecrets(query_.connection);
  const QueryQuestion question{.path = path, .source = shown, .statement = query_.statement};
  if (!Dialogs::Current().AllowQuery(question)) return Fail(kQueryNotAllowed);
  std::string words = query_.connection;
  const char* const known = std::getenv("NVIMPORT_ODBC_PASSWORD");
  const auto with = [&](std::string_view password) {
    // In braces, where it may hold anything; a brace is doubled.
    std::string value;
    for (const char c : password) value.append(c == '}' ? 2 : 1, c);
    return query_.connection + ";PWD={" + value + "}";
  };
  const bool has_password = !ConnectionValue(words, "PWD").empty();
  if (!has_password && known != nullptr && *known != '\0') words = with(known);
  auto outcome = session_->Connect(words);
  for (bool is_again = false; outcome == OdbcSession::Outcome::kFailed && !has_password &&
                              known == nullptr && session_->lacks_password();
       is_again = true) {
    const auto password = Dialogs::Current().AskPassword({.path = shown, .is_again = is_again});
    if (!password) return Fail(kCancelled);
    if (password->empty()) break;
    outcome = session_->Connect(with(*password));
  }
  return outcome == OdbcSession::Outcome::kDone ? int{kGood} : FailOf(outcome, kQueryNoConnection);
}

int DatabaseFile::ChooseTable(const NvImportOpenOptions*, std::string_view given) {
  std::vector<DatabaseTable> tables;
  if (const auto outcome = session_->ListTables(tables); outcome != OdbcSession::Outcome::kDone)
    return FailOf(outcome, kQueryNoConnection);
  if (tables.empty()) return Fail(kQueryNoTables);
  auto table = std::ranges::find(tables, given, &DatabaseTable::name);
  if (!given.empty() && table == tables.end()) {
    LogRefusedOption(kSource, "table", given);
    return Fail(kInvalidOptions);
  }
  if (given.empty()) {
    ItemsQuestion question;
    question.kind = ItemsQuestion::Kind::kTables;
    question.title = "Select Table";
    question.prompt = "Choose the table to import.";
    question.heading = "Table";
    question.only_one = true;
    for (const DatabaseTable& one : tables) {
      question.items.push_back(one.name);
      question.details.push_back(DetailOf(one));
    }
    if (tables.size() == 1) question.usual = {0};
    const auto answer = Dialogs::Current().SelectItems(question);
    if (!answer || answer->items.size() != 1 || answer->items.front() >= tables.size())
      return Fail(kCancelled);
    table = tables.begin() + static_cast<std::ptrdiff_t>(answer->items.front());
  }
  query_.table = table->name;
  query_.statement = "SELECT * FROM " + table->name;
  return kGood;
}

int DatabaseFile::FailOf(OdbcSession::Outcome outcome, int status) {
  using Outcome = OdbcSession::Outcome;
  if (outcome == Outcome::kCancelled) return Fail(kCancelled);
  if (outcome == Outcome::kOutOfTime) return Fail(kQueryOutOfTime);
  if (!session_->words().empty())
    Log::WriteMessage(kSource, "Query", session_->words(), Log::kNormal);
  return Fail(status);
}

bool DatabaseFile::LeaveSizeOpen() { return leaves_size_open_ = session_ != nullptr; }

int DatabaseFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (session_ == nullptr) return Fail(kWrongMode);
  const std::size_t columns = session_->columns().size();
  if (leaves_size_open_) return SetSize(columns, kOpenSize);
  std::int64_t rows = -1;
  if (const auto outcome = session_->Count(query_.statement, rows);
      outcome != OdbcSession::Outcome::kDone)
    return FailOf(outcome, kQueryWrong);
  if (rows >= 0) return SetSize(columns, static_cast<std::uint64_t>(rows) + 1);
  return SpoolRows();
}

int DatabaseFile::SpoolRows() {
  auto spool = std::make_unique<Spool>();
  RowBlock block;
  std::uint64_t rows = 1;
  do {
    if (Next(block) != kGood) return status_;
    if (!spool->Add(block, session_->row_bytes())) return Fail(kQueryNoSpace);
    rows += block.rows;
  } while (block.rows > 0);
  spool_ = std::move(spool);
  return SetSize(session_->columns().size(), rows);
}

// The next rows of the query, which is run for the first.
int DatabaseFile::Next(RowBlock& block) {
  if (spool_ != nullptr) return spool_->Next(block) ? int{kGood} : Fail(kCancelled);
  if (!std::exchange(has_run_, true))
    if (const auto outcome = session_->Execute(); outcome != OdbcSession::Outcome::kDone)
      return FailOf(outcome, kQueryWrong);
  const auto outcome = session_->Fetch(block);
  return outcome == OdbcSession::Outcome::kDone ? int{kGood} : FailOf(outcome, kQueryLost);
}

int DatabaseFile::Read(ReadSpreadSheetData* sink) {
  if (GetNumRows() < 0) return status_;
  const bool is_open = num_rows_ == kOpenSize;
  if (has_run_ && spool_ == nullptr) {
    // Once more.
    if (const auto outcome = session_->Prepare(query_.statement, parameters_);
        outcome != OdbcSession::Outcome::kDone)
      return FailOf(outcome, kQueryWrong);
    has_run_ = false;
  }
  if (spool_ != nullptr) spool_->next = 0;
  sink->SetDataSize(num_cols_, is_open ? 0 : num_rows_);
  int row = sink->GetNextIndex(0);
  if (row >= 0) SetHeads(*sink);
  int taken = 1;  // rows, that of the names among them
  RowBlock block;
  row = sink->GetNextIndex(1);
  while (row >= 0) {
    if (Next(block) != kGood) return status_;
    if (block.rows == 0) break;
    for (std::size_t i = 0; i < block.rows && row >= 0; ++i) {
      if (taken == (is_open ? kOpenSize - 1 : num_rows_))
        return Fail(is_open ? int{kNoSize} : int{kQueryChanged});
      ++taken;
      if (taken == row) {
        SetRow(*sink, row, block, i);
        row = sink->GetNextIndex(row);
      }
    }
  }
  if (row < 0) return kGood;  // no more are wanted
  if (is_open) return TakeFinalSize(*sink, num_cols_, taken);
  return taken == num_rows_ ? int{kGood} : Fail(kQueryChanged);
}

bool DatabaseFile::SetHeads(ReadSpreadSheetData& sink) const {
  int number = 0;
  std::uint64_t binary = 0;
  for (const QueryColumn& column : session_->columns()) {
    ++number;
    if (!column.name.empty()) sink.Set(number, 1, column.name.c_str(), column.name.size());
    if (column.kind == QueryColumn::Kind::kBinary) ++binary;
  }
  Log::WriteCount(kSource, binary, "column of binary values is left out",
                  "columns of binary values are left out");
  return true;
}

void DatabaseFile::SetRow(ReadSpreadSheetData& sink, int row, const RowBlock& block,
                          std::size_t at) {
  using Kind = QueryColumn::Kind;
  const char* const bytes = block.bytes.data() + at * session_->row_bytes();
  std::string text;
  int number = 0;
  for (const QueryColumn& column : session_->columns()) {
    ++number;
    if (column.kind == Kind::kBinary) continue;
    const char* const place = bytes + column.place;
    SQLLEN length = 0;
    std::memcpy(&length, place - sizeof length, sizeof length);
    if (length == SQL_NULL_DATA) continue;
    const auto load = [&](auto value) {
      std::memcpy(&value, place, sizeof value);
      return value;
    };
    switch (column.kind) {
      case Kind::kWhole:
        sink.SetExact(number, row, static_cast<long long>(load(std::int64_t{})));
        continue;
      case Kind::kFloat:
        sink.Set(number, row, load(float{}));
        continue;
      case Kind::kDouble:
        sink.SetExact(number, row, load(double{}));
        continue;
      default:
        break;
    }
    constexpr SQLLEN kFirst = -16;
    const bool is_long = length <= kFirst;
    Decode(text, is_long ? std::string_view(block.texts[static_cast<std::size_t>(kFirst - length)])
                         : std::string_view(place, static_cast<std::size_t>(length)));
    if (column.kind == Kind::kDecimal) {
      SetDecimal(sink, number, row, text);
    } else {
      if (column.kind == Kind::kTime) ShortenTime(text);
      sink.Set(number, row, text.c_str(), text.size());
    }
  }
}

int DatabaseFile::DescribeAll(Description& description) {
  if (session_ == nullptr || status_ != kGood) return status_;
  description.StateIfAny("source", "", WithoutSecrets(query_.connection));
  description.StateIfAny("driver", "", session_->driver());
  description.StateIfAny("server", "", session_->server());
  description.StateIfAny("statement", "", query_.statement);
  for (const QueryColumn& column : session_->columns())
    description.StateIfAny(column.name, "", column.type);
  return status_;
}

void DatabaseFile::GetErrorMessage(char* buffer, unsigned int size) {
  if (!CopyText(kTexts, buffer, size)) SpreadsheetFile::GetErrorMessage(buffer, size);
}

DatabaseFileFactory::DatabaseFileFactory()
    : SprFileFactory(
          {.name = "Database Query",
           .read_filter = "Database Queries (*.dqy; *.odc)",
           .extensions = {".dqy", ".odc"},
           .options = {{"table", "NAME", true}, {"timeout", "SECONDS"}, {"params", "VALUES"}}}) {}

int DatabaseFileFactory::IsCorrectFileType(const char* path) {
  return ReadQuery(path) ? kCertain : kNotThis;
}

SpreadsheetFile* DatabaseFileFactory::Create() {
  return std::make_unique<DatabaseFile>().release();
}

}  // namespace nvimport
