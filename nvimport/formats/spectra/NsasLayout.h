#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "nvimport/formats/spectra/SpectrumAxis.h"
#include "nvimport/platform/BlockReader.h"
#include "nvimport/platform/InputFile.h"

namespace nvimport {

// The statuses of NSAS files. Their texts stand in NsasFile.cpp.
enum NsasStatus : int {
  kDaCannotOpen = 1280,
  kDaNotOpen = 1281,
  kDaHeaderCut = 1282,
  kDaBadHeader = 1283,
  kDaHeadersDiffer = 1284,
  kDaHeaderFillerCut = 1285,
  kDaDataCut = 1286,
  kDaDataFillerCut = 1287,
  kCnNamesCut = 1288,
  kCnValuesCut = 1289,
  kCnFillerCut = 1290,
  kCnSize = 1291
};

using NsasName = std::array<char, 11>;

// A spectrum of a DA file.
struct NsasRecord {
  SpectrumGrid axis;  // of wavelengths
  int model = 0;
  int number = 0;
  int constituents = 0;
  NsasName name{};
  std::array<int, 6> time{};
  std::uint64_t data = 0;  // where its values begin, as float32

  std::uint64_t data_end() const {
    return data + static_cast<std::uint64_t>(axis.points) * sizeof(float);
  }
};

// Goes through the spectra of a DA file.
class NsasDaFile {
 public:
  void Begin(InputFile& file);

  // Reads the header ahead and goes on to the values. The spectrum is to be like the first, if
  // there is one. Returns a status.
  int ReadDaHeader(const NsasRecord* first, NsasRecord& record);
  BlockReader& values() { return reader_; }
  // Goes behind the values; false when the file ends before their last block does.
  bool SkipDa(const NsasRecord& record);

  std::uint64_t size() const { return size_; }
  bool at_end() const { return reader_.position() >= size_; }

 private:
  BlockReader reader_;
  std::uint64_t size_ = 0;
};

// Goes through the constituents of the spectra in a CN file of either version.
class NsasCnFile {
 public:
  // False when the file's size is none for so many spectra.
  bool Begin(InputFile& file, std::uint64_t spectra);

  // The names, empty ones in the version without. Returns a status, as the next.
  int ReadCnHeader(std::span<NsasName> names);
  int ReadConstituensValues(std::span<float> values);

  static constexpr int kMostConstituents = 32;  // a block has no room for more

 private:
  BlockReader reader_;
  bool has_names_ = false;
};

}  // namespace nvimport
