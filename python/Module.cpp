// nvimport._nvimport: the library's calls and the sheets that they fill, as arrays. What Python
// programs use is in nvimport/__init__.py.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/Version.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/import/DatabaseSource.h"
#include "nvimport/platform/NumberText.h"
#include "nvimport/platform/Utf8.h"
#include "python/ArrowTable.h"
#include "python/Library.h"
#include "python/TypedColumns.h"

namespace nvimport {

namespace py = pybind11;

namespace {

using SheetPointer = std::shared_ptr<DenseSheet>;
template <typename Number>
using ArrayOf = py::array_t<Number, py::array::c_style | py::array::forcecast>;

// The texts of a sheet as Python has them. Those that follow one another are often the same.
class TextMaker {
 public:
  explicit TextMaker(const std::string& encoding) : decoder_(encoding) {
    if (!decoder_.ok()) throw py::value_error("no encoding for texts: " + encoding);
  }

  py::object Make(std::string_view text) {
    return IsAscii(text) ? MakeAscii(text) : MakeOther(text);
  }

  static py::object MakeAscii(std::string_view text) {
    constexpr Py_UCS4 kLast = 127;
    PyObject* made = PyUnicode_New(static_cast<Py_ssize_t>(text.size()), kLast);
    if (made == nullptr) throw py::error_already_set();
    std::copy(text.begin(), text.end(), PyUnicode_1BYTE_DATA(made));
    return py::reinterpret_steal<py::object>(made);
  }

  // Of a text of the sheet, which does not change meanwhile. One that comes again and again is made
  // once as a rule.
  py::object MakeAgain(std::string_view text) {
    Known& known = known_[PlaceOf(text)];
    if (!known.object || known.text != text) known = {text, Make(text)};
    return known.object;
  }

  py::object Make(const MemoryCell& cell) {
    switch (cell.kind) {
      case CellKind::kNumber:
        if (cell.number_kind == NumberKind::kWhole) return py::int_(cell.whole);
        return py::float_(cell.exact());
      case CellKind::kText:
        return MakeAgain(cell.text);
      default:
        return py::none();
    }
  }

 private:
  // A text of the sheet that came before.
  struct Known {
    std::string_view text;
    py::object object;
  };
  static constexpr unsigned kKnownBits = 8;

  // Where a text has its place among those known, by its length and its ends.
  static std::size_t PlaceOf(std::string_view text) {
    constexpr std::uint64_t kOdd = 0x9e3779b97f4a7c15;
    constexpr unsigned kBits = 64;
    std::uint64_t mixed = text.size();
    const auto mix = [&](auto word) {
      std::memcpy(&word, text.data(), sizeof word);
      mixed = (mixed ^ word) * kOdd;
      std::memcpy(&word, text.data() + text.size() - sizeof word, sizeof word);
      mixed = (std::rotl(mixed, kBits / 2) ^ word) * kOdd;
    };
    if (text.size() >= sizeof(std::uint64_t))
      mix(std::uint64_t{});
    else if (text.size() >= sizeof(std::uint32_t))
      mix(std::uint32_t{});
    else if (!text.empty())
      mix(std::uint8_t{});
    return mixed >> (kBits - kKnownBits);
  }

  py::object MakeOther(std::string_view text) {
    const std::string_view utf8 = decoder_.Decode(text, scratch_);
    PyObject* made =
        PyUnicode_DecodeUTF8(utf8.data(), static_cast<Py_ssize_t>(utf8.size()), "replace");
    if (made == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::object>(made);
  }

  TextDecoder decoder_;
  std::string scratch_;
  std::array<Known, std::size_t{1} << kKnownBits> known_;
};

// A part of a sheet, its columns and rows from 1, the last ones in it.
struct Part {
  int first_column;
  int first_row;
  int last_column;
  int last_row;

