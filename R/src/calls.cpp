// The calls of R. What users call is in the package's R folder.

#include <R_ext/Visibility.h>

#include <algorithm>
#include <cpp11/declarations.hpp>
#include <cpp11/list.hpp>
#include <cpp11/logicals.hpp>
#include <cpp11/raws.hpp>
#include <cpp11/strings.hpp>
#include <filesystem>
#include <memory>

#include "FrameSheet.h"
#include "SpectraSheet.h"
#include "Values.h"
#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/Version.h"
#include "nvimport/hosting/batch/FileWalk.h"
#include "nvimport/hosting/export/SheetWriters.h"
#include "nvimport/hosting/import/Complete.h"
#include "nvimport/hosting/import/DatabaseSource.h"
#include "nvimport/hosting/import/Detecting.h"

namespace nvimport {

namespace {

using namespace cpp11::literals;

// What is said of a sheet, beside its cells.
cpp11::writable::list Told(const ReadResult& read, const TextDecoder& decoder) {
  Statements statements;
  for (const Statement& one : read.description.statements()) statements.Add(one.row, one);
  const auto axis = [&](Axis which) {
    const AxisName& name = read.description.name(which);
    return cpp11::sexp(TextsOf({name.label, name.unit}, decoder));
  };
  cpp11::writable::raws options(static_cast<R_xlen_t>(read.options.size()));
  std::copy(read.options.begin(), read.options.end(), RAW(options));
  return cpp11::writable::list(
      {"refusal"_nm = RefusalOf(read.refusal), "format"_nm = read.format,
       "kept_rules"_nm = read.kept_rules, "rows"_nm = read.rows, "columns"_nm = read.columns,
       "options"_nm = options, "pairs"_nm = TextsOf(read.pairs),
       "choices"_nm = ChoicesOf(read.choices), "notes"_nm = TextsOf(NotesOf(read)),
       "warnings"_nm = TextsOf(read.warnings), "x"_nm = NumbersOf(read.x),
       "x_axis"_nm = axis(Axis::kX), "y_axis"_nm = axis(Axis::kY),
       "statements"_nm = statements.Made(decoder)});
}

// Few cells in much room would be vectors of missing values without end.
std::optional<Refusal> IsTooSparse(std::uint64_t cells, std::uint64_t rows, std::uint64_t columns) {
  const std::uint64_t most = UINT64_MAX / sizeof(double);
  const std::uint64_t bytes =
      (columns > 0 && rows > most / columns ? most : rows * columns) * sizeof(double);
  if (!IsSparse(cells, bytes)) return std::nullopt;
  Refusal refusal;
  refusal.text = "The sheet has too few cells for its size.";
  refusal.detail = std::to_string(cells) + " cells in " + std::to_string(rows) + " rows and " +
                   std::to_string(columns) + " columns";
  refusal.advice = "columns= and nrows= take a part of it";
  return refusal;
}

Refusal HasNul(R_xlen_t row, int column) {
  Refusal refusal;
  refusal.text = "A text holds a NUL character, which no text of R can.";
  refusal.detail = "row " + std::to_string(row) + ", column " + std::to_string(column);
  refusal.advice = "columns= leaves the column out";
  return refusal;
}

SEXP Read(SEXP given, SEXP given_typing, SEXP with_cells) {
  const Request request = RequestOf(given);
  const ColumnTyping typing = TypingOf(given_typing);
  Interrupts interrupts;
  CallHost host = HostOf(interrupts);
  FrameSheet sheet(typing);
  host.begins = [&](const ReadResult& begun) { sheet.Begin(begun.has_x_row); };
  const bool reads = Rf_asLogical(with_cells) != 0;
  ReadResult read = ReadSheet(request, host, reads ? &sheet : nullptr);
  if (interrupts.has_come()) read.refusal = Cancelled();
  cpp11::writable::list told = Told(read, typing.decoder);
  if (!reads || read.refusal) return told;

  const std::optional<bool> header = GivenFlag(given_typing, "header");
  const bool has_names =
      header.value_or(read.x.size() > 1 || sheet.HasAxis() || sheet.BeginsWithNames());
  const auto rows = static_cast<std::uint64_t>(sheet.RowsOf(has_names));
  const R_xlen_t count = sheet.GetNumberOfColumns();
  if (auto refusal = IsTooSparse(sheet.CountCells(), rows, static_cast<std::uint64_t>(count))) {
    told["refusal"] = cpp11::sexp(RefusalOf(refusal));
    return told;
  }
  const cpp11::sexp columns = cpp11::safe[Rf_allocVector](VECSXP, count);
  const cpp11::sexp names = cpp11::safe[Rf_allocVector](STRSXP, count);
  const FrameSheet::Nul nul = sheet.Finish(has_names, columns, names);
  if (nul.row > 0) told["refusal"] = cpp11::sexp(RefusalOf(HasNul(nul.row, nul.column)));
  told.push_back("cells"_nm = columns);
  told.push_back("names"_nm = names);
  told.push_back("height"_nm = static_cast<double>(rows));
  return told;
}

// What is known of each file of spectra.
struct SpectraFiles {
  std::vector<std::optional<Refusal>> refusals{};
  std::vector<std::string> formats{};
  std::vector<int> spectra{};
  std::vector<std::string> notes{};
  std::vector<std::string> warnings{};
  std::vector<std::string> axes[4]{};  // label and unit of x, of y
  Statements statements{};
};

std::string Joined(const std::vector<std::string>& lines) {
  std::string joined;
  for (const std::string& line : lines) joined += (joined.empty() ? "" : "\n") + line;
  return joined;
}

std::uint64_t BytesOf(const std::string& path) {
  std::error_code none;
  const auto bytes = std::filesystem::file_size(path, none);
  return none ? 0 : bytes;
}

// Reads the spectra of a file into the table; one that is refused leaves nothing there.
ReadResult ReadSpectra(const Request& request, CallHost& host, SpectraTable& table, int file,
                       int files_left) {
  for (const bool in_order : {true, false}) {
    SpectraSheet sheet(table, files_left);
    host.begins = [&](const ReadResult& begun) {
      sheet.Begin(begun, in_order, BytesOf(request.paths.front()));
    };
    ReadResult read = ReadSheet(request, host, &sheet);
    if (sheet.is_out_of_order()) {
      sheet.Undo();
      continue;
    }
    Refusal refusal;
    if (sheet.is_interrupted()) {
      read.refusal = Cancelled();
    } else if (sheet.is_full()) {
      refusal.text = "There is not enough memory for this file.";
      read.refusal = refusal;
    } else if (!read.refusal && !sheet.Finish(read, file)) {
      refusal.text = "The sheet has no columns that are named by x values.";
      refusal.format = read.format;
      read.refusal = refusal;
    }
    if (read.refusal) sheet.Undo();
    return read;
  }
  return {};
}

SEXP SpectraMade(SpectraTable& table, const SpectraFiles& files) {
  const ColumnTyping& typing = table.typing();
  cpp11::writable::list axes;
  const cpp11::sexp row_names = TextsOf(table.names(), typing.decoder);
  for (SpectraTable::Axis& axis : table.axes()) {
    const cpp11::sexp matrix = axis.matrix->Finish();
    if (axis.rows.empty()) continue;
    // R would copy the matrix to name its rows.
    if (axis.rows.size() == table.names().size()) {
      const cpp11::sexp names = cpp11::safe[Rf_allocVector](VECSXP, 2);
      SET_VECTOR_ELT(names, 0, row_names);
      cpp11::safe[Rf_setAttrib](matrix, R_DimNamesSymbol, names);
    }
    axes.push_back(cpp11::writable::list({"x"_nm = NumbersOf(axis.matrix->x()),
                                          "spectra"_nm = matrix, "rows"_nm = WholesOf(axis.rows)}));
  }
  cpp11::writable::list data;
  std::vector<std::string> names;
  for (auto& [name, column] : table.columns()) {
    const cpp11::sexp vector = column.MakeVector(table.rows());
    column.Fill(vector, typing);
    data.push_back(vector);
    names.push_back(name);
  }
  cpp11::writable::list refusals;
  for (const auto& refusal : files.refusals) refusals.push_back(cpp11::sexp(RefusalOf(refusal)));
  return cpp11::writable::list(
      {"axes"_nm = axes, "names"_nm = row_names, "files"_nm = WholesOf(table.files()),
       "data"_nm = data, "data_names"_nm = TextsOf(names, typing.decoder), "refusals"_nm = refusals,
       "formats"_nm = TextsOf(files.formats), "spectra"_nm = WholesOf(files.spectra),
       "notes"_nm = TextsOf(files.notes), "warnings"_nm = TextsOf(files.warnings),
       "x_label"_nm = TextsOf(files.axes[0], typing.decoder),
       "x_unit"_nm = TextsOf(files.axes[1], typing.decoder),
       "y_label"_nm = TextsOf(files.axes[2], typing.decoder),
       "y_unit"_nm = TextsOf(files.axes[3], typing.decoder),
       "statements"_nm = files.statements.Made(typing.decoder)});
}

// The paths of a request are read one by one. Unless it `skips`, the first that is refused ends it.
SEXP Spectra(SEXP given, SEXP given_typing, SEXP skips) {
  Request request = RequestOf(given);
  const std::vector<std::string> paths = std::move(request.paths);
  const ColumnTyping typing = TypingOf(given_typing);
  SpectraTable table(typing);
  SpectraFiles files;
  Interrupts interrupts;
  CallHost host = HostOf(interrupts);
  for (std::size_t i = 0; i < paths.size(); ++i) {
    request.paths = {paths[i]};
    const auto file = static_cast<int>(i) + 1;
    const int before = table.rows();
    ReadResult read = ReadSpectra(request, host, table, file, static_cast<int>(paths.size() - i));
    if (!interrupts.GoOn()) read.refusal = Cancelled();
    const Description& told = read.description;
    std::size_t axis = 0;
    for (const AxisName& name : {told.name(Axis::kX), told.name(Axis::kY)}) {
      files.axes[axis++].push_back(name.label);
      files.axes[axis++].push_back(name.unit);
    }
    if (!read.refusal)
      for (const Statement& one : told.statements())
        if (one.row == 0) files.statements.Add(file, one);
    files.formats.push_back(read.format);
    files.spectra.push_back(table.rows() - before);
    files.notes.push_back(Joined(NotesOf(read)));
    files.warnings.push_back(Joined(read.warnings));
    const bool ends = read.refusal &&
                      (Rf_asLogical(skips) == 0 || read.refusal->kind == Refusal::Kind::kCancelled);
    files.refusals.push_back(std::move(read.refusal));
    if (ends) break;
  }
  return SpectraMade(table, files);
}

SEXP ShownDatabases(SEXP paths) {
  std::vector<std::string> shown;
  for (R_xlen_t i = 0; i < Rf_xlength(paths); ++i)
    shown.push_back(DatabaseSource::Shown(CHAR(STRING_ELT(paths, i))));
  return TextsOf(shown);
}

SEXP Detect(SEXP given) {
  const Request request = RequestOf(given);
  const Detected found = DetectSheet(request.paths.front(), request.kept_rules);
  std::vector<std::string> formats;
  std::vector<std::string> answers;
  for (const auto& [format, answer] : found.answers) {
    formats.push_back(format);
    answers.push_back(answer);
  }
  return cpp11::writable::list({"refusal"_nm = RefusalOf(found.refusal), "format"_nm = found.format,
                                "candidates"_nm = TextsOf(found.candidates),
                                "reason"_nm = found.reason, "looks_like"_nm = found.looks_like,
                                "formats"_nm = TextsOf(formats), "answers"_nm = TextsOf(answers)});
}

SEXP Formats() {
  std::vector<int> indices;
  std::vector<std::string> names;
  std::vector<std::string> extensions;
  std::vector<std::string> libraries;
  std::vector<int> flags[3];
  for (const ListedFormat& one : ListFormats()) {
    indices.push_back(one.index);
    names.push_back(one.name);
    libraries.push_back(one.library);
    std::string joined;
    for (const std::string& extension : one.extensions)
      joined += (joined.empty() ? "" : " ") + extension;
    extensions.push_back(joined);
    flags[0].push_back(one.reads);
    flags[1].push_back(one.writes);
    flags[2].push_back(one.several);
  }
  return cpp11::writable::list({"index"_nm = WholesOf(indices), "name"_nm = TextsOf(names),
                                "extensions"_nm = TextsOf(extensions),
                                "reads"_nm = WholesOf(flags[0]), "writes"_nm = WholesOf(flags[1]),
                                "several"_nm = WholesOf(flags[2]),
                                "library"_nm = TextsOf(libraries)});
}

// The files that a path stands for: those in a folder that can be read, else itself.
SEXP Expand(SEXP given, SEXP is_recursive) {
  const Request request = RequestOf(given);
  if (const auto refusal = PrepareFormats(request.kept_rules)) return RefusalOf(refusal);
  bool kept = false;
  if (!request.kept_rules) TakeRulesOfEnvironment(kept);
  kept = request.kept_rules.value_or(kept);
  std::vector<std::string> files;
  for (const std::string& path : request.paths) {
    if (!IsFolderOfFiles(path)) {
      files.push_back(path);
      continue;
    }
    WalkSettings settings;
    settings.is_recursive = Rf_asLogical(is_recursive) != 0;
    settings.include = GivenTexts(given, "include");
    const FoundFiles found = FileWalk(settings).Find(path);
    for (const std::string& below : found.files) {
      std::string file = PathBelow(path, below);
      if (IsReadable(file, kept)) files.push_back(std::move(file));
    }
    cpp11::check_user_interrupt();
  }
  // They stay the bytes that the system has.
  const cpp11::sexp made = cpp11::safe[Rf_allocVector](STRSXP, static_cast<R_xlen_t>(files.size()));
  cpp11::unwind_protect([&] {
    R_xlen_t at = 0;
    for (const std::string& file : files) SET_STRING_ELT(made, at++, Rf_mkChar(file.c_str()));
  });
  return made;
}

// Vectors of numbers and texts, below one another where there are names.
SEXP Write(SEXP given, SEXP columns, SEXP names) {
  const Request request = RequestOf(given);
  const R_xlen_t count = Rf_xlength(columns);
  const bool has_names = Rf_isString(names);
  const int first = has_names ? 2 : 1;
  MemorySheet sheet;
  const auto set_text = [&](R_xlen_t column, R_xlen_t row, SEXP text) {
    if (text == NA_STRING) return;
    // Their bytes are UTF-8 by then.
    sheet.Set(static_cast<int>(column) + 1, static_cast<int>(row), CHAR(text));
  };
  for (R_xlen_t column = 0; column < count; ++column) {
    const SEXP values = VECTOR_ELT(columns, column);
    const R_xlen_t rows = Rf_xlength(values);
    sheet.SetDataSize(static_cast<int>(count), static_cast<int>(rows) + first - 1);
    if (has_names) set_text(column, 1, STRING_ELT(names, column));
    for (R_xlen_t row = 0; row < rows; ++row) {
      const R_xlen_t at = row + first;
      if (Rf_isString(values)) {
        set_text(column, at, STRING_ELT(values, row));
      } else if (const double value = REAL(values)[row]; !R_IsNA(value) && !R_IsNaN(value)) {
        sheet.SetExact(static_cast<int>(column) + 1, static_cast<int>(at), value);
      }
    }
    cpp11::check_user_interrupt();
  }
  Interrupts interrupts;
  const CallHost host = HostOf(interrupts);
  std::vector<std::string> notes;
  const auto refusal =
      WriteSheetTo(request.paths.front(), sheet, request.format,
                   GivenFlag(given, "overwrite").value_or(false), request.pairs, host, notes);
  return cpp11::writable::list({"refusal"_nm = RefusalOf(refusal), "notes"_nm = TextsOf(notes)});
}

SEXP HasEncoding(SEXP name) {
  return cpp11::as_sexp(TextDecoder(std::string(CHAR(STRING_ELT(name, 0)))).ok());
}

}  // namespace

}  // namespace nvimport

