#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "plugins/odbc/OdbcSession.h"
#include "plugins/odbc/SavedQuery.h"

namespace nvimport {

enum QueryStatus : int {
  kQueryNoFile = 4448,
  kQueryNotOne,
  kQueryNotAllowed,
  kQueryNoConnection,
  kQueryWrong,
  kQuerySeveral,
  kQueryNoRows,
  kQueryLost,
  kQueryOutOfTime,
  kQueryNoTables,
  kQueryNoSpace,
  kQueryChanged,
};

// Saved database queries. The names of the columns are the first row, each row of the result one
// below: numbers, texts in UTF-8, dates and times as the database writes them, NULL as missing
// cells. Nothing is connected to before somebody has allowed it, and the database is left as it
// was.
class DatabaseFile final : public SpreadsheetFile {
 public:
  DatabaseFile();
  ~DatabaseFile() override;

  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  bool LeaveSizeOpen() override;
  int Read(ReadSpreadSheetData* sink) override;
  void Close() override;
  void GetErrorMessage(char* buffer, unsigned int size) override;

 protected:
  int EstablishSize() override;
  int DescribeAll(Description& description) override;

 private:
  struct Spool;

  int Connect(const char* path);
  int ChooseTable(const NvImportOpenOptions* options, std::string_view given);
  // The status of what failed; the log has the driver's words.
  int FailOf(OdbcSession::Outcome outcome, int status);
  int SpoolRows();
  int Next(RowBlock& block);
  bool SetHeads(ReadSpreadSheetData& sink) const;
  void SetRow(ReadSpreadSheetData& sink, int row, const RowBlock& block, std::size_t at);

  SavedQuery query_;
  std::vector<QueryParameter> parameters_;
  std::unique_ptr<OdbcSession> session_;
  std::unique_ptr<Spool> spool_;  // of the rows that could only be counted by taking them
  std::vector<unsigned char> chosen_;
  bool leaves_size_open_ = false;
  bool has_run_ = false;
};

class DatabaseFileFactory final : public SprFileFactory {
 public:
  DatabaseFileFactory();
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};

}  // namespace nvimport
