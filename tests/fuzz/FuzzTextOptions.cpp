// The input as the open options of a text file, and as open options stored in a stream.

#include <sstream>
#include <vector>

#include "formats/text/TextFile.h"
#include "framework/SpreadsheetOpenOptions.h"
#include "platform/Exception.h"
#include "platform/StreamReader.h"
#include "platform/StreamWriter.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/MemoryFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const MemoryFile file("a;;b\n\tc\n");
  // Of its exact size, so that a read beyond it is seen.
  std::vector<unsigned char> bytes(data, data + size);
  bytes.shrink_to_fit();
  NvImportOpenOptions options{static_cast<int>(size), bytes.data()};
  TextFile reader;
  try {
    const int status = reader.Open(true, file.path(), &options);
    Check(status == (size == 0 ? 4 : 0), "options refuse by an exception, or open");
    if (status == 0) Check(reader.GetNumRows() == 2, "no delimiter changes the rows");
  } catch (const Exception&) {
    Check(reader.GetStatus() == 0, "an exception leaves no status");
  }

  const std::string stored(data, data + size);
  std::istringstream in(stored);
  StreamReader stream_reader(in);
  SpreadsheetOpenOptions kept;
  try {
    kept.Read(stream_reader);
  } catch (const Exception&) {
    Check(static_cast<const NvImportOpenOptions*>(kept) == nullptr, "damage leaves nothing held");
    return 0;
  }
  std::ostringstream out;
  StreamWriter stream_writer(out);
  kept.Write(stream_writer);
  Check(stored.starts_with(out.str()), "what was read is stored again");
  return 0;
}
