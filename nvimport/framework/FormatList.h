#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/NvImport.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// The formats of all libraries in one list: this library's own first, then those of the libraries
// beside it and in the plug-in folders that export the twelve functions. A format is known by its
// position, from 1. A later format replaces an earlier one of the same name and moves to the end:
// so a plug-in overrides a built-in format.
class NVIMPORT_API FormatList {
 public:
  // The list, built on first need.
  static FormatList& Get();

  // Ends the list: releases and unloads every library. Files made by it must be gone by then. The
  // next Get builds it anew.
  static void Release();

  // Releases the list at the end of a scope, however that is left.
  struct ReleaseAtEnd {
    ReleaseAtEnd() = default;
    ReleaseAtEnd(const ReleaseAtEnd&) = delete;
    ReleaseAtEnd& operator=(const ReleaseAtEnd&) = delete;
    ~ReleaseAtEnd() { Release(); }
  };

  FormatList();
  FormatList(const FormatList&) = delete;
  FormatList& operator=(const FormatList&) = delete;
  ~FormatList();

  // Adds the formats of the library at `path`. One that does not serve formats is skipped, one that
  // means to and can't is logged as well; the list then stays as it was. True when it was added.
  bool AddLibrary(const std::string& path);

  // A library that claims more formats is not believed.
  static constexpr int kMostFormats = 4096;

  // What is wrong with a library's description of a format, as the end of a sentence; empty when
  // nothing is.
  static std::string FaultOf(const NvImportFormatInfo* info);

  // The number of formats, which is also the last position.
  int size() const;

  // The description of the format at `position`, which must be in 1..size(), here and below.
  const NvImportFormatInfo& GetInfo(int position) const;

  // The path of the library that serves the format, empty for a built-in one.
  const std::string& GetLibraryPath(int position) const;

  // A file object of the format, valid while the list is.
  std::unique_ptr<SpreadsheetFile> CreateFile(int position) const;

  // The formats for detection; the list must outlive them.
  std::vector<KnownFormat> GetKnownFormats() const;

 private:
  struct Library;
  struct Entry {
    std::shared_ptr<const Library> library;
    int index;  // within the library, from 1
    std::shared_ptr<const NvImportFormatInfo> info;
  };

  // Tried in a copy of the process, since nothing else outlives what a library does there.
  bool ReturnsFromListing(const std::string& path);
  bool Append(const std::shared_ptr<const Library>& library);
  void AddFolder(const std::string& folder);
  const Entry& At(int position) const { return entries_[static_cast<std::size_t>(position - 1)]; }

  std::vector<Entry> entries_;
  std::string own_path_;
};

}  // namespace nvimport
