// Analytical Data Interchange, chromatography (ASTM E1947, E1948) and mass spectrometry (ASTM
// E2077, E2078): netCDF files with an attribute for their revision.
//   chromatography     aia_template_revision; ordinate_values(point_number); the time of the first
//                      point actual_delay_time, the step actual_sampling_interval, or
//                      raw_data_retention(point_number); of peaks anything(peak_number)
//   mass spectrometry  ms_template_revision; scan_index, point_count, scan_acquisition_time,
//                      total_intensity (scan_number); mass_values, intensity_values
//                      (point_number), where flags may follow the points of a scan
// Whether samples lie evenly is said by an attribute that programs call by two names, and by either
// rightly and wrongly: it counts whether there are times.

#include "nvimport/formats/matrix/AndiLayout.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "nvimport/formats/matrix/NetcdfValues.h"

namespace nvimport {

AndiKind AndiKindOf(const NetcdfContents& contents) {
  if (Find(contents.attributes, "aia_template_revision") != nullptr) return AndiKind::kChromatogram;
  if (Find(contents.attributes, "ms_template_revision") != nullptr) return AndiKind::kMassSpectra;
  return AndiKind::kNone;
}

int ReadAndiNumber(NetcdfSource& source, const NetcdfContents& contents, Budget& budget,
                   std::string_view name, std::optional<double>& number) {
  number.reset();
  if (const NetcdfVariable* variable = contents.Find(name);
      variable != nullptr && variable->dimensions.empty()) {
    std::vector<double> values;
    const int status = ReadDoubles(source, contents, *variable, budget, values, {kAndiMissing});
    if (status != kGood) return status;
    number = values.front();
  } else if (const NetcdfAttribute* attribute = Find(contents.attributes, name)) {
    number = attribute->Number();
  }
  if (number && (!std::isfinite(*number) || *number == kAndiMissing)) number.reset();
  return kGood;
}

std::string AndiText(const NetcdfContents& contents, std::string_view name) {
  const std::string text = TextOf(contents.attributes, name);
  return text.empty() ? TextOf(contents.attributes, std::string(name) + "s") : text;
}

int ReadAndiTimes(NetcdfSource& source, const NetcdfContents& contents, Budget& budget,
                  std::uint64_t points, AndiTimes& times) {
  const NetcdfVariable* stated = contents.Find("raw_data_retention");
  if (stated != nullptr && stated->dimensions.size() == 1) {
    if (const int status = ReadDoubles(source, contents, *stated, budget, times.times))
      return status;
    // Some write nothing into it.
    const bool is_whole = times.times.size() == points &&
                          std::ranges::none_of(times.times, [](double x) { return std::isnan(x); });
    if (is_whole && (points < 2 || times.times.front() != times.times.back())) return kGood;
    times.times.clear();
  }
  std::optional<double> delay;
  std::optional<double> interval;
  for (const auto& [name, number] :
       {std::pair("actual_delay_time", &delay), std::pair("actual_sampling_interval", &interval)})
    if (const int status = ReadAndiNumber(source, contents, budget, name, *number)) return status;
  times.has_times = interval && *interval > 0;
  times.delay = times.has_times ? delay.value_or(0) : 1;
  times.interval = times.has_times ? *interval : 1;
  return kGood;
}

int ReadAndiScans(NetcdfSource& source, const NetcdfContents& contents, Budget& budget,
                  std::vector<AndiScan>& scans) {
  const NetcdfVariable* first = contents.Find("scan_index");
  const NetcdfVariable* count = contents.Find("point_count");
  const NetcdfVariable* masses = contents.Find("mass_values");
  const NetcdfVariable* intensities = contents.Find("intensity_values");
  for (const NetcdfVariable* variable : {first, count, masses, intensities})
    if (variable == nullptr || variable->dimensions.size() != 1) return kNetcdfNoScans;
  if (!contents.Holds(*masses) || !contents.Holds(*intensities)) return kNetcdfCutShort;
  if (masses->dimensions != intensities->dimensions || first->dimensions != count->dimensions)
    return kNetcdfScansDamaged;
  std::vector<double> firsts;
  std::vector<double> counts;
  if (const int status = ReadDoubles(source, contents, *first, budget, firsts)) return status;
  if (const int status = ReadDoubles(source, contents, *count, budget, counts)) return status;
  if (!budget.Take(firsts.size() * sizeof(AndiScan))) return kOverBudget;
  const auto points = static_cast<double>(contents.dimensions[masses->dimensions.front()].length);
  std::uint64_t in_scans = 0;
  for (std::size_t i = 0; i < firsts.size(); ++i) {
    AndiScan scan;
    // A scan without points is marked by either, or by what stands where nothing was written.
    if (firsts[i] >= 0 && counts[i] > 0) {
      if (firsts[i] + counts[i] > points) return kNetcdfScansDamaged;
      scan.first = static_cast<std::uint64_t>(firsts[i]);
      scan.count = static_cast<std::uint64_t>(counts[i]);
      in_scans += scan.count;
    }
    scans.push_back(scan);
  }
  // Points that are in many scans are gone through for each.
  const std::uint64_t once = contents.dimensions[masses->dimensions.front()].length;
  if (in_scans > once && !budget.Work((in_scans - once) * 2 * sizeof(double))) return kOverBudget;
  budget.Return(2 * firsts.size() * sizeof(double));
  return scans.empty() ? int{kNetcdfNoScans} : int{kGood};
}

}  // namespace nvimport