  int columns() const { return std::max(last_column - first_column + 1, 0); }
  int rows() const { return std::max(last_row - first_row + 1, 0); }
};

Part Checked(DenseSheet& sheet, int first_column, int first_row, int last_column,
             int last_row = 0) {
  const int rows = sheet.GetNumberOfRows();
  const Part part{first_column, first_row, last_column,
                  last_row > 0 ? std::min(last_row, rows) : rows};
  if (first_column < 1 || first_row < 1 || last_column > sheet.GetNumberOfColumns())
    throw py::index_error("not within the sheet");
  return part;
}

char DecimalMark(const std::string& mark) {
  if (mark != "." && mark != ",") throw py::value_error("the decimal mark is a point or a comma");
  return mark.front();
}

// The cells as floats, strs and Nones. A last row of 0 is the end, here and below.
py::array Objects(DenseSheet& sheet, int first_column, int first_row, int last_column, int last_row,
                  const std::string& encoding) {
  const Part part = Checked(sheet, first_column, first_row, last_column, last_row);
  TextMaker maker(encoding);
  py::array objects(py::dtype("O"), std::vector<py::ssize_t>{part.rows(), part.columns()});
  auto** places = static_cast<PyObject**>(objects.mutable_data());
  std::vector<MemoryCell> cells(static_cast<std::size_t>(part.columns()));
  for (int row = part.first_row; row <= part.last_row; ++row) {
    sheet.GetCells(part.first_column, row, cells);
    for (const MemoryCell& cell : cells) {
      PyObject* before = *places;
      *places++ = maker.Make(cell).release().ptr();
      Py_XDECREF(before);
    }
  }
  return objects;
}

// The names that a row of cells holds: texts, and numbers as they are written; None where it holds
// none.
py::list Names(DenseSheet& sheet, int row, const std::string& encoding) {
  TextMaker maker(encoding);
  std::vector<MemoryCell> cells(static_cast<std::size_t>(sheet.GetNumberOfColumns()));
  sheet.GetCells(1, row, cells);
  py::list names;
  for (const MemoryCell& cell : cells) {
    FloatText buffer;
    if (cell.kind == CellKind::kNumber)
      names.append(maker.Make(FormatNumber(cell, buffer)));
    else
      names.append(maker.Make(cell));
  }
  return names;
}

// Whether the first rows are the same.
bool BeginsLike(DenseSheet& sheet, DenseSheet& other) {
  const int columns = sheet.GetNumberOfColumns();
  if (columns != other.GetNumberOfColumns()) return false;
  std::vector<MemoryCell> cells(static_cast<std::size_t>(columns));
  std::vector<MemoryCell> others(cells.size());
  sheet.GetCells(1, 1, cells);
  other.GetCells(1, 1, others);
  return std::ranges::equal(cells, others, IsSame);
}

template <typename Number>
py::array NumbersOf(DenseSheet& sheet, const Part& part, bool reads_texts, char mark) {
  py::array_t<Number> numbers({part.rows(), part.columns()});
  const std::span places(numbers.mutable_data(), static_cast<std::size_t>(numbers.size()));
  const py::gil_scoped_release released;
  sheet.GetNumbers(part.first_column, part.first_row, part.columns(), places, reads_texts, mark);
  return numbers;
}

// As doubles where some number of the sheet is wider than a float, or texts are read; else as
// floats.
py::array Numbers(DenseSheet& sheet, int first_column, int first_row, int last_column, int last_row,
                  bool reads_texts, const std::string& decimal) {
  const Part part = Checked(sheet, first_column, first_row, last_column, last_row);
  const char mark = DecimalMark(decimal);
  const bool has_texts = reads_texts && sheet.MayHoldTexts(part.first_column, part.first_row);
  return sheet.IsWide(part.first_column, part.first_row, part.last_column) || has_texts
             ? NumbersOf<double>(sheet, part, reads_texts, mark)
             : NumbersOf<float>(sheet, part, reads_texts, mark);
}

// The same where they lie, for reading only; None where some lie elsewhere.
py::object View(const SheetPointer& sheet, int first_column, int first_row, int last_column) {
  const Part part = Checked(*sheet, first_column, first_row, last_column);
  const auto view = [&](const auto* from) -> py::object {
    using Number = std::remove_cvref_t<decltype(*from)>;
    constexpr py::ssize_t kSize = sizeof(Number);
    py::array_t<Number> numbers({part.rows(), part.columns()},
                                {sheet->GetMatrixWidth() * kSize, kSize}, from, py::cast(sheet));
    numbers.attr("flags").attr("writeable") = false;
    return numbers;
  };
  if (const float* from = sheet->FindMatrix(first_column, first_row, last_column))
    return view(from);
  if (const double* from = sheet->FindWideMatrix(first_column, first_row, last_column))
    return view(from);
  return py::none();
}

// The numbers of columns and those that their texts read as, with all their digits, and which
// columns have texts that are words.
py::tuple Doubles(DenseSheet& sheet, int first_column, int first_row, int last_column,
                  const std::string& decimal) {
  const Part part = Checked(sheet, first_column, first_row, last_column);
  const char mark = DecimalMark(decimal);
  py::array_t<double> numbers({part.rows(), part.columns()});
  py::array_t<bool> words(part.columns());
  const std::span places(numbers.mutable_data(), static_cast<std::size_t>(numbers.size()));
  const std::span found(words.mutable_data(), static_cast<std::size_t>(words.size()));
  std::ranges::fill(found, false);
  {
    const py::gil_scoped_release released;
    sheet.GetDoubles(part.first_column, part.first_row, places, mark, found);
  }
  return py::make_tuple(numbers, words);
}

// Which of the first columns hold texts.
py::array Texts(DenseSheet& sheet, int first_row, int last_column) {
  py::array_t<bool> columns(Checked(sheet, 1, first_row, last_column).columns());
  const std::span found(columns.mutable_data(), static_cast<std::size_t>(columns.size()));
  const py::gil_scoped_release released;
  sheet.FindTexts(first_row, found);
  return columns;
}

// Which of the first columns hold texts that are no numbers.
py::array Words(DenseSheet& sheet, int first_row, int last_column, const std::string& decimal) {
  py::array_t<bool> columns(Checked(sheet, 1, first_row, last_column).columns());
  const char mark = DecimalMark(decimal);
  const std::span found(columns.mutable_data(), static_cast<std::size_t>(columns.size()));
  const py::gil_scoped_release released;
  sheet.FindWords(first_row, mark, found);
  return columns;
}

// The first column of spectra and the x values of those from there on, or None.
py::object AxisOf(const DenseSheet& sheet, const std::string& decimal) {
  const auto axis = sheet.FindAxis(DecimalMark(decimal));
  if (!axis) return py::none();
  return py::make_tuple(
      axis->first_column,
      py::array_t<double>(static_cast<py::ssize_t>(axis->x.size()), axis->x.data()));
}

TypingRules Typing(const std::string& decimal, const std::set<std::string>& missing) {
  return {DecimalMark(decimal), {missing.begin(), missing.end()}};
}

std::shared_ptr<TypedColumns> Typed(const DenseSheet& sheet, int first_column, int first_row,
                                    int last_column, const std::string& decimal,
                                    const std::set<std::string>& missing) {
  if (first_column < 1 || first_row < 1 || last_column > sheet.columns())
    throw py::index_error("not within the sheet");
  const TypingRules rules = Typing(decimal, missing);
  const py::gil_scoped_release released;
  return std::make_shared<TypedColumns>(sheet, first_column, first_row, last_column, rules);
}

std::string Types(const TypedColumns& typed) {
  std::string types;
  for (std::size_t i = 0; i < typed.size(); ++i)
    types += typed.is_narrow(i) ? 'f' : "diMtx"[static_cast<std::size_t>(typed.type(i))];
  return types;
}

// Values of columns that lie side by side, a row for each column, where they are.
template <typename Value>
py::array ValuesOf(const std::shared_ptr<TypedColumns>& typed, std::size_t first, std::size_t last,
                   const Value* from) {
  const auto rows = static_cast<py::ssize_t>(typed->rows());
  return py::array_t<Value>(
      {static_cast<py::ssize_t>(last - first), rows},
      {rows * static_cast<py::ssize_t>(sizeof(Value)), static_cast<py::ssize_t>(sizeof(Value))},
      from, py::cast(typed));
}

py::array Values(const std::shared_ptr<TypedColumns>& typed, std::size_t first, std::size_t last) {
  if (first >= last || last > typed->size()) throw py::index_error("no such columns");
  return typed->type(first) == ColumnType::kDouble
             ? ValuesOf(typed, first, last, typed->doubles(first))
             : ValuesOf(typed, first, last, typed->wholes(first));
}

// Which cells of a column are missing; None where none is.
py::object MissingOf(const std::shared_ptr<TypedColumns>& typed, std::size_t column) {
  if (column >= typed->size()) throw py::index_error("no such column");
  const auto missing = typed->missing(column);
  if (missing.empty()) return py::none();
  return py::array(py::dtype("bool"), static_cast<py::ssize_t>(missing.size()), missing.data(),
                   py::cast(typed));
}

// The texts of a column; `missing` where there is none.
py::array TextsOf(const TypedColumns& typed, std::size_t column, const std::string& encoding,
                  const py::object& missing) {
  if (column >= typed.size() || typed.type(column) != ColumnType::kText)
    throw py::index_error("no such column");
  TextMaker maker(encoding);
  py::array objects(py::dtype("O"), static_cast<py::ssize_t>(typed.rows()));
  auto** places = static_cast<PyObject**>(objects.mutable_data());
  for (std::size_t row = 0; row < typed.rows(); ++row) {
    const char* const text = typed.text(column, row);
    py::object made = text != nullptr ? maker.MakeAgain(text) : missing;
    Py_XDECREF(std::exchange(places[row], made.release().ptr()));
  }
  return objects;
}

// A capsule that holds what `give` puts into a new structure.
template <typename Structure, typename Give>
py::capsule Capsule(const char* name, const Give& give) {
  auto structure = std::make_unique<Structure>();
  give(structure.get());
  PyObject* const made = PyCapsule_New(structure.get(), name, [](PyObject* capsule) {
    const std::unique_ptr<Structure> owned(
        static_cast<Structure*>(PyCapsule_GetPointer(capsule, PyCapsule_GetName(capsule))));
    if (owned->release != nullptr) owned->release(owned.get());
  });
  if (made == nullptr) throw py::error_already_set();
  static_cast<void>(structure.release());
  return py::reinterpret_steal<py::capsule>(made);
}

// The schema, the rows and the stream of rows, as Arrow's capsules.
py::tuple Arrow(const DenseSheet& sheet, int first_row, const std::vector<std::string>& names,
                const std::string& encoding, const std::string& decimal,
                const std::set<std::string>& missing, const ArrowTable::Metadata& metadata) {
  if (names.size() != static_cast<std::size_t>(sheet.columns()))
    throw py::value_error("a name for each column");
  const TypingRules rules = Typing(decimal, missing);
  std::shared_ptr<const ArrowTable> table;
  {
    const py::gil_scoped_release released;
    table = std::make_shared<ArrowTable>(sheet, first_row, names, rules, TextDecoder(encoding),
                                         metadata);
  }
  return py::make_tuple(
      Capsule<ArrowSchema>("arrow_schema", [&](auto* out) { ArrowTable::GiveSchema(table, out); }),
      Capsule<ArrowArray>("arrow_array", [&](auto* out) { ArrowTable::GiveArray(table, out); }),
      Capsule<ArrowArrayStream>("arrow_array_stream",
                                [&](auto* out) { ArrowTable::GiveStream(table, out); }));
}

// What makes a sheet again, its matrix where it lies.
py::tuple GetState(const SheetPointer& sheet) {
  const DenseSheet::State state = sheet->GetState();
  const auto lying = [&](const auto& numbers) {
    using Number = typename std::remove_cvref_t<decltype(numbers)>::value_type;
    return py::array_t<Number>(static_cast<py::ssize_t>(numbers.size()), numbers.data(),
                               py::cast(sheet));
  };
  return py::make_tuple(lying(state.floats), lying(state.doubles), py::bytes(state.rest));
}

SheetPointer FromState(const py::tuple& given) {
  constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};
  const auto floats = given[0].cast<ArrayOf<float>>();
  const auto doubles = given[1].cast<ArrayOf<double>>();
  const DenseSheet::State state{{floats.data(), static_cast<std::size_t>(floats.size())},
                                {doubles.data(), static_cast<std::size_t>(doubles.size())},
                                given[2].cast<std::string>()};
  auto sheet = std::make_shared<DenseSheet>(kNoLimit);
  if (!sheet->SetState(state)) throw py::value_error("damaged");
  return sheet;
}

// Statements as row (0 for the whole file), label, key and value; label and unit of x, y and z; how
// many statements were left out.
py::tuple Described(const Import& import, const std::string& encoding) {
  TextMaker maker(encoding);
  py::list statements;
  for (const Statement& one : import.description.statements())
    statements.append(
        py::make_tuple(one.row, maker.Make(one.label), maker.Make(one.key), maker.Make(one.value)));
  py::list axes;
  for (const Axis axis : {Axis::kX, Axis::kY, Axis::kZ}) {
    const AxisName& said = import.description.name(axis);
    axes.append(py::make_tuple(maker.Make(said.label), maker.Make(said.unit)));
  }
  return py::make_tuple(statements, axes, import.description.cut());
}

// What is written is put together from columns: NaN and None are missing cells.
SheetPointer Empty(int columns, int rows) {
  constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};
  auto sheet = std::make_shared<DenseSheet>(kNoLimit);
  sheet->SetDataSize(columns, rows);
  return sheet;
}

void SetNumber(DenseSheet& sheet, int column, int row, float value) {
  sheet.Set(column, row, value);
}
void SetNumber(DenseSheet& sheet, int column, int row, double value) {
  sheet.SetExact(column, row, value);
}

template <typename Numbers>
void SetNumbersOf(DenseSheet& sheet, int column, int row, const Numbers& numbers) {
  const auto values = numbers.template unchecked<2>();
  for (py::ssize_t r = 0; r < values.shape(0); ++r)
    for (py::ssize_t c = 0; c < values.shape(1); ++c)
      if (!std::isnan(values(r, c)))
        SetNumber(sheet, column + static_cast<int>(c), row + static_cast<int>(r), values(r, c));
}

// Floats as such, everything else as doubles.
void SetNumbers(DenseSheet& sheet, int column, int row, const py::array& numbers) {
  if (py::isinstance<py::array_t<float>>(numbers))
    SetNumbersOf(sheet, column, row, py::cast<ArrayOf<float>>(numbers));
  else
    SetNumbersOf(sheet, column, row, py::cast<ArrayOf<double>>(numbers));
}

void SetTexts(DenseSheet& sheet, int column, int row, const py::list& texts) {
  for (const py::handle text : texts) {
    if (!text.is_none()) {
      // What is no character of UTF-8 becomes a question mark.
      const std::string bytes = py::bytes(text.attr("encode")("utf-8", "replace"));
      if (bytes.find('\0') != std::string::npos &&
          PyErr_WarnEx(PyExc_UserWarning, "a text holds a NUL byte and ends there", 1) != 0)
        throw py::error_already_set();
      sheet.Set(column, row, bytes.c_str());
    }
    ++row;
  }
}

ColumnRules Rules(std::optional<bool> header, const std::string& encoding,
                  const std::string& decimal) {
  TextDecoder decoder(encoding);
  if (!decoder.ok()) throw py::value_error("no encoding for texts: " + encoding);
  return {.has_names = header,
          .decoder = decoder,
          .tells_kinds = true,
          .decimal_mark = DecimalMark(decimal)};
}

py::tuple SurveyInto(TableColumns& table, const Request& request, std::optional<bool> header,
                     const std::string& encoding, const std::string& decimal) {
  std::string sheets;
  auto refusal = SurveySheets(request, Rules(header, encoding, decimal), table, sheets);
  return py::make_tuple(std::move(refusal), py::bytes(sheets));
}

void AddColumns(TableColumns& table, const TableColumns& others) {
  table.columns.Add(others.columns);
  table.columns.Settle();
  table.has_sheets = table.has_sheets || others.has_sheets;
}

// What stands in each column: nothing, numbers, texts that read as such, texts.
py::list Kinds(const TableColumns& table) {
  py::list kinds;
  for (int i = 0; i < (table.has_sheets ? 2 : 1); ++i)
    kinds.append(static_cast<int>(ColumnKind::kTexts));
  for (std::size_t i = 0; i < table.columns.size(); ++i)
    kinds.append(static_cast<int>(table.columns.KindAt(i)));
  return kinds;
}

GatheredRows Gather(const TableColumns& table,
                    const std::vector<std::pair<Request, py::bytes>>& surveyed,
                    std::optional<bool> header, const std::string& encoding,
                    const std::string& decimal) {
  std::vector<std::pair<Request, std::string>> files;
  files.reserve(surveyed.size());
  for (const auto& [request, sheets] : surveyed) files.emplace_back(request, sheets);
  return GatherRows(files, Rules(header, encoding, decimal), table);
}

py::list Pairs(const std::vector<std::pair<std::string, std::string>>& pairs) {
  py::list list;
  for (const auto& [first, second] : pairs) list.append(py::make_tuple(first, second));
  return list;
}

}  // namespace

}  // namespace nvimport

