// DriverHost FILE...: reads each file through the driver, NvImport Complete asked for, and says
// what its last cell holds or why there is none.

#include <nvimport/framework/FormatList.h>
#include <nvimport/framework/ImportHelper.h>
#include <nvimport/framework/MemorySheet.h>
#include <nvimport/platform/Dialogs.h>
#include <nvimport/platform/NvApp.h>

#include <cstdio>

namespace {

// Answers every question with the first item.
class Obliging : public nvimport::Dialogs {
 public:
  std::optional<nvimport::ItemsChoice> SelectItems(const nvimport::ItemsQuestion&) override {
    std::printf("asked, ");
    return nvimport::ItemsChoice{{0}, 0};
  }
};

}  // namespace

int main(int count, char** arguments) {
  Obliging dialogs;
  nvimport::Dialogs::Install(&dialogs);
  nvimport::NvApp::AddPluginDirectory(nvimport::NvApp::GetCompleteDirectory());
  std::printf("%d formats, %d in the list\n", NvImportSizeFileFormatsSupported(),
              nvimport::FormatList::Get().size());
  for (int i = 1; i < count; ++i) {
    nvimport::ImportHelper driver;
    nvimport::MemorySheet sheet;
    driver.SetVerboseMode(false, false);
    const bool read = driver.ReadSpreadsheetFile(arguments[i], 1, &sheet, nullptr, nullptr, false);
    const int column = sheet.GetNumberOfColumns();
    const int row = sheet.GetNumberOfRows();
    if (!read)
      std::printf("status %d\n", driver.GetStatus());
    else if (sheet.IsNumber(column, row))
      std::printf("%g\n", static_cast<double>(sheet.GetNumber(column, row)));
    else
      std::printf("'%s'\n", sheet.GetText(column, row));
  }
  nvimport::FormatList::Release();
  nvimport::Dialogs::Install(nullptr);
  return 0;
}
