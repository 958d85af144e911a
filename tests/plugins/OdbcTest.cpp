#ifdef NVIMPORT_HAS_ODBC

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Connections.h"
#include "nvimport/platform/Dialogs.h"
#include "plugins/odbc/DatabaseFile.h"
#include "plugins/odbc/SavedQuery.h"
#include "tests/support/Cases.h"
#include "tests/support/Support.h"

namespace nvimport {

namespace {

using namespace std::string_literals;

constexpr const char* kPage =
    "<html xmlns:o=\"urn:schemas-microsoft-com:office:office\"><head><title>t</title>\n"
    "<xml id=docprops></xml><xml id=msodc><odc:OfficeDataConnection\n"
    "  xmlns:odc=\"urn:schemas-microsoft-com:office:odc\">\n"
    " <odc:Connection odc:Type=\"ODBC\">\n"
    "  <odc:ConnectionString>DSN=a &amp; b;UID=x</odc:ConnectionString>\n"
    "  <odc:CommandType>SQL</odc:CommandType>\n"
    "  <odc:CommandText>SELECT &#x61; FROM t WHERE a &lt; 3</odc:CommandText>\n"
    " </odc:Connection></odc:OfficeDataConnection></xml></head></html>\n";

std::string Replaced(std::string text, std::string_view from, std::string_view to) {
  return text.replace(text.find(from), from.size(), to);
}

TEST(SavedQuery, IsWhatQueryToolsWrite) {
  const struct {
    std::string bytes;
    std::string expected;  // connection | statement | table
  } cases[] = {
      {"XLODBC\r\n1\r\nDSN=lab;UID=r\r\nSELECT a FROM t\r\n\r\n\r\n",
       "DSN=lab;UID=r|SELECT a FROM t|"},
      {"XLODBC\n1\nDSN=lab\nSELECT a\nFROM t\n\na\tb\n", "DSN=lab|SELECT a\nFROM t|"},
      {"XLODBC\n1\nDSN=lab", "DSN=lab||"},
      {"\xEF\xBB\xBFXLODBC\n1\nDSN=l\nSELECT '\xC3\xA4'", "DSN=l|SELECT '\xC3\xA4'|"},
      {"XLODBC\n1\nDSN=l\nSELECT '\xE4'", "DSN=l|SELECT '\xC3\xA4'|"},
      {"\xFF\xFEX\0L\0O\0D\0B\0C\0\n\0001\0\n\0D\0S\0N\0=\0l\0"s, "DSN=l||"},
      {kPage, "DSN=a & b;UID=x|SELECT a FROM t WHERE a < 3|"},
      {Replaced(kPage, ">SQL<", ">Table<"), "DSN=a & b;UID=x||SELECT a FROM t WHERE a < 3"},
      {Replaced(kPage, "\"ODBC\"", "\"OLEDB\""), "none"},
      {"XLODBC\n1\n\nSELECT 1", "none"},
      {"XLODBC\n1\nDSN=l\nSELECT \0 1"s, "none"},
      {"XLODBD\n1\nDSN=l\n", "none"},
      {"", "none"},
  };
  for (const auto& [bytes, expected] : cases) {
    const auto query = ParseQuery(bytes);
    EXPECT_EQ(query ? query->connection + "|" + query->statement + "|" + query->table : "none",
              expected)
        << bytes;
  }
}

TEST(SavedQuery, HasOneStatementForEveryDatabase) {
  for (const char* const one : {"SELECT 1", "SELECT 1;", "SELECT ';' ; \n",
                                "SELECT \";\", `;` -- ; no", "SELECT 1 /* ; */"})
    EXPECT_FALSE(HasSeveralStatements(one)) << one;
  for (const char* const several :
       {"SELECT 1; DELETE FROM t", ";;", "SELECT '\\'; DELETE FROM t; -- '",
        "SELECT '\\''; DELETE FROM t; -- '", "SELECT 1 # '\n; DELETE FROM t\n-- '",
        "SELECT 1 --'\n; DELETE FROM t --'", "SELECT 1 -- a\r; DELETE FROM t",
        "SELECT 1 /*! ; DELETE FROM t */", "SELECT 2 /* */; DELETE FROM t"})
    EXPECT_TRUE(HasSeveralStatements(several)) << several;
}

TEST(SavedQuery, ShowsNoSecret) {
  EXPECT_EQ(WithoutSecrets("DSN=l;pwd={a;b}}c};UID=r; Password = x;SSLToken=y"), "DSN=l;UID=r");
  EXPECT_EQ(WithoutSecrets("DSN=l;x;PWD=s;y={1}"), "DSN=l;y={1}");
  EXPECT_EQ(WithoutSecrets("DSN=l;y={1;PWD=s"), "DSN=l");
  EXPECT_EQ(ConnectionValue("dsn=l;Driver={A;B};x", "DRIVER"), "{A;B}");
}

// A file that only looks like one that anybody would allow.
TEST(DatabaseFile, ConnectsToNothingUnasked) {
  class Asked : public Dialogs {
   public:
    Asked() { Install(this); }
    ~Asked() override { Install(nullptr); }
    Asked(const Asked&) = delete;
    Asked& operator=(const Asked&) = delete;
    bool AllowQuery(const QueryQuestion& question) override {
      source = question.source;
      return false;
    }
    std::string source;
  };
  const TempFolder folder;
  const std::string path = folder.Put("q.dqy", "XLODBC\n1\nDRIVER=none;PWD=p\nSELECT 1\n");
  Asked asked;
  DatabaseFile file;
  EXPECT_EQ(file.Open(true, path.c_str(), nullptr), kQueryNotAllowed);
  EXPECT_EQ(asked.source, "DRIVER=none");
}

}  // namespace

}  // namespace nvimport

#endif
