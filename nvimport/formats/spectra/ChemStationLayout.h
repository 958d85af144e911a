#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "nvimport/formats/spectra/ChemStationDeltas.h"
#include "nvimport/platform/BlockReader.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/InputFile.h"

namespace nvimport {

// The statuses of HPLC ChemStation files. Their texts stand in ChemStationFile.cpp.
enum ChemStationStatus : int {
  kChemNoFile = 4400,
  kChemNotOpened = 4401,
  kChemNotThisFormat = 4402,
  kChemMassSpectra = 4403,
  kChemOtherVersion = 4404,
  kChemCutShort = 4405,
  kChemDamaged = 4406,
  kChemNoValues = 4407,
  kChemKindsDiffer = 4408,
  kChemWavelengthsDiffer = 4409,
  kChemNoWavelength = 4410,
  kChemCannotRead = 4411,
  kChemEmptyFolder = 4412
};

// How the values are stored.
enum class ChemStationCoding : std::uint8_t {
  kDeltas,        // differences from the value before
  kDoubleDeltas,  // differences of these
  kDoubles,
  kDeltaScans,  // spectra of differences, one after the other
  kDoubleScans
};

// The texts of a header, in the order of their statements.
enum ChemStationText : std::uint8_t {
  kChemType,
  kChemSample,
  kChemDescription,
  kChemOperator,
  kChemDate,
  kChemDetector,
  kChemInstrument,
  kChemMethod,
  kChemSoftware,
  kChemUnits,
  kChemSignal
};
inline constexpr std::size_t kChemStationTexts = 11;

// What the header of a file says, and the size of the file.
struct ChemStationLayout {
  int version = 0;
  ChemStationCoding coding = ChemStationCoding::kDeltas;
  std::array<std::string, kChemStationTexts> texts;
  int sequence_line = 0;
  int vial = 0;
  int injection = 0;
  // A value is scale * stored + intercept.
  double scale = 1;
  double intercept = 0;
  bool has_scale = true;
  double first_time = 0;  // in ms
  double last_time = 0;
  double step = 0;                // of times in ms, 0 where it isn't stated
  std::optional<double> largest;  // of the stored values
  std::optional<double> smallest;
  std::uint32_t scans = 0;  // 0 of a run that was aborted
  std::uint64_t index = 0;  // of scans, 0 without
  std::uint64_t data = 0;   // where the values begin
  std::uint64_t end = 0;    // and where they end at the latest
  std::uint64_t size = 0;
  bool has_end_mark = true;

  bool has_scans() const { return coding >= ChemStationCoding::kDeltaScans; }
  // True when all that can be known without going through the values is as it should be.
  bool is_sure = false;
};

// Returns a status. A version without its layout is told by `version`.
int ReadChemStationLayout(InputFile& file, ChemStationLayout& layout);

// How a run through stored values ended.
enum class ChemStationEnd : std::uint8_t { kMarked, kUnmarked, kCut, kDamaged };

// Goes through the stored values of a chromatogram.
class ChemStationSignal {
 public:
  ChemStationSignal(const ChemStationLayout& layout, InputFile& file, BlockReader& reader)
      : layout_(layout), reader_(reader) {
    reader_.Begin(file, layout.data);
  }

  // Counts the values, as far as they are whole.
  ChemStationEnd Count(std::uint64_t& count);

  // Gives `take` the values in runs, which it may change.
  template <typename Take>
  ChemStationEnd TakeRuns(Take take) {
    while (const std::size_t count = Next()) take(std::span(run_).first(count));
    return end_;
  }

 private:
  static constexpr std::size_t kLongestRun = 512;

  // Decodes the next run and returns its length; 0 at the end.
  std::size_t Next();
  std::size_t NextSegment();
  std::size_t NextDoubleDeltas();
  std::size_t NextDoubles();
  std::size_t End(ChemStationEnd end) {
    end_ = end;
    return 0;
  }

  const ChemStationLayout& layout_;
  BlockReader& reader_;
  std::array<double, kLongestRun> run_;
  ChemStationEnd end_ = ChemStationEnd::kMarked;
  std::int64_t value_ = 0;  // the last one, of differences
  // The same of double differences. Whatever a damaged file adds up must not overflow.
  std::uint64_t sum_ = 0;
  std::uint64_t slope_ = 0;
};

// A spectrum of many over time.
struct ChemStationScan {
  std::int32_t time = 0;  // in ms
  // Of wavelengths, in 20ths of a nm.
  int first = 0;
  int last = 0;
  int step = 0;

  int points() const { return (last - first) / step + 1; }
  double Wavelength(int point) const { return (first + point * step) / 20.0; }
  bool HasWavelengthsOf(const ChemStationScan& other) const {
    return first == other.first && last == other.last && step == other.step;
  }
};

// Goes through such spectra, one after the other, along the file's own index of them.
class ChemStationScans {
 public:
  static constexpr std::uint64_t kLeastSize = 24;  // of a scan

  // The path is the file's.
  ChemStationScans(const ChemStationLayout& layout, const char* path, InputFile& file,
                   BlockReader& reader);

  // Reads what the next begins with. False behind the last, where status() says why it is.
  bool Next();
  const ChemStationScan& scan() const { return scan_; }

  // The next one ends as one that was not written to its end, or not all are there.
  int status() const { return status_; }
  // How many there were.
  std::uint32_t number() const { return number_; }
  // How often the index says something else than what it leads to.
  std::uint64_t misfits() const { return misfits_; }
  bool lost_index() const { return lost_index_; }
  // Bytes where there should be none.
  bool has_rest() const { return rest_; }
  bool is_last_cut() const { return is_last_cut_; }

  // Gives `take` so many values of the spectrum from the point `first` on, of those that scan()
  // has. False when they aren't there.
  template <typename Take>
  bool Each(int first, int count, Take take) {
    const char* at = bytes_.data() + kHeadSize;
    const char* const end = bytes_.data() + bytes_.size();
    const auto skipped = static_cast<std::size_t>(first);
    const auto taken = static_cast<std::size_t>(count);
    if (layout_.coding == ChemStationCoding::kDoubleScans) {
      if (static_cast<std::size_t>(end - at) / sizeof(double) < skipped + taken) return false;
      at += skipped * sizeof(double);
      const char* const behind = at + taken * sizeof(double);
      for (; at < behind; at += sizeof(double)) take(LoadLittle<double>(at));
    } else {
      std::int64_t sum = 0;
      at = AddUp<std::endian::little>(at, end, sum, skipped, [](std::int64_t) {});
      if (at != nullptr)
        at = AddUp<std::endian::little>(
            at, end, sum, taken, [&](std::int64_t value) { take(static_cast<double>(value)); });
      if (at == nullptr) return false;
    }
    rest_ |= first + count == scan_.points() && at != end;
    return true;
  }

 private:
  static constexpr std::size_t kHeadSize = 22;

  void BeginIndex(const char* path);
  void FollowIndex();
  bool IsScanAhead();
  bool Stop(int status);

  const ChemStationLayout& layout_;
  BlockReader& reader_;
  InputFile index_file_;
  BlockReader index_;
  bool has_index_ = false;
  std::int32_t index_time_ = 0;
  ChemStationScan scan_;
  std::span<const char> bytes_;  // of the scan
  std::uint64_t end_;            // of the scan
  std::uint32_t number_ = 0;
  std::uint64_t misfits_ = 0;
  bool lost_index_ = false;
  bool rest_ = false;
  bool is_last_cut_ = false;
  int status_ = 0;
};

}  // namespace nvimport
