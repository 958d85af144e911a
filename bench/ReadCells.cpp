// read-cells FILE [FORMAT]: opens FILE through the registry, asks its size, reads it into a sink
// that touches every cell, and prints what was counted. FORMAT is an index; without it the format
// is detected. Text is split at TABs.

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "bench/TouchingSink.h"
#include "formats/text/TextFile.h"
#include "framework/FormatDetection.h"
#include "framework/SprFileFactory.h"
#include "framework/SpreadsheetOpenOptions.h"

int main(int count, char** arguments) {
  if (count < 2) return 2;
  const char* path = arguments[1];
  const int format = count > 2 ? std::atoi(arguments[2]) : ChooseFormat(BuiltInFormats(), path);
  if (format < 1) return 3;
  const auto file = SprFileFactory::CreateReader(format);
  const std::unique_ptr<NvImportOpenOptions> tabs(TextFile::GetImportOptions("\t", false));

  TouchingSink sink;
  int status = file->Open(true, path, tabs.get());
  SpreadsheetOpenOptions::FreeOpenOptions(tabs.get());
  if (status == 0 && file->GetNumRows() >= 0 && file->GetNumCols() >= 0) status = file->Read(&sink);
  if (status == 0) status = file->GetStatus();
  char text[256];
  file->GetErrorMessage(text, sizeof text);
  if (status != 0) std::fprintf(stderr, "%s: %s\n", path, text);

  const TouchingSink::Sums sums = sink.Total();
  std::printf("rows=%d columns=%d cells=%llu sum=%llu d=%.10g\n", file->GetNumRows(),
              file->GetNumCols(), static_cast<unsigned long long>(sums.cells),
              static_cast<unsigned long long>(sums.bytes), sums.numbers);
  return status == 0 ? 0 : 1;
}
