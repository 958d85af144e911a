#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/hosting/Failure.h"
#include "nvimport/hosting/TemporaryPaths.h"
#include "nvimport/hosting/import/Import.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// A database named in place of a file, "odbc:DSN=lab;UID=reader", as the file of a query that a
// plug-in reads (docs/database.md). It lies in a folder of its own, which nobody else may look
// into, and goes with this object.
class NVIMPORT_API DatabaseSource {
 public:
  static bool IsOne(std::string_view name) { return name.starts_with(kScheme); }
  // What is connected to by `connection`, "DSN=lab;UID=reader".
  static std::string Named(std::string_view connection) {
    return std::string(kScheme).append(connection);
  }
  // Whether a plug-in reads databases.
  static bool IsServed();
  // The data source alone: what else connects to it may be secret.
  static std::string Shown(std::string_view name);

  // Makes the import one of that database: of what `statement` gives, or without one of a table
  // that has to be chosen. Its question marks stand for `parameters`, as the option "params" of
  // such queries has them. Whoever names a database allows that it is asked.
  static std::optional<Failure> Take(std::string_view name, std::string_view statement,
                                     const std::vector<std::string>& parameters,
                                     ImportRequest& import);

  DatabaseSource(std::string_view connection, std::string_view statement);

 private:
  static constexpr std::string_view kScheme = "odbc:";

  TemporaryPath folder_;
  TemporaryPath file_;
  std::optional<Failure> failure_;  // why it could not be made
};

}  // namespace nvimport
