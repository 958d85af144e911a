// read-cells FILE [FORMAT]: opens FILE through the registry, asks its size, reads it into a sink
// that touches every cell, and prints what was counted. FORMAT is an index; 0 or none detects it.
// Text is split at TABs, of everything else the whole is taken.
// read-cells FILE FORMAT COLUMN ROW LAST_COLUMN counts only the numbers from a column and row on.
// read-cells --store FILE [FORMAT]: reads it into a sheet in memory instead.
// read-cells --numbers FILE [FORMAT]: does so, then takes every cell as a number.
// read-cells --complete FILE [FORMAT]: reads it by NvImport Complete, as conversions do: without a
// pass for the size where the reader can.
// read-cells --import FILE...: imports each as hosts do, with all that it says of itself, into a
// sheet in memory.

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "bench/TouchingSink.h"
#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/MemorySheet.h"
#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/hosting/import/Complete.h"
#include "nvimport/hosting/import/Import.h"
#include "nvimport/platform/Dialogs.h"
#include "plugins/complete/CompleteFormats.h"

namespace nvimport {

namespace {

class TakesAll : public Dialogs {
 public:
  TakesAll() { Install(this); }
  std::optional<TextImportChoice> ImportText(const TextImportQuestion&) override {
    return TextImportChoice{"\t", false};
  }
  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override {
    ItemsChoice choice;
    for (std::size_t i = 0; i < (question.only_one ? 1 : question.items.size()); ++i)
      choice.items.push_back(i);
    return choice;
  }
  std::optional<RangeChoice> SelectRange(const RangeQuestion&) override { return RangeChoice{}; }
};

FormatRegistry* formats = &FormatRegistry::Own();

// Whether all went well; else says on standard error what did not.
bool Read(const char* path, int format, ReadSpreadSheetData& sink) {
  const auto file = formats->CreateReader(format);
  TakesAll dialogs;
  int status = file->Open(true, path, nullptr);
  if (formats != &FormatRegistry::Own()) file->LeaveSizeOpen();
  if (status == 0 && file->GetNumRows() >= 0 && file->GetNumCols() >= 0) status = file->Read(&sink);
  if (status == 0) status = file->GetStatus();
  char text[256];
  file->GetErrorMessage(text, sizeof text);
  if (status != 0) std::fprintf(stderr, "%s: %s\n", path, text);
  std::printf("rows=%d columns=%d ", file->GetNumRows(), file->GetNumCols());
  return status == 0;
}

template <typename Sums>
int SumCells(const char* path, int format, const Sums& sums, bool whole) {
  SummingSink<Sums> sink(sums, whole);
  const bool good = Read(path, format, sink);
  const CellSums total = sink.Total();
  std::printf("cells=%llu sum=%llu d=%.10g\n", static_cast<unsigned long long>(total.cells),
              static_cast<unsigned long long>(total.bytes), total.numbers);
  return good ? 0 : 1;
}

int StoreCells(const char* path, int format, bool takes_numbers) {
  MemorySheet sheet;
  const bool good = Read(path, format, sheet);
  if (takes_numbers) {
    std::vector<float> numbers;
    numbers.reserve(static_cast<std::size_t>(sheet.GetNumberOfRows()) *
                    static_cast<std::size_t>(sheet.GetNumberOfColumns()));
    for (int row = 1; row <= sheet.GetNumberOfRows(); ++row)
      for (int column = 1; column <= sheet.GetNumberOfColumns(); ++column)
        numbers.push_back(static_cast<float>(sheet.AsNumber(column, row).value_or(0)));
    std::printf("number=%g ", static_cast<double>(numbers.empty() ? 0 : numbers.back()));
  }
  const MemoryCell last = sheet.GetCell(sheet.GetNumberOfColumns(), sheet.GetNumberOfRows());
  std::printf("last=%g%.*s\n", static_cast<double>(last.number), static_cast<int>(last.text.size()),
              last.text.data());
  return good ? 0 : 1;
}

int ImportEach(std::span<char*> paths) {
  if (UseComplete()) return 3;
  double last = 0;
  for (const char* const path : paths) {
    MemorySheet sheet;
    ImportRequest request;
    request.files = {path};
    request.describing = Describing::kAll;
    const ImportResult result = ImportFile(request, sheet);
    if (result.failure) {
      std::fprintf(stderr, "%s: %s\n", path, result.failure->text.c_str());
      return 1;
    }
    last += sheet.GetCell(result.columns, result.rows).exact();
  }
  std::printf("files=%zu last=%g\n", paths.size(), last);
  return 0;
}

}  // namespace

}  // namespace nvimport

int main(int count, char** arguments) {
  using namespace nvimport;
  if (count > 1 && std::string_view(arguments[1]) == "--import")
    return ImportEach(std::span(arguments, static_cast<std::size_t>(count)).subspan(2));
  const bool takes_numbers = count > 1 && std::string_view(arguments[1]) == "--numbers";
  const bool whole = count > 1 && std::string_view(arguments[1]) == "--whole";
  const bool is_complete = count > 1 && std::string_view(arguments[1]) == "--complete";
  const bool stores = takes_numbers || (count > 1 && std::string_view(arguments[1]) == "--store");
  count -= stores || whole || is_complete ? 1 : 0;
  arguments += stores || whole || is_complete ? 1 : 0;
  if (count < 2) return 2;
  const char* path = arguments[1];
  int format = count > 2 ? std::atoi(arguments[2]) : 0;
  if (format == 0) format = ChooseFormat(BuiltInFormats(), path);
  if (format < 1) return 3;
  if (is_complete) {
    const std::string_view name = formats->Find(format)->name;
    formats = &CompleteFormats();
    for (format = formats->size(); format > 0 && formats->Find(format)->name != name;) --format;
    if (format < 1) return 3;
  }
  if (stores) return StoreCells(path, format, takes_numbers);
  if (count < 6) return SumCells(path, format, LaneSums(), whole);
  return SumCells(
      path, format,
      TableSums(std::atoi(arguments[3]), std::atoi(arguments[4]), std::atoi(arguments[5])), whole);
}
