// open FILE...: reads any file that NvImport knows, several as one sheet, and shows what came of
// it. Questions are asked in the terminal, and a further dot stands for each part that was read.

#include <nvimport/framework/MemorySheet.h>
#include <nvimport/hosting/import/Import.h>

#include <iostream>
#include <vector>

using namespace nvimport;

// What is not overridden counts as cancelled.
class Questions : public Dialogs {
 public:
  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override {
    for (std::size_t i = 0; i < question.items.size(); ++i)
      std::cerr << i + 1 << " " << question.items[i] << "\n";
    std::size_t number = 0;
    std::cerr << question.title << ", number? ";
    if (!(std::cin >> number) || number < 1 || number > question.items.size()) return std::nullopt;
    return ItemsChoice{{number - 1}, question.merge};
  }
  std::optional<TextImportChoice> ImportText(const TextImportQuestion& question) override {
    return question.usual;
  }
};

int main(int argc, char** argv) {
  Questions questions;
  ImportRequest request;
  request.files = {argv + 1, argv + argc};
  request.dialogs = &questions;
  request.answers.range = RangeChoice{1, 0};  // all points: not to be asked
  request.progress = [](const ImportProgress& now) {
    if (!now.begins) std::cerr << ".";
    return true;  // false stops the import
  };
  MemorySheet sheet;
  const ImportResult result = ImportFile(request, sheet);
  for (const std::string& note : result.notes) std::cerr << "note: " << note << "\n";
  if (!result) {
    const Failure& failure = *result.failure;
    std::cerr << failure.text << "\n" << failure.where << ": " << failure.Explanation() << "\n";
    return 1;
  }
  std::cout << FormatName(result.format) << ", " << result.rows << " x " << result.columns
            << ", first cell: " << sheet.GetText(1, 1) << "\n";
  // The same once more asks nothing.
  request.options = result.options;
  return ImportFile(request, sheet) ? 0 : 1;
}
