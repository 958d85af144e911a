#include "apps/desktop/Databases.h"

#include <QDir>
#include <QFile>
#include <climits>
#include <cstddef>

#include "apps/desktop/LibraryThread.h"
#include "apps/desktop/Settings.h"
#include "apps/desktop/SheetText.h"
#include "apps/desktop/WindowDialogs.h"
#include "nvimport/hosting/import/Answers.h"
#include "nvimport/hosting/import/DatabaseSource.h"
#include "nvimport/hosting/import/Import.h"
#include "nvimport/hosting/import/Sheets.h"
#include "nvimport/platform/Connections.h"

namespace nvimport {

namespace {

constexpr int kHeadRows = 21;  // with the names of the columns
constexpr qsizetype kMostKept = 10;
constexpr const char* kConnections = "databases";

// Takes the list of tables, and chooses none of them.
class ListingDialogs : public Dialogs {
 public:
  explicit ListingDialogs(Dialogs& asked) : asked_(asked) {}

  std::optional<std::string> AskPassword(const PasswordQuestion& question) override {
    return asked_.AskPassword(question);
  }
  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override {
    for (std::size_t i = 0; i < question.items.size(); ++i)
      tables.push_back({FromBytes(question.items[i]),
                        i < question.details.size() ? FromBytes(question.details[i]) : QString()});
    return std::nullopt;
  }

  std::vector<DatabaseLook::Table> tables;

 private:
  Dialogs& asked_;
};

// The sections of a configuration, but for those that are none of a data source.
void AddDataSources(const QString& path, QStringList& connections) {
  constexpr qint64 kMost = 1 << 20;
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) return;
  for (const QByteArray& each : file.read(kMost).split('\n')) {
    const QByteArray line = each.trimmed();
    if (!line.startsWith('[') || !line.endsWith(']')) continue;
    const QString name = FromBytes(line.mid(1, line.size() - 2).trimmed().toStdString());
    if (!name.isEmpty() && name != "ODBC" && name != "ODBC Data Sources")
      connections.push_back("DSN=" + name);
  }
}

}  // namespace

std::optional<Failure> TakeDatabase(const DatabaseQuery& query, ImportRequest& import) {
  import.answers.password = query.password;
  return DatabaseSource::Take(query.name, query.statement, {}, import);
}

Trouble DatabaseTrouble(const Failure& failure) {
  // No file of the user's was opened: what the reader says of the database is all there is.
  if (failure.status != 0) return {FromBytes(failure.detail), FromBytes(failure.advice), {}, {}};
  return {FromBytes(failure.text), FromBytes(failure.Explanation()), {}, {}};
}

QStringList KnownConnections() {
  QStringList connections = Settings().value(kConnections).toStringList();
  AddDataSources(qEnvironmentVariable("ODBCINI", QDir::home().filePath(".odbc.ini")), connections);
  AddDataSources(qEnvironmentVariable("ODBCSYSINI", "/etc") + "/odbc.ini", connections);
  connections.removeDuplicates();
  return connections;
}

void RememberConnection(const QString& connection) {
  const QString kept = FromBytes(WithoutSecrets(connection.toStdString()));
  if (kept.isEmpty()) return;
  QSettings settings = Settings();
  QStringList connections = settings.value(kConnections).toStringList();
  connections.removeAll(kept);
  connections.push_front(kept);
  settings.setValue(kConnections, connections.mid(0, kMostKept));
}

DatabaseLook LookAt(const DatabaseQuery& query, WindowDialogs& dialogs, JobProgress& progress) {
  DatabaseLook look;
  RememberedAnswers answers;
  ListingDialogs listing(dialogs);
  dialogs.Begin(DatabaseSource::Shown(query.name), /*repeated=*/false);
  ImportRequest request;
  request.dialogs = &listing;
  request.remembered = &answers;
  request.leaves_size_open = true;
  request.progress = [&](const ImportProgress& now) {
    return progress.Advance(now.position, now.size);
  };
  std::optional<Failure> failure = TakeDatabase(query, request);
  if (!failure) {
    const auto sheet = std::make_shared<HeadSheet>(INT_MAX, kHeadRows);
    ImportResult read = ImportFile(request, *sheet);
    failure = std::move(read.failure);
    look.head = {sheet, &sheet->head()};
  }
  look.tables = std::move(listing.tables);
  look.password = answers.password ? answers.password : query.password;
  if (!failure) return look;
  look.head.reset();
  if (!look.tables.empty()) return look;
  look.password.reset();
  if (progress.stopped() || failure->kind == Failure::kStopped) return look;
  look.trouble = DatabaseTrouble(*failure);
  return look;
}

QByteArray QueryFile(const DatabaseQuery& query) {
  const std::string connection = query.name.substr(DatabaseSource::Named({}).size());
  QByteArray file = "XLODBC\r\n1\r\n" + QByteArray::fromStdString(WithoutSecrets(connection));
  // An empty line would end the statement.
  for (const QByteArray& line : QByteArray::fromStdString(query.statement).split('\n'))
    if (!line.trimmed().isEmpty()) file += "\r\n" + line.trimmed();
  return file + "\r\n\r\n";
}

}  // namespace nvimport
