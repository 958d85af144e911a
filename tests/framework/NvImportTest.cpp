

#include "nvimport/framework/NvImportMore.h"
#include "nvimport/platform/NumberText.h"
#include "tests/support/Cases.h"
#include "tests/support/JCAMPFixture.h"

namespace nvimport {

namespace {

constexpr int kUnbuilt = 2;
constexpr int kText = 17;
const std::string kByTab = "\1\0\0\0\t\0"s;

// One handle, closed at the end.
class Handle {
 public:
  Handle(int format, const std::string& path, std::string options = kByTab, bool read = true) {
    NvImportOpenOptions record{static_cast<int>(options.size()),
                               reinterpret_cast<unsigned char*>(options.data())};
    opened = NvImportOpen(format, path.c_str(), read ? 1 : 0, &handle, &record);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { NvImportClose(0, handle); }

  std::string LastError() const { return NvImportGetLastError(0, handle); }

  int opened = 0;
  long handle = 0;
};

// Collects the cells as "row,column=text;".
struct Cells : NvImportReadData {
  std::string texts;
  std::string failure;  // when set, the text callback throws it

  Cells() : NvImportReadData{} {
    set_number = [](NvImportReadData*, int, int, float) {};
    set_text = [](NvImportReadData* data, int row, int column, const char* text) {
      auto& cells = *static_cast<Cells*>(data);
      if (!cells.failure.empty()) throw std::runtime_error(cells.failure);
      cells.texts += std::to_string(row) + "," + std::to_string(column) + "=" + text + ";";
    };
  }
};

TEST(NvImport, FailuresHaveATextAndAHandleToClose) {
  const TempFolder folder;
  const std::string good = folder.Put("good.txt", "a\n");
  constexpr const char* kBadOptions = "The import options are not valid for this format.";
  constexpr const char* kNotImplemented = "This function is not implemented for this file format.";
  const struct {
    int format;
    std::string path;
    std::string options;
    bool read;
    const char* text;
  } kCases[] = {
      {kText, folder.path() + "/none.txt", kByTab, true,
       "This file appears to be a binary file and cannot be imported. Only ordinary text (ASCII) "
       "files can be imported."},
      {kText, folder.path() + "/no/out.txt", "", false, "Failed to open stream for reading."},
      {kText, good, "", true, "AbortedByUser"},
      {kText, good, kByTab.substr(0, 1), true, kBadOptions},
      {kText, good, kByTab.substr(0, 5), true, kBadOptions},
      {kText, good, "\1\0\0\0\t\2"s, true, kBadOptions},
      {kText, good, "\xff\xff\xff\x7f\t\0"s, true, kBadOptions},
      {kUnbuilt, good, "", true, kNotImplemented},
      {kUnbuilt, good, "", false, kNotImplemented},
  };
  const ScriptedDialogs nobody_answers;
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.text);
    const Handle failed(c.format, c.path, c.options, c.read);
    EXPECT_EQ(failed.opened, 0);
    EXPECT_NE(failed.handle, 0);
    EXPECT_EQ(failed.LastError(), c.text);
    int rows = 7;
    int columns = 7;
    EXPECT_EQ(NvImportEstablishSize(0, failed.handle, &rows, &columns), 0);
    EXPECT_EQ(rows, -1);
    EXPECT_EQ(columns, -1);
    EXPECT_EQ(NvImportGetWarning(0, failed.handle), nullptr);
  }
}

TEST(NvImportMore, TellsWhatTheTwelveFunctionsCannot) {
  constexpr int kJcamp = 11;
  const TempFile file(JCAMPFixture{.labels = "##YFACTOR= 0.1\n##XUNITS= 1/CM\n",
                                   .last = "10.2",
                                   .data = "10 1 ? 3" + std::string(300, ' ') + "4\n"}
                          .Bytes(),
                      "a.dx");
  const Handle open(kJcamp, file.path(), "");
  ASSERT_EQ(open.opened, 1);
  WholeRecord sheet;
  EXPECT_EQ(NvImportReadWhole(0, open.handle, &sheet), 1);
  EXPECT_EQ(SheetText(sheet.sheet),
            ". | . | 't 10' | 't -99' | 't 10.2'\n1 | 'A' | 0.1 | -99 | 0.30000000000000004\n");
  EXPECT_STREQ(NvImportGetNote(0, open.handle, 0),
               "1 line is longer than 255 characters, and the rest was not delivered");
  EXPECT_EQ(NvImportGetNote(0, open.handle, 1), nullptr);
  EXPECT_EQ(NvImportGetNote(0, open.handle, -1), nullptr);
  EXPECT_EQ(NvImportGetNote(0, 0, 0), nullptr);

  struct Told : NvImportDescription {
    std::string text;
  } told{};
  told.size = sizeof(NvImportDescription);
  EXPECT_EQ(NvImportDescribe(0, open.handle, &told), 1) << "callbacks may be null";
  told.set_x = [](NvImportDescription* to, int column, const double* values, std::size_t count) {
    FloatText text;
    static_cast<Told*>(to)->text += std::to_string(column) + ":";
    for (std::size_t i = 0; i < count; ++i)
      static_cast<Told*>(to)->text.append(" ").append(FormatDouble(values[i], text));
  };
  EXPECT_EQ(NvImportDescribe(0, open.handle, &told), 1);
  EXPECT_EQ(told.text, "3: 10 10.1 10.2");
  told.set_x = nullptr;
  told.text.clear();
  told.name_axis = [](NvImportDescription* to, char axis, const char* label, const char* unit) {
    static_cast<Told*>(to)->text += axis + "["s + label + "|" + unit + "]";
  };
  told.state = [](NvImportDescription* to, int row, const char* label, const char* key,
                  const char* value, std::size_t length) {
    if (*key == 't' && length == std::strlen(value))
      static_cast<Told*>(to)->text += std::to_string(row) + label + "=" + value + ";";
  };
  EXPECT_EQ(NvImportDescribe(0, open.handle, &told), 1);
  EXPECT_EQ(told.text, "2TITLE=A;x[|1/CM]");

  // A caller of another kind is told, before anything is called that he has not.
  const auto refused = [&](char answer, const char* text) {
    EXPECT_EQ(answer, 0);
    EXPECT_EQ(open.LastError(), text);
  };
  constexpr const char* kNone = "There is no record of callbacks.";
  constexpr const char* kShort = "The record of callbacks is shorter than it can be.";
  sheet.size = told.size = sizeof(std::size_t);
  refused(NvImportReadWhole(0, open.handle, nullptr), kNone);
  refused(NvImportReadWhole(0, open.handle, &sheet), kShort);
  refused(NvImportDescribe(0, open.handle, nullptr), kNone);
  refused(NvImportDescribe(0, open.handle, &told), kShort);
}

TEST(NvImport, WritesWhereTheFormatCan) {
  const TempFolder folder;
  const std::string path = folder.path() + "/out";
  NvImportWriteData source{};
  source.kind = [](NvImportWriteData*, int row, int column) {
    return static_cast<char>(row * 2 + column - 3);  // empty, number, text, missing
  };
  source.number = [](NvImportWriteData*, int, int) { return 0.1F; };
  source.text = [](NvImportWriteData*, int row, int) { return row == 2 ? "x y" : ""; };
  source.rows = source.columns = 2;
  {
    const Handle lotus(kUnbuilt, path, "", false);
    EXPECT_EQ(NvImportWrite(0, lotus.handle, &source), 0);
    EXPECT_EQ(lotus.LastError(), "This function is not implemented for this file format.");
    const Handle text(kText, path, "", false);
    EXPECT_EQ(NvImportWrite(0, text.handle, &source), 1);
  }
  const Handle back(kText, path);
  Cells cells;
  EXPECT_EQ(NvImportRead(0, back.handle, &cells), 1);
  EXPECT_EQ(cells.texts, "1,1=;1,2=0.1;2,1=x y;");
}

TEST(NvImport, AThrowingCallbackIsAFailureOfThatCallAlone) {
  const TempFile file("a\n");
  const Handle text(kText, file.path());
  Cells cells;
  cells.failure = "The host is full.";
  EXPECT_EQ(NvImportRead(0, text.handle, &cells), 0);
  EXPECT_EQ(text.LastError(), "The host is full.");
  cells.failure = std::string(300, 'x');
  EXPECT_EQ(NvImportRead(0, text.handle, &cells), 0);
  EXPECT_EQ(text.LastError(), std::string(254, 'x'));
  cells.failure.clear();
  EXPECT_EQ(NvImportRead(0, text.handle, &cells), 1);
  EXPECT_EQ(cells.texts, "1,1=a;");
  EXPECT_EQ(text.LastError(), "");

  cells.set_text = [](NvImportReadData*, int, int, const char*) { throw 7; };
  EXPECT_EQ(NvImportRead(0, text.handle, &cells), 0);
  EXPECT_EQ(text.LastError(), "An unforeseen error occurred.");
  cells.set_text = [](NvImportReadData*, int, int, const char*) { throw std::bad_alloc(); };
  EXPECT_EQ(NvImportRead(0, text.handle, &cells), 0);
  EXPECT_EQ(text.LastError(), "Out of memory.");
}

TEST(NvImport, BearsWhatACallerMayGetWrong) {
  const TempFile file("a\n");
  long handle = 7;
  EXPECT_EQ(NvImportOpen(20, file.path(), 1, &handle, nullptr), 0);
  EXPECT_EQ(handle, 0);
  EXPECT_STREQ(NvImportGetLastError(0, handle), "There is no such format.");
  EXPECT_EQ(NvImportOpen(kText, file.path(), 1, nullptr, nullptr), 0);
  EXPECT_EQ(NvImportOpen(kText, nullptr, 1, &handle, nullptr), 0);
  EXPECT_NE(handle, 0);
  NvImportClose(kText, handle);
  EXPECT_EQ(NvImportIsCorrectFileType(kText, nullptr), 0);
  EXPECT_EQ(NvImportIsCorrectFileType(20, file.path()), 0);

  Cells cells;
  int rows = 7;
  int columns = 7;
  EXPECT_EQ(NvImportEstablishSize(0, handle, &rows, &columns), 0) << "a closed handle";
  EXPECT_EQ(rows, -1);
  EXPECT_EQ(columns, -1);
  EXPECT_EQ(NvImportRead(0, handle, &cells), 0);
  EXPECT_EQ(NvImportWrite(0, handle, nullptr), 0);
  EXPECT_EQ(NvImportGetWarning(0, handle), nullptr);
  NvImportClose(0, handle);

  const Handle text(kText, file.path());
  EXPECT_EQ(NvImportEstablishSize(0, text.handle, &rows, nullptr), 1);
  EXPECT_EQ(NvImportEstablishSize(0, text.handle, nullptr, &columns), 1);
  EXPECT_EQ(rows * columns, 1);
  EXPECT_EQ(NvImportRead(0, text.handle, nullptr), 0);
  EXPECT_EQ(text.LastError(), "There is no record of callbacks.");
  NvImportReadData nowhere{};
  EXPECT_EQ(NvImportRead(0, text.handle, &nowhere), 1) << "null callbacks drop what they would get";
  NvImportWriteData empty{};
  EXPECT_EQ(NvImportWrite(0, text.handle, &empty), 0);
  EXPECT_EQ(text.LastError(),
            "Tried to write to the file when it was opened for reading or vice versa.");
}

}  // namespace

}  // namespace nvimport