PYBIND11_MODULE(_nvimport, module) {
  using namespace nvimport;
  py::module_::import("atexit").attr("register")(py::cpp_function(&FormatList::Release));
  py::class_<DenseSheet, SheetPointer>(module, "Cells")
      .def(py::init(&Empty))
      .def_property_readonly("shape",
                             [](DenseSheet& sheet) {
                               return py::make_tuple(sheet.GetNumberOfRows(),
                                                     sheet.GetNumberOfColumns());
                             })
      .def("objects", &Objects)
      .def("names", &Names)
      .def("begins_like", &BeginsLike)
      .def("numbers", &Numbers)
      .def("view", &View)
      .def("doubles", &Doubles)
      .def("texts", &Texts)
      .def("words", &Words)
      .def("typed", &Typed, py::keep_alive<0, 1>())
      .def("arrow", &Arrow)
      .def("equals", &DenseSheet::Equals)
      .def_property_readonly("has_large", &DenseSheet::has_large)
      .def(py::pickle(&GetState, &FromState))
      .def("axis", &AxisOf)
      .def("set_numbers", &SetNumbers)
      .def("set_texts", &SetTexts);

  py::class_<TypedColumns, std::shared_ptr<TypedColumns>>(module, "Typed")
      .def("__len__", &TypedColumns::rows)
      .def_property_readonly("types", &Types)
      .def("values", &Values)
      .def("texts", &TextsOf)
      .def("missing", &MissingOf);

  py::enum_<Refusal::Kind>(module, "Kind")
      .value("ERROR", Refusal::Kind::kError)
      .value("ARGUMENT", Refusal::Kind::kArgument)
      .value("CHOICE", Refusal::Kind::kChoice)
      .value("CANCELLED", Refusal::Kind::kCancelled);
  py::class_<Refusal>(module, "Refusal")
      .def_readonly("kind", &Refusal::kind)
      .def_readonly("code", &Refusal::code)
      .def_readonly("text", &Refusal::text)
      .def_readonly("detail", &Refusal::detail)
      .def_readonly("advice", &Refusal::advice)
      .def_readonly("format", &Refusal::format)
      .def_readonly("question", &Refusal::question)
      .def_readonly("candidates", &Refusal::candidates);
  py::class_<Choice>(module, "Choice")
      .def_readonly("name", &Choice::name)
      .def_readonly("answer", &Choice::answer)
      .def_readonly("source", &Choice::source)
      .def_readonly("entries", &Choice::entries)
      .def_readonly("names", &Choice::names);
  py::class_<Import>(module, "Import")
      .def_readonly("refusal", &Import::refusal)
      .def_readonly("format", &Import::format)
      .def_readonly("kept_rules", &Import::kept_rules)
      .def_readonly("rows", &Import::rows)
      .def_readonly("columns", &Import::columns)
      .def_property_readonly("options",
                             [](const Import& import) { return py::bytes(import.options); })
      .def_readonly("pairs", &Import::pairs)
      .def_readonly("choices", &Import::choices)
      .def_readonly("notes", &Import::notes)
      .def_readonly("warnings", &Import::warnings)
      .def_readonly("has_x_row", &Import::has_x_row)
      .def_readonly("first_x_column", &Import::first_x_column)
      .def_property_readonly("x",
                             [](const Import& import) {
                               return py::array_t<double>(static_cast<py::ssize_t>(import.x.size()),
                                                          import.x.data());
                             })
      .def("described", &Described)
      .def_readonly("cells", &Import::cells);
  py::class_<Request>(module, "Request")
      .def(py::init<>())
      .def_readwrite("paths", &Request::paths)
      .def_readwrite("name", &Request::name)
      .def_readwrite("format", &Request::format)
      .def_readwrite("pairs", &Request::pairs)
      .def_readwrite("options", &Request::options)
      .def_readwrite("delimiter", &Request::delimiter)
      .def_readwrite("ignore_consecutive", &Request::ignore_consecutive)
      .def_readwrite("sheet", &Request::sheet)
      .def_readwrite("blocks", &Request::blocks)
      .def_readwrite("range", &Request::range)
      .def_readwrite("merge", &Request::merge)
      .def_readwrite("kept_rules", &Request::kept_rules)
      .def_readwrite("password", &Request::password)
      .def_readwrite("allow_query", &Request::allow_query)
      .def_readwrite("query", &Request::query)
      .def_readwrite("parameters", &Request::parameters)
      .def_readwrite("columns", &Request::columns)
      .def_readwrite("skipped_rows", &Request::skipped_rows)
      .def_readwrite("most_rows", &Request::most_rows);
  py::class_<TableColumns>(module, "Columns")
      .def(py::init([](bool first_grid) {
        using Grid = CombinedColumns::Grid;
        return TableColumns{CombinedColumns(first_grid ? Grid::kFirst : Grid::kUnion)};
      }))
      .def("survey", &SurveyInto)
      .def("add", &AddColumns)
      .def("kinds", &Kinds)
      .def("names",
           [](const TableColumns& table) {
             return table.columns.Names(table.has_sheets ? std::vector<std::string>{"file", "sheet"}
                                                         : std::vector<std::string>{"file"});
           })
      .def("gather", &Gather)
      .def(py::pickle([](const TableColumns& table) { return py::bytes(table.Bytes()); },
                      [](const py::bytes& bytes) {
                        auto table = TableColumns::Parse(std::string(bytes));
                        if (!table) throw py::value_error("damaged");
                        return *table;
                      }));
  py::class_<GatheredRows>(module, "GatheredRows")
      .def_readonly("cells", &GatheredRows::cells)
      .def_readonly("rows", &GatheredRows::rows)
      .def_readonly("rows_of", &GatheredRows::rows_of)
      .def_readonly("refusals", &GatheredRows::refusals);
  py::class_<Detected>(module, "Detected")
      .def_readonly("refusal", &Detected::refusal)
      .def_readonly("format", &Detected::format)
      .def_readonly("reason", &Detected::reason)
      .def_readonly("looks_like", &Detected::looks_like)
      .def_readonly("candidates", &Detected::candidates)
      .def_property_readonly("answers",
                             [](const Detected& detected) { return Pairs(detected.answers); });
  py::class_<ListedFormat>(module, "ListedFormat")
      .def_readonly("index", &ListedFormat::index)
      .def_readonly("name", &ListedFormat::name)
      .def_readonly("extensions", &ListedFormat::extensions)
      .def_readonly("reads", &ListedFormat::reads)
      .def_readonly("writes", &ListedFormat::writes)
      .def_readonly("several", &ListedFormat::several)
      .def_readonly("library", &ListedFormat::library);

  module.attr("version") = NVIMPORT_VERSION;
  module.def("has_encoding", [](const std::string& name) { return TextDecoder(name).ok(); });
  module.def("read_sheet", [](const Request& request, bool with_cells) {
    return ReadSheet(request, with_cells);
  });
  module.def("detect_sheet", &DetectSheet, py::call_guard<py::gil_scoped_release>());
  module.def("shown_database", [](const std::string& name) { return DatabaseSource::Shown(name); });
  module.def("list_formats", &ListFormats, py::call_guard<py::gil_scoped_release>());
  module.def("write_cells",
             [](const DenseSheet& cells, const std::string& path, const std::string& format,
                bool overwrite, const std::string& pairs) {
               std::vector<std::string> notes;
               auto refusal = WriteCells(cells, path, format, overwrite, pairs, notes);
               return py::make_tuple(std::move(refusal), notes);
             });
}
