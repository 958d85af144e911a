#pragma once

#include <span>
#include <string_view>

#include "nvimport/framework/Description.h"
#include "nvimport/platform/Budget.h"

namespace nvimport {

// Where a normalised key of statements comes from: a label of a format, as its published layout has
// it.
struct KeySource {
  std::string_view label;
  std::string_view key;
};

// The labels of one format that have keys.
struct FormatKeys {
  std::string_view format;
  std::span<const KeySource> sources;
};

inline constexpr KeySource kJcampKeys[] = {
    {"TITLE", "title"},
    {"JCAMP-DX", "version"},
    {"DATA TYPE", "data-type"},
    {"DATA CLASS", "data-class"},
    {"ORIGIN", "origin"},
    {"OWNER", "owner"},
    {"DATE", "date"},
    {"LONG DATE", "date"},
    {"TIME", "time"},
    {"BLOCK_ID", "id"},
    {"SOURCE REFERENCE", "reference"},
    {"CROSS REFERENCE", "cross-reference"},
    {"SAMPLE DESCRIPTION", "sample"},
    {"CAS NAME", "chemical-name"},
    {"NAMES", "other-names"},
    {"MOLFORM", "formula"},
    {"CAS REGISTRY NO", "cas-number"},
    {"MW", "molecular-weight"},
    {"MP", "melting-point"},
    {"BP", "boiling-point"},
    {"DENSITY", "density"},
    {"REFRACTIVE INDEX", "refractive-index"},
    {"CONCENTRATIONS", "concentrations"},
    {"STATE", "state"},
    {"PATH LENGTH", "path-length"},
    {"PRESSURE", "pressure"},
    {"TEMPERATURE", "temperature"},
    {"SAMPLING PROCEDURE", "sampling"},
    {"DATA PROCESSING", "processing"},
    {"SPECTROMETER/DATA SYSTEM", "instrument"},
    {"INSTRUMENT PARAMETERS", "instrument-parameters"},
    {"INSTRUMENTAL PARAMETERS", "instrument-parameters"},
    {"RESOLUTION", "resolution"},
    {"XUNITS", "x-units"},
    {"YUNITS", "y-units"},
    {"RUNITS", "x-units"},
    {"AUNITS", "y-units"},
    {"XLABEL", "x-label"},
    {"YLABEL", "y-label"},
    {"VAR_NAME", "y-label"},
    {"UNITS", "y-units"},
    {"PAGE", "z"},
    {".OBSERVE FREQUENCY", "frequency"},
    {".OBSERVE NUCLEUS", "nucleus"},
    {".SOLVENT NAME", "solvent"},
    {".PULSE SEQUENCE", "method"},
    {".AVERAGES", "scans"},
    {".DETECTOR", "detector"},
    {".RETENTION TIME", "retention-time"},
    {"$$", "comment"},
    {"##=", "comment"},
};

inline constexpr KeySource kSpcKeys[] = {
    {"fexper", "data-type"},   {"fdate", "date"},     {"fres", "resolution"},
    {"fsource", "instrument"}, {"fcmnt", "comment"},  {"fmethod", "method"},
    {"fcatxt", "axis-label"},  {"fxtype", "x-units"}, {"fytype", "y-units"},
    {"fztype", "z-units"},     {"fwtype", "w-units"}, {"logtxto", "log"},
    {"logbins", "log-size"},   {"subtime", "z"},      {"subwlevel", "w"},
    {"subscan", "scans"},      {"oxtype", "x-units"}, {"oytype", "y-units"},
    {"oztype", "z-units"},     {"oyear", "date"},     {"ores", "resolution"},
    {"onscans", "scans"},      {"ocmnt", "comment"},  {"ocatxt", "axis-label"},
};

inline constexpr KeySource kNsasKeys[] = {
    {"instrument model", "instrument"}, {"spectrum number", "id"},
    {"sample name", "sample"},          {"date", "date"},
    {"constituent", "constituent"},
};

inline constexpr KeySource kBrimroseKeys[] = {
    {"sample text", "sample"},
    {"acquisition time", "date"},
};

// Names of parameters, and what stands beside them.
inline constexpr KeySource kOpusKeys[] = {
    {"version", "version"},
    {"block", "data-type"},
    {"other block", "other-block"},
    {"history", "log"},
    {"left out", "left-out"},
    {"scans", "scans"},
    {"start time", "start-time"},
    {"end time", "end-time"},
    {"ABP", "absolute-peak-position"},
    {"ACC", "accessory"},
    {"ADC", "external-analog-signals"},
    {"ADT", "additional-data-treatment"},
    {"AG2", "actual-signal-gain-2"},
    {"AN1", "analog-signal-1"},
    {"AN2", "analog-signal-2"},
    {"APF", "apodization"},
    {"APR", "aperture-code"},
    {"APT", "aperture"},
    {"AQM", "acquisition-mode"},
    {"ARG", "actual-reference-gain"},
    {"ARS", "reference-scans"},
    {"ASG", "actual-signal-gain"},
    {"ASS", "scans"},
    {"BBW", "bad-backward-scans"},
    {"BFW", "bad-forward-scans"},
    {"BLD", "building"},
    {"BMS", "beamsplitter"},
    {"CAM", "coaddition-mode"},
    {"CFE", "low-intensity-power-mode"},
    {"CHN", "channel"},
    {"CNM", "operator"},
    {"COR", "correlation-test"},
    {"CPG", "code-page"},
    {"CPY", "company"},
    {"CRR", "correlation-rejection-reason"},
    {"CSF", "y-factor"},
    {"DAQ", "acquisition-status"},
    {"DAT", "date"},
    {"DEL", "delay"},
    {"DLY", "stabilization-delay"},
    {"DPF", "data-format"},
    {"DPM", "department"},
    {"DTC", "detector"},
    {"DUR", "duration"},
    {"DXU", "x-units"},
    {"EXP", "method"},
    {"FOC", "focal-length"},
    {"FXV", "first-x"},
    {"GBW", "good-backward-scans"},
    {"GFW", "good-forward-scans"},
    {"HFL", "high-folding-limit"},
    {"HFQ", "high-frequency-end"},
    {"HFW", "wanted-high-frequency"},
    {"HPF", "high-pass-filter"},
    {"HUM", "humidity"},
    {"INS", "instrument"},
    {"IST", "instrument-status"},
    {"LCT", "location"},
    {"LFL", "low-folding-limit"},
    {"LFQ", "low-frequency-end"},
    {"LFW", "wanted-low-frequency"},
    {"LPF", "low-pass-filter"},
    {"LWN", "laser-wavenumber"},
    {"LXV", "last-x"},
    {"MNY", "least-y"},
    {"MVD", "maximum-velocity-deviation"},
    {"MXY", "most-y"},
    {"NFL", "nominal-forward-peak"},
    {"NLA", "nonlinearity-alpha"},
    {"NLB", "nonlinearity-beta"},
    {"NLI", "nonlinearity-correction"},
    {"NPT", "points"},
    {"NSN", "scan-number"},
    {"NSR", "reference-scans"},
    {"NSS", "scans"},
    {"OPF", "optical-filter"},
    {"PGN", "preamplifier-gain"},
    {"PGR", "reference-preamplifier-gain"},
    {"PHR", "phase-resolution"},
    {"PHZ", "phase-correction"},
    {"PKA", "peak-amplitude"},
    {"PKL", "peak-location"},
    {"PLF", "result-spectrum"},
    {"PRA", "backward-peak-amplitude"},
    {"PRL", "backward-peak-location"},
    {"PRS", "pressure"},
    {"RCH", "reference-channel"},
    {"RDX", "extended-ready-check"},
    {"RDY", "ready-check"},
    {"RES", "resolution"},
    {"RGN", "reference-gain"},
    {"RSN", "running-number"},
    {"SFM", "sample-form"},
    {"SGN", "gain"},
    {"SNM", "sample"},
    {"SON", "external-synchronisation"},
    {"SPZ", "stored-phase-mode"},
    {"SRC", "source"},
    {"SRN", "serial-number"},
    {"SRT", "start-time"},
    {"SSM", "sample-spacing-multiplier"},
    {"SSP", "sample-spacing-divisor"},
    {"TCL", "command"},
    {"TIM", "time"},
    {"TSC", "temperature"},
    {"UID", "id"},
    {"VEL", "velocity"},
    {"VSN", "firmware"},
    {"WND", "windows"},
    {"XPP", "method-folder"},
    {"ZFF", "zero-filling"},
};

inline constexpr KeySource kChemStationKeys[] = {
    {"version", "version"},
    {"file type", "data-type"},
    {"sample", "sample"},
    {"description", "comment"},
    {"operator", "operator"},
    {"date", "date"},
    {"detector", "detector"},
    {"instrument", "instrument"},
    {"method", "method"},
    {"software", "application"},
    {"units", "y-units"},
    {"signal", "signal"},
    {"sequence line", "sequence-line"},
    {"vial", "vial"},
    {"injection", "injection"},
    {"scale", "scale"},
    {"intercept", "intercept"},
    {"wavelength", "wavelength"},
    {"time", "z"},
};

// Of compound files the names of their summary properties and records, of packages those of
// elements.
inline constexpr KeySource kWorkbookKeys[] = {
    {"Title", "title"},
    {"Subject", "subject"},
    {"Author", "author"},
    {"Keywords", "keywords"},
    {"Comments", "comment"},
    {"Template", "template"},
    {"Last Saved By", "last-author"},
    {"Revision Number", "revision"},
    {"Total Editing Time", "editing-time"},
    {"Last Printed", "printed"},
    {"Create Time/Date", "created"},
    {"Last Saved Time/Date", "modified"},
    {"Name of Creating Application", "application"},
    {"Category", "category"},
    {"Manager", "manager"},
    {"Company", "company"},
    {"Version", "application-version"},
    {"Content Type", "content-type"},
    {"Content Status", "content-status"},
    {"Document Language", "language"},
    {"Document Version", "document-version"},
    {"BOF", "version"},
    {"CODEPAGE", "code-page"},
    {"DATEMODE", "date-system"},
    {"BOUNDSHEET", "worksheet"},
    {"BOUNDSHEET hidden", "hidden-worksheet"},
    {"BOUNDSHEET very hidden", "very-hidden-worksheet"},
    {"BUNDLEHEADER", "worksheet"},
    {"DIMENSIONS", "stated-range"},
    {"title", "title"},
    {"subject", "subject"},
    {"creator", "author"},
    {"keywords", "keywords"},
    {"description", "comment"},
    {"lastModifiedBy", "last-author"},
    {"revision", "revision"},
    {"lastPrinted", "printed"},
    {"created", "created"},
    {"modified", "modified"},
    {"category", "category"},
    {"contentType", "content-type"},
    {"contentStatus", "content-status"},
    {"language", "language"},
    {"version", "document-version"},
    {"Application", "application"},
    {"AppVersion", "application-version"},
    {"TotalTime", "editing-time"},
    {"date1904", "date-system"},
    {"sheet", "worksheet"},
    {"sheet hidden", "hidden-worksheet"},
    {"sheet veryHidden", "very-hidden-worksheet"},
    {"dimension", "stated-range"},
    {"found columns", "found-columns"},
    {"found rows", "found-rows"},
};

inline constexpr KeySource kOpenDocumentKeys[] = {
    {"title", "title"},
    {"subject", "subject"},
    {"description", "comment"},
    {"keyword", "keywords"},
    {"initial-creator", "author"},
    {"creator", "last-author"},
    {"creation-date", "created"},
    {"date", "modified"},
    {"print-date", "printed"},
    {"generator", "application"},
    {"language", "language"},
    {"editing-cycles", "revision"},
    {"editing-duration", "editing-time"},
    {"worksheet", "worksheet"},
    {"worksheet hidden", "hidden-worksheet"},
    {"found columns", "found-columns"},
    {"found rows", "found-rows"},
};

inline constexpr KeySource kXmlSpreadsheetKeys[] = {
    {"Title", "title"},
    {"Subject", "subject"},
    {"Author", "author"},
    {"Keywords", "keywords"},
    {"Description", "comment"},
    {"LastAuthor", "last-author"},
    {"Revision", "revision"},
    {"Created", "created"},
    {"LastSaved", "modified"},
    {"LastPrinted", "printed"},
    {"Category", "category"},
    {"Manager", "manager"},
    {"Company", "company"},
    {"Version", "application-version"},
    {"TotalTime", "editing-time"},
    {"worksheet", "worksheet"},
    {"worksheet hidden", "hidden-worksheet"},
    {"found columns", "found-columns"},
    {"found rows", "found-rows"},
};

inline constexpr KeySource kHtmlKeys[] = {
    {"title", "title"},
    {"author", "author"},
    {"description", "comment"},
    {"keywords", "keywords"},
    {"generator", "application"},
    {"worksheet", "worksheet"},
    {"found columns", "found-columns"},
    {"found rows", "found-rows"},
};

inline constexpr KeySource kTivonKeys[] = {
    {"stream", "worksheet"},
};

inline constexpr KeySource kTextKeys[] = {
    {"byte order mark", "byte-order-mark"},
    {"encoding", "encoding"},
    {"line ends", "line-ends"},
    {"sep=", "delimiter"},
    {"delimiter", "delimiter"},
    {"header row", "header-row"},
};

inline constexpr KeySource kDifKeys[] = {
    {"TABLE", "title"},          {"TABLE version", "version"},   {"VECTORS", "stated-columns"},
    {"TUPLES", "stated-rows"},   {"VECTORS comment", "comment"}, {"TUPLES comment", "comment"},
    {"DATA comment", "comment"}, {"COMMENT", "comment"},
};

inline constexpr KeySource kLotusKeys[] = {
    {"BOF", "version"},
    {"RANGE", "stated-range"},
};

inline constexpr KeySource kMatlabKeys[] = {
    {"level", "version"},      {"header", "comment"},  {"Platform", "platform"},
    {"Created on", "created"}, {"variable", "matrix"}, {"left out", "left-out"},
};

// Names of attributes, and of variables of mass spectra that name their instrument.
inline constexpr KeySource kNetcdfKeys[] = {
    {"version", "version"},
    {"title", "title"},
    {"history", "log"},
    {"comment", "comment"},
    {"institution", "company"},
    {"source", "source"},
    {"references", "reference"},
    {"experiment_title", "title"},
    {"experiment_type", "data-type"},
    {"separation_experiment_type", "data-type"},
    {"administrative_comments", "comment"},
    {"dataset_owner", "owner"},
    {"dataset_origin", "origin"},
    {"dataset_date_time_stamp", "created"},
    {"injection_date_time_stamp", "date"},
    {"experiment_date_time_stamp", "date"},
    {"operator_name", "operator"},
    {"sample_name", "sample"},
    {"sample_id", "id"},
    {"external_sample_id", "id"},
    {"sample_comments", "comment"},
    {"sample_state", "state"},
    {"detector_name", "detector"},
    {"detector_unit", "y-units"},
    {"detector_units", "y-units"},
    {"retention_unit", "x-units"},
    {"retention_units", "x-units"},
    {"detection_method_name", "method"},
    {"separation_method_name", "separation-method"},
    {"instrument_name", "instrument"},
    {"instrument_serial_no", "serial-number"},
    {"instrument_fw_version", "firmware"},
    {"instrument_app_version", "application-version"},
    {"test_detector_type", "detector"},
    {"source_file_reference", "source-file"},
    {"aia_template_revision", "template-revision"},
    {"ms_template_revision", "template-revision"},
};

// All of them: docs/descriptions-keys.md has a row for each.
inline constexpr FormatKeys kFormatKeys[] = {
    {"JCAMP-DX", kJcampKeys},
    {"GalacticSPC", kSpcKeys},
    {"NSAS", kNsasKeys},
    {"Brimrose", kBrimroseKeys},
    {"Bruker OPUS", kOpusKeys},
    {"HPLC ChemStation", kChemStationKeys},
    {"Workbook", kWorkbookKeys},
    {"TIVON", kTivonKeys},
    {"Text and CSV", kTextKeys},
    {"DIF", kDifKeys},
    {"Lotus 1-2-3", kLotusKeys},
    {"OpenDocument", kOpenDocumentKeys},
    {"XML Spreadsheet 2003", kXmlSpreadsheetKeys},
    {"HTML", kHtmlKeys},
    {"Matlab", kMatlabKeys},
    {"NetCDF", kNetcdfKeys},
};

// The key of a label, empty where it has none.
inline std::string_view KeyOf(std::span<const KeySource> keys, std::string_view label) {
  for (const KeySource& source : keys)
    if (source.label == label) return source.key;
  return {};
}

// Adds the statements of one format with their keys.
class Stating {
 public:
  Stating(Description& description, std::span<const KeySource> keys)
      : description_(description), keys_(keys) {}

  // A statement that is there even if it says nothing.
  void State(std::string_view label, std::string_view value, int row = 0) {
    description_.State(label, KeyOf(keys_, label), value, row);
  }
  void StateIfAny(std::string_view label, std::string_view value, int row = 0) {
    if (!value.empty()) State(label, value, row);
  }
  // The same of any number of statements; false when the budget has not what it takes.
  [[nodiscard]] bool StateWithin(Budget& budget, std::string_view label, std::string_view value) {
    return TakeFor(budget, label, value) && (State(label, value), true);
  }
  // Draws what a statement takes, here and where it is handed on.
  [[nodiscard]] bool TakeFor(Budget& budget, std::string_view label, std::string_view value) {
    if (budget.Take(3 * Description::kForEach + label.size() + value.size())) return true;
    description_.AddCut(1);
    return false;
  }
  Description& description() { return description_; }

 private:
  Description& description_;
  std::span<const KeySource> keys_;
};

}  // namespace nvimport
