#pragma once

#include <type_traits>

#include "nvimport/framework/NvImport.h"
#include "nvimport/framework/NvImportMore.h"
#include "nvimport/platform/DynamicLibrary.h"

namespace nvimport {

// The functions of one library: twelve that it is to have and others that it may. Those that it
// lacks are null.
struct PluginFunctions {
  decltype(&NvImportInitPackage) init_package = nullptr;
  decltype(&NvImportReleasePackage) release_package = nullptr;
  decltype(&NvImportSizeFileFormatsSupported) count_formats = nullptr;
  decltype(&NvImportGetFileFormatInfo) get_info = nullptr;
  decltype(&NvImportIsCorrectFileType) is_correct_type = nullptr;
  decltype(&NvImportOpen) open = nullptr;
  decltype(&NvImportEstablishSize) establish_size = nullptr;
  decltype(&NvImportRead) read = nullptr;
  decltype(&NvImportWrite) write = nullptr;
  decltype(&NvImportClose) close = nullptr;
  decltype(&NvImportGetLastError) get_last_error = nullptr;
  decltype(&NvImportGetWarning) get_warning = nullptr;
  decltype(&NvImportReadWhole) read_whole = nullptr;
  decltype(&NvImportDescribe) describe = nullptr;
  decltype(&NvImportGetNote) get_note = nullptr;
  decltype(&NvImportGetStatus) get_status = nullptr;
  decltype(&NvImportLeaveSizeOpen) leave_size_open = nullptr;

  // Those that `library` itself defines.
  static PluginFunctions Of(const DynamicLibrary& library) {
    PluginFunctions functions;
    const auto find = [&](const char* name, auto& function) {
      using Function = std::remove_pointer_t<std::remove_reference_t<decltype(function)>>;
      function = library.Find<Function>(name);
    };
    functions.ForEach(find);
    find("NvImportReadWhole", functions.read_whole);
    find("NvImportDescribe", functions.describe);
    find("NvImportGetNote", functions.get_note);
    find("NvImportGetStatus", functions.get_status);
    find("NvImportLeaveSizeOpen", functions.leave_size_open);
    return functions;
  }

  // Without these two a library serves no formats.
  bool can_list() const { return count_formats != nullptr && get_info != nullptr; }

  // Calls `visit` with the name and the pointer of each of the twelve.
  template <typename Visit>
  void ForEach(Visit visit) {
    visit("NvImportInitPackage", init_package);
    visit("NvImportReleasePackage", release_package);
    visit("NvImportSizeFileFormatsSupported", count_formats);
    visit("NvImportGetFileFormatInfo", get_info);
    visit("NvImportIsCorrectFileType", is_correct_type);
    visit("NvImportOpen", open);
    visit("NvImportEstablishSize", establish_size);
    visit("NvImportRead", read);
    visit("NvImportWrite", write);
    visit("NvImportClose", close);
    visit("NvImportGetLastError", get_last_error);
    visit("NvImportGetWarning", get_warning);
  }
};

}  // namespace nvimport
