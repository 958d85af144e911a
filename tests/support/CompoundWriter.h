#pragma once

#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-outfile.h>
#include <gsf/gsf-output-memory.h>
#include <gsf/gsf-utils.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace nvimport {

struct Unref {
  void operator()(void* object) const { ::g_object_unref(object); }
};
template <typename T>
using GsfPointer = std::unique_ptr<T, Unref>;

// The compound file that an independent writer makes of streams by path; "Folder/Name" lies in a
// storage.
inline std::string WriteCompoundFile(const std::map<std::string, std::string>& streams,
                                     unsigned sector_size = 512) {
  ::gsf_init();
  const GsfPointer<GsfOutput> memory(::gsf_output_memory_new());
  const GsfPointer<GsfOutfile> root(::gsf_outfile_msole_new_full(memory.get(), sector_size, 64));
  std::map<std::string, GsfPointer<GsfOutput>> storages;
  for (const auto& [path, bytes] : streams) {
    GsfOutfile* parent = root.get();
    const std::size_t slash = path.find('/');
    if (slash != std::string::npos) {
      auto& storage = storages[path.substr(0, slash)];
      if (!storage)
        storage.reset(::gsf_outfile_new_child(parent, path.substr(0, slash).c_str(), 1));
      parent = GSF_OUTFILE(storage.get());
    }
    const std::string name = path.substr(slash == std::string::npos ? 0 : slash + 1);
    const GsfPointer<GsfOutput> child(::gsf_outfile_new_child(parent, name.c_str(), 0));
    ::gsf_output_write(child.get(), bytes.size(),
                       reinterpret_cast<const std::uint8_t*>(bytes.data()));
    ::gsf_output_close(child.get());
  }
  for (const auto& [name, storage] : storages) ::gsf_output_close(storage.get());
  ::gsf_output_close(GSF_OUTPUT(root.get()));
  const auto* bytes = ::gsf_output_memory_get_bytes(GSF_OUTPUT_MEMORY(memory.get()));
  return {reinterpret_cast<const char*>(bytes),
          static_cast<std::size_t>(::gsf_output_size(memory.get()))};
}

}  // namespace nvimport
