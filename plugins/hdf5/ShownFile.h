#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "plugins/hdf5/Hdf5.h"

namespace nvimport {

// A file of another format that shows what an HDF5 file holds: its heads stand here, its values
// where they are.
class ShownFile {
 public:
  explicit ShownFile(Hdf5File& file) : file_(file) {}

  std::uint64_t size() const { return size_; }

  void Add(std::string_view bytes);
  void Add(const Hdf5Data& data);
  // Bytes that are 0, up to the next multiple.
  void Pad(unsigned multiple);
  // Writes over bytes that were added as such, no values among them.
  void Change(std::uint64_t position, std::string_view bytes);
  // Takes away what was added behind.
  void CutTo(std::uint64_t size);

  // Fills `to` from `position` on. Less than 0 where the file could not be read.
  std::int64_t Read(std::uint64_t position, std::uint64_t count, char* to, std::uint64_t text_base,
                    std::string& texts);

 private:
  // Bytes here, or values in the file.
  struct Part {
    std::uint64_t begin;
    std::uint64_t size;
    std::size_t at;  // in `bytes_` or `data_`
    bool is_data;
  };

  Hdf5File& file_;
  std::uint64_t size_ = 0;
  std::vector<Part> parts_;
  std::string bytes_;
  std::vector<Hdf5Data> data_;
};

// What the file shows, as netCDF or as MATLAB 5. False where it can show nothing.
bool ShowAsNetcdf(Hdf5File& file, ShownFile& shown);
bool ShowAsMat(Hdf5File& file, std::string_view header, ShownFile& shown);

}  // namespace nvimport
