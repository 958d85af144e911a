#if __has_include(<gsf/gsf-outfile.h>)  // as CompoundWriter.h needs it

#include <cstdlib>

#include "nvimport/formats/workbook/TivonFile.h"
#include "tests/support/Cases.h"
#include "tests/support/CompoundWriter.h"

namespace nvimport {

namespace {

// Sends temporary files into a folder of its own, where they can be counted.
class TemporaryFolder {
 public:
  TemporaryFolder() { ::setenv("TMPDIR", folder_.path().c_str(), 1); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() { ::unsetenv("TMPDIR"); }

  std::ptrdiff_t Files() const {
    return std::distance(std::filesystem::directory_iterator(folder_.path()), {});
  }

 private:
  TempFolder folder_;
};

TEST(TivonFile, ReadsATextOrTheFirstWorksheetOfACompoundFile) {
  const std::string long_text = std::string(5000, 'x') + "\t1\n";
  const struct {
    const char* why;
    const char* name;
    std::string bytes;
    int opened;
    int status;
    const char* text;
    std::string sheet;
  } kCases[] = {
      {"a text", "a.dat", "a\tb\n1\t2\n", 0, 0, "", "'a' | 'b'\n'1' | '2'\n"},
      {"a text under another name", "a.txt", "a", 0, 0, "", "'a'\n"},
      {"a stream", "a.mip", WriteCompoundFile({{"Data.DAT", "a\tb\n"}, {"x", "y"}}), 0, 0, "",
       "'a' | 'b'\n"},
      {"a long stream", "a.MIP", WriteCompoundFile({{"w.dat", long_text}}), 0, 0, "",
       "'" + std::string(5000, 'x') + "' | '1'\n"},
      {"under the name of a text", "a.dat", WriteCompoundFile({{"w.dat", "a"}}), 0, 0, "", "'a'\n"},
      {"within a storage", "a.mip", WriteCompoundFile({{"Sub/w.dat", "a"}, {"x", "y"}}), 0, 0, "",
       "'a'\n"},
      {"an empty one", "a.mip", WriteCompoundFile({{"w.dat", ""}}), 0, 0, "", ""},
      {"the text reader refuses it", "a.mip", WriteCompoundFile({{"w.dat", "a\0b"s}}), 0, 514,
       "This file appears to be a binary file and cannot be imported. Only ordinary text (ASCII) "
       "files can be imported.",
       ""},
      {"no worksheet", "a.mip", WriteCompoundFile({{"w.data", "a"}, {"dat", "b"}}), 515, 515,
       "Could not find the worksheet in the file.", ""},
      {"a storage is none", "a.mip", WriteCompoundFile({{"w.dat/x", "a"}}), 515, 515,
       "Could not find the worksheet in the file.", ""},
      {"a text that says it is none", "a.mip", "a\tb\n", 516, 516,
       "The file does not appear to be a valid TIVON file.", ""},
      {"neither", "a.dat", "a\0b"s, 516, 516, "The file does not appear to be a valid TIVON file.",
       ""},
  };
  const TempFolder folder;
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    const std::string path = folder.Put(c.name, c.bytes);
    const TemporaryFolder temporary;
    TivonFile file;
    EXPECT_EQ(file.Open(true, path.c_str(), nullptr), c.opened);
    EXPECT_EQ(ErrorText(file), c.text);
    MemorySheet sheet;
    EXPECT_EQ(file.Read(&sheet), c.status);
    EXPECT_EQ(SheetText(sheet), c.sheet);
    file.Close();
    EXPECT_EQ(temporary.Files(), 0);
    EXPECT_EQ(file.GetStatus(), 0);
  }
}

// Whatever ends the process meanwhile leaves nothing behind.
TEST(TivonFile, KeepsItsCopyToItself) {
  const TempFile source(WriteCompoundFile({{"w.dat", "a"}}), "a.mip");
  const TemporaryFolder temporary;
  TivonFile file;
  EXPECT_EQ(file.Open(false, source.path(), nullptr), 3);
  file.Close();
  ASSERT_EQ(file.Open(true, source.path(), nullptr), 0);
  EXPECT_EQ(temporary.Files(), 0);
}

TEST(TivonFile, SaysThatTheCopyCanNotBeWritten) {
  const TempFile source(WriteCompoundFile({{"w.dat", "a"}}), "a.mip");
  ::setenv("TMPDIR", "/nowhere", 1);
  TivonFile file;
  EXPECT_EQ(file.Open(true, source.path(), nullptr), 512);
  EXPECT_EQ(ErrorText(file), "Failed to open stream for reading.");
  ::unsetenv("TMPDIR");
}

// A file cut anywhere delivers the worksheet or nothing.
TEST(TivonFile, DeliversNoPartOfACutWorksheet) {
  const std::string whole = WriteCompoundFile({{"w.dat", std::string(4990, 'x') + "\tend"}});
  for (std::size_t size = 0; size < whole.size(); size += 97) {
    const TempFile source(whole.substr(0, size), "a.mip");
    TivonFile file;
    const Outcome outcome = ImportFile(file, source.path());
    EXPECT_TRUE(outcome.status == 516 || outcome.status == 515 ||
                outcome.sheet.ends_with("'end'\n"))
        << size;
  }
}

}  // namespace

}  // namespace nvimport

#endif
