#include "nvimport/hosting/import/DatabaseSource.h"

#include <memory>
#include <utility>

#include "nvimport/framework/OptionPairs.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/platform/Files.h"
#include "nvimport/platform/OutputFile.h"

namespace nvimport {

namespace {

std::string Escaped(std::string_view text) {
  std::string xml;
  for (const char c : text) {
    if (c == '&')
      xml += "&amp;";
    else if (c == '<')
      xml += "&lt;";
    else
      xml += c;
  }
  return xml;
}

// Its position, 0 where no plug-in has it.
int QueryFormat() { return FindFormat("Database Query", /*for_writing=*/false); }

}  // namespace

bool DatabaseSource::IsServed() { return QueryFormat() != 0; }

std::string DatabaseSource::Shown(std::string_view name) {
  const std::string_view connection = name.substr(kScheme.size());
  const std::string_view first = connection.substr(0, connection.find(';'));
  for (const std::string_view key : {"DSN=", "dsn=", "DRIVER=", "Driver=", "driver="})
    if (first.starts_with(key)) return std::string(kScheme) + ShownName(first);
  return std::string(kScheme);
}

std::optional<Failure> DatabaseSource::Take(std::string_view name, std::string_view statement,
                                            const std::vector<std::string>& parameters,
                                            ImportRequest& import) {
  const std::string_view connection = name.substr(kScheme.size());
  if (connection.empty() ||
      connection.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos)
    return Failure{Failure::kArgument, "\"" + Shown(name) + "\" names no database.",
                   "odbc:DSN=NAME does, with more such pairs behind semicolons"};
  import.format = QueryFormat();
  if (import.format == 0)
    return Failure{.text = "There is no plug-in that reads databases.",
                   .advice = "the package nvimport-odbc has one"};
  auto database = std::make_shared<const DatabaseSource>(connection, statement);
  if (database->failure_) return database->failure_;
  import.files = {database->file_.path()};
  import.name = Shown(name);
  import.answers.allow_query = true;
  if (!parameters.empty())
    import.pairs +=
        (import.pairs.empty() ? "params=" : ";params=") + OptionPairs::JoinNames(parameters);
  import.database = std::move(database);
  return std::nullopt;
}

DatabaseSource::DatabaseSource(std::string_view connection, std::string_view statement)
    : folder_(TemporaryPath::Kind::kFolder, TemporaryFolder() + "/nvimport-XXXXXX"),
      file_(folder_.path() + "/query.odc") {
  constexpr const char* kNoRoom = "There is no room for a query.";
  if (!folder_.is_made()) {
    failure_ = Failure::OfSystem(kNoRoom, TemporaryFolder(), folder_.error());
    return;
  }
  OutputFile file(file_.path().c_str());
  // As XML, since a statement may have empty lines.
  file.Write("<OfficeDataConnection><Connection Type=\"ODBC\"><ConnectionString>");
  file.Write(Escaped(connection));
  file.Write("</ConnectionString><CommandText>");
  file.Write(Escaped(statement));
  file.Write("</CommandText></Connection></OfficeDataConnection>\n");
  file.Close();
  if (std::string words = OutputFile::TakeFailure(); !words.empty())
    failure_ = Failure::OfSystem(kNoRoom, TemporaryFolder(), std::move(words));
}

}  // namespace nvimport
