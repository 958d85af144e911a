// The input as calls of the C interface, in any order, over four handles. The first two bytes are
// the size of the file that they work on, which follows; each call takes the bytes it needs.

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "nvimport/framework/NvImport.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

namespace {

struct FuzzedSheet : NvImportReadData {
  int step = 1;
  int cells_until_throw = -1;

  FuzzedSheet() : NvImportReadData{} {
    set_number = [](NvImportReadData* data, int, int, float) { Throw(data); };
    set_text = [](NvImportReadData* data, int row, int column, const char* text) {
      Check(row > 0 && column > 0, "indices begin at 1");
      Check(std::strlen(text) < std::size_t{1} << 20, "a text ends");
      Throw(data);
    };
    next_index = [](NvImportReadData* data, int previous) {
      return previous + static_cast<FuzzedSheet*>(data)->step;
    };
  }

  static void Throw(NvImportReadData* data) {
    if (static_cast<FuzzedSheet*>(data)->cells_until_throw-- == 0)
      throw std::runtime_error("enough");
  }
};

char Open(ByteReader& input, const char* file, long& handle) {
  const int format = input.U8() % 22 - 1;
  const unsigned how = input.U8();
  std::vector<unsigned char> bytes;
  for (unsigned left = how >> 4; left > 0; --left) bytes.push_back(input.U8());
  NvImportOpenOptions options{static_cast<int>(bytes.size()),
                              bytes.empty() ? nullptr : bytes.data()};
  const char* const paths[] = {file, "", "/", nullptr};
  // A new file takes the place of the old one only when that has been closed.
  if (handle != 0) NvImportClose(format, handle);
  return NvImportOpen(format, paths[how & 3], (how & 4) == 0 ? 1 : 0, &handle,
                      (how & 8) == 0 ? &options : nullptr);
}

char Write(ByteReader& input, long handle) {
  NvImportWriteData source{};
  source.kind = [](NvImportWriteData*, int row, int column) {
    return static_cast<char>((row + column) % 5);
  };
  source.number = [](NvImportWriteData*, int row, int) { return 1.0F / static_cast<float>(row); };
  source.text = [](NvImportWriteData*, int, int column) { return column == 2 ? nullptr : "text"; };
  source.rows = input.U8() % 8 - 1;
  source.columns = input.U8() % 8 - 1;
  return NvImportWrite(0, handle, &source);
}

}  // namespace

void Fuzz(std::string_view bytes) {
  ByteReader input = InputReader(bytes);
  const std::size_t file_size = input.U16();
  const MemoryFile file(input.Text(std::min<std::size_t>(file_size, input.remaining())));
  long handles[4] = {};
  NvImportInitPackage();
  while (input.ok() && input.remaining() > 0) {
    const unsigned call = input.U8();
    long& handle = handles[call >> 6];
    char done = 1;
    int rows = 0;
    int columns = 0;
    FuzzedSheet sheet;
    switch (call % 8) {
      case 0:
        done = Open(input, file.path(), handle);
        break;
      case 1:
        done = NvImportEstablishSize(0, handle, &rows, &columns);
        Check(done != 0 ? rows >= 0 && columns >= 0 : rows == -1 && columns == -1,
              "a size is whole or -1");
        break;
      case 2:
        sheet.step = input.U8() % 4;
        sheet.cells_until_throw = input.U8() - 1;
        done = NvImportRead(0, handle, &sheet);
        break;
      case 3:
        done = Write(input, handle);
        break;
      case 4:
        NvImportGetWarning(0, handle);
        break;
      case 5:
        NvImportClose(0, handle);
        handle = 0;
        break;
      case 6:
        Check(NvImportIsCorrectFileType(input.U8() % 22 - 1, file.path()) <= 2,
              "an answer is 0, 1 or 2");
        break;
      default:
        done = NvImportRead(0, handle, nullptr);
    }
    const std::size_t text = std::strlen(NvImportGetLastError(0, handle));
    Check(text <= 254, "a text has at most 254 bytes");
    if (handle != 0) Check(done != 0 || text > 0, "a failure has a text");
  }
  for (const long handle : handles) NvImportClose(0, handle);
  NvImportReleasePackage();
}

}  // namespace nvimport
