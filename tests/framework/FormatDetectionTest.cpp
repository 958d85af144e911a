

#include "nvimport/framework/FormatDetection.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

// Four formats, whose answers a test gives as a string: a digit each, '-' without a test.
std::vector<KnownFormat> Formats(const std::string& answers) {
  static NvImportFormatInfo infos[4] = {};
  static const struct {
    const char* name;
    int extension_count;
    const char* extensions;
  } kFormats[4] = {{"A", 1, ".aaa"}, {"B", 2, ".bbb\0.aaa"}, {"C", 1, ".ccc"}, {"Any", 1, ".*"}};
  std::vector<KnownFormat> formats;
  for (std::size_t i = 0; i < answers.size(); ++i) {
    infos[i].name = kFormats[i].name;
    infos[i].extension_count = kFormats[i].extension_count;
    infos[i].extensions = kFormats[i].extensions;
    formats.push_back({&infos[i], {}});
    if (answers[i] != '-')
      formats[i].test = [answer = answers[i] - '0'](const char*) { return answer; };
  }
  return formats;
}

TEST(FormatDetection, DecidesOrNamesTheCandidates) {
  const struct {
    const char* why;
    const char* answers;
    const char* file;  // those called "none" don't exist
    int format;
    std::vector<int> candidates;
  } kCases[] = {
      {"one certain beats the possible ones", "1211", "x.aaa", 2, {}},
      {"two certain ones, whatever the extension", "2120", "x.aaa", -1, {1, 3}},
      {"nobody knows it", "0000", "x.aaa", -1, {}},
      {"one possible needs no extension", "0010", "x.aaa", 3, {}},
      {"one possible, without a test", "00-0", "x.aaa", 3, {}},
      {"an answer that is none drops it", "0301", "x.aaa", 4, {}},
      {"of the possible, one has the extension", "0111", "x.ccc", 3, {}},
      {"of the possible, one without a test has it", "0-11", "x.bbb", 2, {}},
      {"of the possible, several have it", "1111", "x.aaa", -1, {1, 2}},
      {"of the possible, none has it", "0111", "x.zzz", -1, {2, 3, 4}},
      {"a dropped format's extension says nothing", "0011", "x.aaa", -1, {3, 4}},
      {"the case of the extension says nothing", "0111", "x.CcC", 3, {}},
      {"the last extension counts", "0111", "x.ccc.bbb", 2, {}},
      {"no extension", "0111", "x", -1, {2, 3, 4}},
      {"a point of the folder is none of the file", "0111", "folder.ccc/x", -1, {2, 3, 4}},
      {"any is an extension like others", "0111", "x.*", 4, {}},
      {"missing file, one has the extension", "0000", "none.ccc", 3, {}},
      {"missing file, several have it", "0000", "none.aaa", -1, {1, 2}},
      {"missing file, none has it", "2111", "none.zzz", -1, {}},
      {"missing file, no test is asked", "2000", "none.bbb", 2, {}},
      {"no formats", "", "x.aaa", -1, {}},
  };
  const TempFolder folder;
  std::filesystem::create_directory(folder.path() + "/folder.ccc");
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    const bool exists = !std::string(c.file).starts_with("none");
    if (exists) folder.Put(c.file, "");
    const std::string path = folder.path() + "/" + c.file;
    const Detection found = DetectFormat(Formats(c.answers), path.c_str());
    EXPECT_EQ(found.file_exists, exists);
    EXPECT_EQ(found.format, c.format);
    EXPECT_EQ(found.candidates, c.candidates);
  }
}

TEST(FormatDetection, AsksTheUserWhereThereIsAChoice) {
  const TempFolder folder;
  const std::string path = folder.Put("Nov 3.zzz", "");
  ScriptedDialogs dialogs;
  const struct {
    std::optional<std::size_t> answer;
    int format;
  } kCases[] = {{0, 2}, {1, 4}, {2, -1}, {std::nullopt, -1}};
  for (const auto& c : kCases) {
    dialogs.file_type = c.answer;
    EXPECT_EQ(ChooseFormat(Formats("0101"), path.c_str()), c.format);
  }
  ASSERT_EQ(dialogs.file_type_questions.size(), 4U);
  const FileTypeQuestion& question = dialogs.file_type_questions.front();
  EXPECT_EQ(question.title, "Select File Type");
  EXPECT_EQ(question.label, "File Types");
  EXPECT_EQ(question.prompt,
            "The file type of 'Nov 3.zzz' could not be determined. Please select the correct file "
            "type.");
  EXPECT_EQ(question.names, (std::vector<std::string>{"B", "Any"}));

  EXPECT_EQ(ChooseFormat(Formats("0121"), path.c_str()), 3);
  EXPECT_EQ(ChooseFormat(Formats("0000"), path.c_str()), -1);
  EXPECT_EQ(dialogs.file_type_questions.size(), 4U) << "asked without a choice";
}

}  // namespace

}  // namespace nvimport
