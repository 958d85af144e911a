// read-cells FILE [FORMAT]: opens FILE through the registry, asks its size, reads it into a sink
// that touches every cell, and prints what was counted. FORMAT is an index; without it the format
// is detected. Text is split at TABs, of everything else the whole is taken.

#include <cstdio>
#include <cstdlib>
#include <optional>

#include "bench/TouchingSink.h"
#include "framework/FormatDetection.h"
#include "framework/SprFileFactory.h"
#include "platform/Dialogs.h"

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

}  // namespace

int main(int count, char** arguments) {
  if (count < 2) return 2;
  const char* path = arguments[1];
  const int format = count > 2 ? std::atoi(arguments[2]) : ChooseFormat(BuiltInFormats(), path);
  if (format < 1) return 3;
  const auto file = SprFileFactory::CreateReader(format);
  TakesAll dialogs;

  TouchingSink sink;
  int status = file->Open(true, path, nullptr);
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
