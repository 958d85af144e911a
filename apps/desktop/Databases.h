#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/desktop/Trouble.h"
#include "nvimport/framework/MemorySheet.h"
#include "nvimport/hosting/Failure.h"

namespace nvimport {

class JobProgress;
class WindowDialogs;
struct ImportRequest;

// What is asked of a database.
struct DatabaseQuery {
  std::string name;                       // "odbc:DSN=lab;UID=reader"
  std::string statement;                  // empty where its tables are to be listed
  std::optional<std::string> password{};  // that the user gave, if it was asked for

  bool operator==(const DatabaseQuery&) const = default;
};

// Makes the import one of the query.
std::optional<Failure> TakeDatabase(const DatabaseQuery& query, ImportRequest& import);

// What went wrong with it, in the words of the reader and the driver.
Trouble DatabaseTrouble(const Failure& failure);

// What is connected to, "DSN=lab": what was last, without passwords, then what the user's and the
// system's configuration name.
QStringList KnownConnections();
void RememberConnection(const QString& connection);

// A first look at a database.
struct DatabaseLook {
  struct Table {
    QString name;
    QString columns;  // "a view: id, name"
  };

  std::vector<Table> tables;              // of a query without a statement
  std::shared_ptr<MemorySheet> head;      // the first rows of one that has it
  std::optional<std::string> password{};  // that the user gave
  std::optional<Trouble> trouble;         // why there is neither, none when the user cancelled
};
// In the library's thread.
DatabaseLook LookAt(const DatabaseQuery& query, WindowDialogs& dialogs, JobProgress& progress);

// The query as a file of query tools. It has no password.
QByteArray QueryFile(const DatabaseQuery& query);

}  // namespace nvimport
