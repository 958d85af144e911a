#pragma once

#include <memory>
#include <optional>
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
//
// A host may have NvImport Complete's readers beside the built-in ones, which are then those with
// the kept rules. They share a position.
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

  // Has NvImport Complete read the formats that this library itself serves, and adds those that it
  // alone has; does nothing the second time. False where it is not there or can't serve.
  bool AddComplete();

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

  // Whether a reader with the kept rules stands beside that of NvImport Complete; `Has` where the
  // format can be read by the kept rules at all.
  bool HasTwoReaders(int position) const { return At(position).kept != std::nullopt; }
  bool HasKeptReader(int position) const;

  // A file object of the format, valid while the list is. By the kept rules only of a format that
  // can be read by them.
  std::unique_ptr<SpreadsheetFile> CreateFile(int position, bool kept_rules = false) const;

  // The formats for detection; the list must outlive them. By the kept rules no file is of a format
  // that can't be read by them.
  std::vector<KnownFormat> GetKnownFormats(bool kept_rules = false) const;

 private:
  struct Library;
  struct Server {
    std::shared_ptr<const Library> library;
    int index;  // within the library, from 1
  };
  struct Entry {
    Server server;
    std::shared_ptr<const NvImportFormatInfo> info;
    std::optional<Server> kept;  // with the kept rules, if there is another
  };

  // Tried in a copy of the process, since nothing else outlives what a library does there.
  bool ReturnsFromListing(const std::string& path);
  bool Append(const std::shared_ptr<const Library>& library);
  // The formats of a library; none where one of them or the library is not as it has to be.
  static std::vector<Entry> FormatsOf(const std::shared_ptr<const Library>& library);
  void AddFolder(const std::string& folder);
  const Entry& At(int position) const { return entries_[static_cast<std::size_t>(position - 1)]; }

  std::vector<Entry> entries_;
  std::string own_path_;
  bool has_complete_ = false;  // beside the built-in readers
};

}  // namespace nvimport
