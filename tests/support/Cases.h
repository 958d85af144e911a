#pragma once

#include <gtest/gtest.h>

#include "tests/support/Support.h"

namespace nvimport {

// Tables of files and of what their imports come to (Outcome::Summary).

struct ImportCase {
  const char* why;
  std::string bytes;
  std::string summary;
  const char* pairs = "";
};

template <typename Reader>
void ExpectImports(const std::vector<ImportCase>& cases) {
  for (const ImportCase& c : cases)
    EXPECT_EQ(Import<Reader>(c.bytes, c.pairs).Summary(), c.summary) << c.why << " " << c.pairs;
}

// One rule each: what comes with it, and what without it alone.
template <typename Rules>
struct RuleCase {
  const char* why;
  bool Rules::*rule;
  std::string bytes;
  std::string kept;
  std::string without;
  const char* pairs = "";
};

template <typename Reader, typename Rules>
void ExpectRules(const std::vector<RuleCase<Rules>>& cases) {
  for (const RuleCase<Rules>& c : cases) {
    SCOPED_TRACE(c.why);
    Rules rules;
    EXPECT_EQ(Import<Reader>(c.bytes, c.pairs, rules).Summary(), c.kept);
    rules.*c.rule = false;
    EXPECT_EQ(Import<Reader>(c.bytes, c.pairs, rules).Summary(), c.without);
  }
}

// Options that the user of a reader wants, and that none can take.
inline void ExpectMade(NvImportOpenOptions* made, const std::string& pairs) {
  EXPECT_EQ(BytesOf(*OpenOptions::Made(made).get()), BytesOf(*OpenOptions::Pairs(pairs).get()));
}
template <typename Reader>
void ExpectRefusedOptions(const std::string& bytes, const std::vector<const char*>& wrong) {
  for (const char* pairs : wrong) {
    const LogRecorder log;
    EXPECT_EQ(Import<Reader>(bytes, pairs).Summary(),
              "5 The import options are not valid for this format.\n")
        << pairs;
  }
}

// What becomes of a file that is not there, of the size of none, and of the sheet. No such reader
// writes.
template <typename Reader>
void ExpectNoFile(const std::string& missing, const std::string& unsized, int unread) {
  const auto said = [](Reader& reader) {
    EXPECT_EQ(reader.GetNumRows(), -1);
    return std::to_string(reader.GetStatus()) + " " + ErrorText(reader);
  };
  Reader reader;
  reader.Open(true, "/nowhere/file", nullptr);
  EXPECT_EQ(said(reader), missing);
  reader.Close();
  EXPECT_EQ(reader.Open(false, "/nowhere/file", nullptr), 3);
  reader.Close();
  EXPECT_EQ(said(reader), unsized);
  reader.Close();
  MemorySheet sheet;
  EXPECT_EQ(reader.Read(&sheet), unread);
  EXPECT_EQ(reader.Write(&sheet), 1);
}

// `file`, asked to leave the size open, which it is to do or not, gives what `sized` gives, and
// that size in the end.
inline void ExpectOpenSizeAgrees(SpreadsheetFile& file, SpreadsheetFile& sized,
                                 const std::string& path, bool is_open,
                                 NvImportOpenOptions* options = nullptr) {
  const Outcome expected = ImportFile(sized, path, options);
  ASSERT_EQ(file.Open(true, path.c_str(), options), 0);
  EXPECT_TRUE(file.LeaveSizeOpen());
  EXPECT_EQ(file.GetNumRows() == SpreadsheetFile::kOpenSize, is_open);
  MemorySheet sheet;
  EXPECT_EQ(file.Read(&sheet), expected.status);
  EXPECT_EQ(SheetText(sheet), expected.sheet);
  if (expected.status == 0) {
    EXPECT_EQ(std::pair(file.GetNumRows(), file.GetNumCols()),
              std::pair(sized.GetNumRows(), sized.GetNumCols()));
  }
}

}  // namespace nvimport
