#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>

#include "nvimport/formats/matrix/NetcdfSource.h"

namespace nvimport {

enum Hdf5Status : int {
  kHdf5NoFile = 4432,
  kHdf5NotHdf5,
  kHdf5Damaged,
  kHdf5NoProcess,
  kHdf5NotMat,
  kHdf5NoProc,
};

// An HDF5 file shown as one of another format by a process of its own, in which alone the HDF5
// library runs: it is not made for files that nobody vouches for, and what they make of it costs
// that process and nothing else. What comes from there is read as any file is.
class Hdf5Process final : public NetcdfSource {
 public:
  enum class Shows : std::uint8_t { kNetcdf, kMat };

  // Null with the status of what failed.
  static std::unique_ptr<Hdf5Process> Start(const char* path, Shows shows, int& status);
  // The program that is started; without that the one in the library's folder.
  static void SetProgram(std::string path);

  Hdf5Process(const Hdf5Process&) = delete;
  Hdf5Process& operator=(const Hdf5Process&) = delete;
  ~Hdf5Process() override;

  std::uint64_t size() const override { return size_; }
  std::ptrdiff_t ReadAt(std::uint64_t position, std::span<char> into) override;
  bool is_shown() const override { return true; }
  std::string_view Text(std::uint64_t at) const override;
  void ForgetTexts() override;

 private:
  Hdf5Process() = default;
  // All of it, or false where the process ended, is stuck or was cancelled.
  bool Receive(std::span<char> into, int most_seconds);

  ::pid_t process_ = -1;
  int channel_ = -1;
  std::uint64_t size_ = 0;
  std::uint64_t most_texts_ = 0;
  std::string texts_;
  bool forgets_ = false;
};

// Where the HDF5 data of a file that begins so begin; none of another file.
bool IsHdf5(const char* path);
// Whether it was written as one of MATLAB.
bool IsMat73(const char* path);

}  // namespace nvimport
