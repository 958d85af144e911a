// ClassHost SAMPLES: a host of the class interface. Its own classes derive from the library's, and
// exceptions cross in both directions.

#include <nvimport/formats/text/TextFile.h>
#include <nvimport/framework/ImportHelper.h>
#include <nvimport/framework/MemorySheet.h>
#include <nvimport/framework/SprFileFactory.h>
#include <nvimport/framework/SpreadsheetOpenOptions.h>
#include <nvimport/platform/Exception.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <typeinfo>

using namespace nvimport;

namespace {

struct SinkFull {};

class SmallSheet : public MemorySheet {
 public:
  using MemorySheet::Set;
  void Set(int column, int row, const char* text) override {
    if (row > 2) throw SinkFull();
    MemorySheet::Set(column, row, text);
  }
};

// A format of the host's own, constructed while global objects are.
class OwnFactory : public SprFileFactory {
 public:
  OwnFactory()
      : SprFileFactory("Own File", "Own Files (*.own)", nullptr, 1, ".own", false, true, false,
                       false, false) {}
  int IsCorrectFileType(const char*) override { return kNotThis; }
  SpreadsheetFile* Create() override { return std::make_unique<TextFile>().release(); }
};
const OwnFactory own_factory;

int faults = 0;

void Expect(bool holds, const char* what) {
  if (holds) return;
  std::printf("not so: %s\n", what);
  ++faults;
}

template <typename Thrown>
bool Throws(const std::function<void()>& work) {
  try {
    work();
  } catch (const Thrown&) {
    return true;
  } catch (...) {
    return false;
  }
  return false;
}

}  // namespace

int main(int, char** arguments) {
  const std::string path = std::string(arguments[1]) + "/batches.txt";
  const int formats = SprFileFactory::GetNumberOfFormats();
  Expect(SprFileFactory::GetFormat(17)->name == std::string("Text File"), "the text format is 17");
  Expect(SprFileFactory::GetFormat(formats)->name == std::string("Own File"),
         "the host's is the last");

  const auto reader = SprFileFactory::CreateReader(17);
  Expect(dynamic_cast<TextFile*>(reader.get()) != nullptr, "a reader is of its class");
  const SpreadsheetFile& file = *reader;
  Expect(typeid(file) == typeid(TextFile), "the host and the library mean the same class");

  NvImportOpenOptions* options = TextFile::GetImportOptions(";", false);
  SmallSheet sheet;
  Expect(reader->Open(true, path.c_str(), options) == 0, "it opens");
  Expect(Throws<SinkFull>([&] { reader->Read(&sheet); }), "a sink's exception comes out");
  Expect(sheet.GetText(1, 2) != nullptr, "the host's sink got its cells");
  reader->Close();
  SpreadsheetOpenOptions::FreeOpenOptions(options);
  delete options;

  ImportHelper helper;
  helper.SetThrowExceptionOnError(true);
  const auto missing = [&] {
    helper.ReadSpreadsheetFile("/no/such.txt", 17, &sheet, nullptr, nullptr, true);
  };
  Expect(Throws<Exception>(missing), "a failure of the driver is its exception");
  Expect(Throws<std::runtime_error>(missing), "which is one of the standard library");
  Expect(!Throws<CancelException>(missing), "and no other");
  return faults;
}
