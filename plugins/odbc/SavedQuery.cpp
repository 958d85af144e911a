#include "plugins/odbc/SavedQuery.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/Paths.h"
#include "nvimport/platform/Utf16.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

namespace {

constexpr std::size_t kLargest = std::size_t{1} << 20;

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlank);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlank) + 1 - first);
}

std::string_view TakeLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return Trimmed(line);
}

std::string ToUtf8(std::string_view bytes) {
  std::string text;
  if (bytes.starts_with("\xFF\xFE")) {
    AppendUtf16(text, bytes.substr(2));
  } else if (bytes.starts_with("\xEF\xBB\xBF")) {
    text = bytes.substr(3);
  } else if (IsUtf8(bytes)) {
    text = bytes;
  } else {
    AppendLatin1(text, bytes);
  }
  return text;
}

std::optional<SavedQuery> ParseLines(std::string_view text) {
  if (TakeLine(text) != "XLODBC") return std::nullopt;
  TakeLine(text);  // a version
  SavedQuery query{.connection = std::string(TakeLine(text))};
  // Behind an empty line are the values that a program of tables keeps for itself.
  while (!text.empty()) {
    const std::string_view line = TakeLine(text);
    if (line.empty()) break;
    if (!query.statement.empty()) query.statement += '\n';
    query.statement += line;
  }
  return query;
}

// The character of an entity, whose text ends before its semicolon; 0 for one that is none.
char32_t CharacterOf(std::string_view entity) {
  constexpr std::pair<std::string_view, char32_t> kNamed[] = {
      {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
  for (const auto& [name, c] : kNamed)
    if (entity == name) return c;
  if (!entity.starts_with('#')) return 0;
  entity.remove_prefix(1);
  const bool is_hexadecimal = entity.starts_with('x');
  if (is_hexadecimal) entity.remove_prefix(1);
  std::uint32_t number = 0;
  const char* const end = entity.data() + entity.size();
  const auto [rest, error] = std::from_chars(entity.data(), end, number, is_hexadecimal ? 16 : 10);
  const bool is_character = number < 0xD800 || (number > 0xDFFF && number <= 0x10FFFF);
  return error == std::errc() && rest == end && is_character ? number : 0;
}

std::string WithoutEntities(std::string_view xml) {
  std::string text;
  while (!xml.empty()) {
    const std::size_t end = xml.front() == '&' ? xml.find(';') : std::string_view::npos;
    const char32_t c =
        end != std::string_view::npos ? CharacterOf(xml.substr(1, end - 1)) : char32_t{0};
    if (c != 0) {
      AppendUtf8(text, c);
      xml.remove_prefix(end + 1);
    } else {
      text += xml.front();
      xml.remove_prefix(1);
    }
  }
  return text;
}

// What stands in the first element of that name, whatever its prefix; null where there is none.
// `tag` becomes what its tag has behind the name.
std::optional<std::string_view> ElementOf(std::string_view xml, std::string_view name,
                                          std::string_view* tag = nullptr) {
  for (std::size_t at = xml.find(name); at != std::string_view::npos; at = xml.find(name, at + 1)) {
    const std::size_t open = xml.rfind('<', at);
    const std::size_t behind = at + name.size();
    const std::size_t close = xml.find('>', behind);
    if (open == std::string_view::npos || close == std::string_view::npos) continue;
    const std::string_view prefix = xml.substr(open + 1, at - open - 1);
    if (prefix.find_first_of(" /\">") != std::string_view::npos ||
        (!prefix.empty() && prefix.back() != ':') ||
        std::string_view(" \t\r\n>").find(xml[behind]) == std::string_view::npos)
      continue;
    const std::string end = "</" + std::string(prefix) + std::string(name) + ">";
    const std::size_t last = xml.find(end, close);
    if (last == std::string_view::npos) continue;
    if (tag != nullptr) *tag = xml.substr(behind, close - behind);
    return xml.substr(close + 1, last - close - 1);
  }
  return std::nullopt;
}

std::optional<SavedQuery> ParseXml(std::string_view text) {
  const auto file = ElementOf(text, "OfficeDataConnection");
  if (!file) return std::nullopt;
  std::string_view tag;
  const auto connection = ElementOf(*file, "Connection", &tag);
  if (!connection || tag.find("\"ODBC\"") == std::string_view::npos) return std::nullopt;
  const auto value = [&](std::string_view name) {
    const auto element = ElementOf(*connection, name);
    return element ? std::string(Trimmed(WithoutEntities(*element))) : std::string();
  };
  SavedQuery query{.connection = value("ConnectionString")};
  const bool is_table = EqualIgnoringCase(value("CommandType"), "Table");
  (is_table ? query.table : query.statement) = value("CommandText");
  return query;
}

// What databases take differently.
struct Dialect {
  bool escapes;        // behind a backslash stands a character of the text
  bool has_hash;       // begins a comment
  bool dashes_blank;   // a comment's dashes have a blank behind them
  bool return_breaks;  // ends a line
};

// Where the quoted text, the comment or the character at `at` ends.
std::size_t EndOfToken(std::string_view sql, std::size_t at, const Dialect& dialect) {
  const std::string_view rest = sql.substr(at);
  const bool is_dashes =
      rest.starts_with("--") && (!dialect.dashes_blank || rest.size() < 3 || rest[2] <= ' ');
  if (is_dashes || (dialect.has_hash && rest.starts_with('#')))
    return std::min(sql.find_first_of(dialect.return_breaks ? "\r\n" : "\n", at), sql.size());
  // What stands behind an exclamation mark is run.
  if (rest.starts_with("/*") && !rest.starts_with("/*!")) {
    const std::size_t end = sql.find("*/", at + 2);
    return end == std::string_view::npos ? sql.size() : end + 2;
  }
  const char quote = rest.front();
  if (quote != '\'' && quote != '"' && quote != '`') return at + 1;
  for (++at; at < sql.size() && sql[at] != quote; ++at)
    if (dialect.escapes && sql[at] == '\\') ++at;
  return std::min(at + 1, sql.size());
}

bool HasSeveralStatements(std::string_view sql, const Dialect& dialect) {
  for (std::size_t at = 0; at < sql.size(); at = EndOfToken(sql, at, dialect))
    if (sql[at] == ';' && !Trimmed(sql.substr(at + 1)).empty()) return true;
  return false;
}

}  // namespace

std::optional<SavedQuery> ParseQuery(std::string_view bytes) {
  const std::string text = ToUtf8(bytes);
  auto query = ParseLines(text);
  if (!query) query = ParseXml(text);
  // Neither makes sense with a NUL.
  const auto has_nul = [](const std::string& one) { return one.find('\0') != std::string::npos; };
  if (!query || query->connection.empty() || has_nul(query->connection) ||
      has_nul(query->statement) || has_nul(query->table))
    return std::nullopt;
  return query;
}

std::optional<SavedQuery> ReadQuery(const char* path) {
  InputFile file(path);
  if (!file.is_open() || file.size() > kLargest) return std::nullopt;
  std::string bytes(static_cast<std::size_t>(file.size()), '\0');
  const std::ptrdiff_t got = file.Read(bytes);
  if (got < 0) return std::nullopt;
  bytes.resize(static_cast<std::size_t>(got));
  return ParseQuery(bytes);
}

bool HasSeveralStatements(std::string_view statement) {
  for (unsigned i = 0; i < 16; ++i)
    if (HasSeveralStatements(statement,
                             Dialect{(i & 1) != 0, (i & 2) != 0, (i & 4) != 0, (i & 8) != 0}))
      return true;
  return false;
}

}  // namespace nvimport
