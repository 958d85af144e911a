#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/spectra/SpectrumAxis.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/BlockReader.h"
#include "nvimport/platform/Budget.h"
#include "nvimport/platform/CodePages.h"
#include "nvimport/platform/InputFile.h"

namespace nvimport {

enum OpusStatus : int {
  kOpusNoFile = 4384,
  kOpusNotOpened = 4385,
  kOpusNotThisFormat = 4386,
  kOpusBadDirectory = 4387,
  kOpusNoData = 4388,
  kOpusNoneSelected = 4389,
  kOpusBadBlock = 4390,
  kOpusOtherForm = 4391,
  kOpusReadFailed = 4392
};

// An entry of the directory: where a block is, and in the bits of a word what it is.
struct OpusBlock {
  enum Origin : std::uint8_t { kNoOrigin, kSample, kReference, kResult };
  // What parameters are about; those of data state its points.
  enum About : std::uint8_t { kNoParameters, kData, kSampleOrigin = 10 };
  enum Kind : std::uint8_t {
    kNone,
    kSpectrum,
    kInterferogram,
    kPhase,
    kAbsorbance,
    kTransmittance,
    kKubelkaMunk,
    kTrace,
    kInterferograms,
    kSpectra,
    kRaman,
    kEmission,
    kReflectance,
    kDirectory,
    kPower,
    kLogReflectance,
    kAtr,
    kPhotoacoustic,
    kMatch = 22
  };
  enum Form : std::uint8_t { kPlain, kInformation, kSeries, kHistory = 5 };

  static constexpr std::uint32_t kOriginal = 0x40000000;

  std::uint32_t type = 0;
  std::uint64_t offset = 0;
  std::uint64_t size = 0;   // in bytes
  bool has_status = false;  // another block says of it what is in it

  unsigned part() const { return type & 3U; }
  unsigned origin() const { return type >> 2U & 3U; }
  unsigned about() const { return type >> 4U & 63U; }
  unsigned kind() const { return type >> 10U & 31U; }
  unsigned channel() const { return type >> 15U & 3U; }  // from 0
  unsigned derivative() const { return type >> 17U & 3U; }
  unsigned form() const { return type >> 19U & 7U; }
  // As it was measured, where another may be what became of it.
  bool is_original() const { return (type & kOriginal) != 0; }

  bool HasData() const {
    return about() == kNoParameters && kind() != kNone && kind() != kDirectory;
  }
  bool HasParameters() const { return about() != kNoParameters || form() == kInformation; }
  // Points of the moving mirror, which have no place among wavenumbers.
  bool IsInterferogram() const { return kind() == kInterferogram || kind() == kInterferograms; }

  // "Sample Interferogram".
  std::string Name() const;
  // The lower, the sooner such a block is what the file is about.
  int Rank() const;
};

// One of a block.
struct OpusParameter {
  std::string_view name;  // of three letters; good, as the next, until more is read
  std::string_view bytes;
  unsigned type = 0;

  std::optional<std::int32_t> Whole() const;
  // A whole number too.
  std::optional<double> Number() const;
  // Where it is neither.
  std::string_view Text() const { return bytes.substr(0, bytes.find('\0')); }
};

// Runs through the parameters of a block. Each draws from a budget what is gone through.
class OpusParameters {
 public:
  OpusParameters(InputFile& file, BlockReader& reader, const OpusBlock& block, Budget& budget)
      : reader_(reader), budget_(budget), left_(block.size) {
    reader.Begin(file, block.offset);
  }

  // False behind the last one.
  bool Next(OpusParameter& parameter);

 private:
  BlockReader& reader_;
  Budget& budget_;
  std::uint64_t left_;
  std::uint64_t taken_ = 0;  // of what lies ahead, by the parameter before
};

// A data block and what its status block says: spectra on one axis, which lie a stride apart.
struct OpusData {
  OpusBlock block;
  std::uint64_t status_offset = 0;  // of its status block
  SpectrumGrid axis;
  double factor = 1;        // of stored numbers
  bool has_wholes = false;  // of 32 bits, else floats
  std::string unit;         // of x, by its code
  std::uint64_t first = 0;  // where the first spectrum begins
  std::uint64_t stride = 0;
  int spectra = 1;  // those that are whole
  int cut = 0;      // others that are announced
  // What is said of each spectrum of a series lies behind it, in so many bytes.
  std::uint64_t said = 0;
  int problem = kGood;  // why it can't be read
};

// What a code of the unit of x stands for.
struct OpusUnit {
  std::string_view code;
  std::string_view label;
  std::string_view unit;
};

// One of another code has that as its unit.
OpusUnit FindOpusUnit(std::string_view code);

struct OpusFile {
  double version = 0;  // of the program, as the number of a date
  std::vector<OpusBlock> blocks;
  std::uint64_t beyond = 0;  // blocks that the file ends before
  std::vector<OpusData> data;
  std::vector<std::uint32_t> data_types;  // those that occur, in their order
  std::string sample;                     // its name, as bytes
  int code_page = kAnsiPage;              // of texts

  // That of a block, told apart from what became of it.
  std::string NameOf(const OpusBlock& block) const;
};

// Reads the directory, or all that is needed of blocks too. Returns a status.
int ReadOpusDirectory(InputFile& input, BlockReader& reader, OpusFile& file, Budget& budget);
int ReadOpusLayout(InputFile& input, BlockReader& reader, OpusFile& file, Budget& budget);

// A text of a file as UTF-8: it may be that already, else it is in the code page.
std::string OpusText(std::string_view bytes, int code_page);

}  // namespace nvimport