extern "C" {

SEXP nvimport_read(SEXP request, SEXP typing, SEXP with_cells) {
  BEGIN_CPP11
  return nvimport::Read(request, typing, with_cells);
  END_CPP11
}

SEXP nvimport_spectra(SEXP request, SEXP typing, SEXP skips) {
  BEGIN_CPP11
  return nvimport::Spectra(request, typing, skips);
  END_CPP11
}

SEXP nvimport_shown(SEXP paths) {
  BEGIN_CPP11
  return nvimport::ShownDatabases(paths);
  END_CPP11
}

SEXP nvimport_detect(SEXP request) {
  BEGIN_CPP11
  return nvimport::Detect(request);
  END_CPP11
}

SEXP nvimport_formats() {
  BEGIN_CPP11
  return nvimport::Formats();
  END_CPP11
}

SEXP nvimport_expand(SEXP request, SEXP is_recursive) {
  BEGIN_CPP11
  return nvimport::Expand(request, is_recursive);
  END_CPP11
}

SEXP nvimport_write(SEXP request, SEXP columns, SEXP names) {
  BEGIN_CPP11
  return nvimport::Write(request, columns, names);
  END_CPP11
}

SEXP nvimport_has_encoding(SEXP name) {
  BEGIN_CPP11
  return nvimport::HasEncoding(name);
  END_CPP11
}

static const R_CallMethodDef kCalls[] = {
    {"nvimport_read", reinterpret_cast<DL_FUNC>(&nvimport_read), 3},
    {"nvimport_spectra", reinterpret_cast<DL_FUNC>(&nvimport_spectra), 3},
    {"nvimport_shown", reinterpret_cast<DL_FUNC>(&nvimport_shown), 1},
    {"nvimport_detect", reinterpret_cast<DL_FUNC>(&nvimport_detect), 1},
    {"nvimport_formats", reinterpret_cast<DL_FUNC>(&nvimport_formats), 0},
    {"nvimport_expand", reinterpret_cast<DL_FUNC>(&nvimport_expand), 2},
    {"nvimport_write", reinterpret_cast<DL_FUNC>(&nvimport_write), 3},
    {"nvimport_has_encoding", reinterpret_cast<DL_FUNC>(&nvimport_has_encoding), 1},
    {nullptr, nullptr, 0}};

attribute_visible void R_init_nvimport(DllInfo* dll) {
  R_registerRoutines(dll, nullptr, kCalls, nullptr, nullptr);
  R_useDynamicSymbols(dll, FALSE);
  R_forceSymbols(dll, TRUE);
}

attribute_visible void R_unload_nvimport(DllInfo*) { nvimport::FormatList::Release(); }
}
