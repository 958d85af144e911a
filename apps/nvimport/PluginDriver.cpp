#include "apps/nvimport/PluginDriver.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "nvimport/framework/FormatDetection.h"

namespace nvimport {

namespace {

constexpr int kSourceRows = 3;
constexpr int kSourceColumns = 2;

// The records of the call that is going on. A library may be given the head of something larger, so
// that a copy of a record won't do.
PluginSink* current_sink = nullptr;
const NvImportWriteData* current_source = nullptr;
bool misused = false;

PluginSink* SinkOf(const NvImportReadData* data) {
  misused = misused || data != current_sink;
  return data == current_sink ? current_sink : nullptr;
}

std::uint64_t HashOf(int row, int column, std::string_view value) {
  std::uint64_t hash = 14695981039346656037U;  // FNV-1a
  const auto add = [&hash](std::uint64_t word) { hash = (hash ^ word) * 1099511628211U; };
  add(static_cast<std::uint64_t>(row));
  add(static_cast<std::uint64_t>(column));
  for (const char c : value) add(static_cast<unsigned char>(c));
  return hash;
}

void TakeCell(PluginSink& sink, int row, int column, std::string_view value) {
  sink.has_bad_index = sink.has_bad_index || row < 1 || column < 1;
  sink.reached.rows = std::max(sink.reached.rows, row);
  sink.reached.columns = std::max(sink.reached.columns, column);
  sink.digest += HashOf(row, column, value);
  sink.places += HashOf(row, column, {});
}

bool IsInside(const NvImportWriteData* data, int row, int column) {
  const bool inside = data == current_source && row >= 1 && row <= kSourceRows && column >= 1 &&
                      column <= kSourceColumns;
  misused = misused || !inside;
  return inside;
}

// A number, a text, a missing cell and empty ones.
NvImportWriteData Source() {
  NvImportWriteData source{};
  source.kind = [](NvImportWriteData* data, int row, int column) {
    return static_cast<char>(IsInside(data, row, column) ? (row - 1) * kSourceColumns + column : 0);
  };
  source.number = [](NvImportWriteData* data, int row, int column) {
    return IsInside(data, row, column) ? 1.5F : 0.0F;
  };
  source.text = [](NvImportWriteData* data, int row, int column) {
    return IsInside(data, row, column) && row == 1 && column == 2 ? "text" : nullptr;
  };
  source.flag = [](NvImportWriteData* data, int column, int row) {
    return IsInside(data, row, column) ? '\1' : '\0';
  };
  source.rows = kSourceRows;
  source.columns = kSourceColumns;
  return source;
}

std::string TextOrNone(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

PluginSink::PluginSink(int wanted_rows) : NvImportReadData{}, wanted(wanted_rows) {
  set_number = [](NvImportReadData* data, int row, int column, float value) {
    const auto bits = std::bit_cast<std::uint32_t>(value);
    if (PluginSink* sink = SinkOf(data))
      TakeCell(*sink, row, column, {reinterpret_cast<const char*>(&bits), sizeof bits});
  };
  set_text = [](NvImportReadData* data, int row, int column, const char* text) {
    PluginSink* sink = SinkOf(data);
    if (sink == nullptr) return;
    sink->has_null_text = sink->has_null_text || text == nullptr;
    TakeCell(*sink, row, column, text != nullptr ? text : "");
  };
  set_size = [](NvImportReadData* data, int new_rows, int new_columns) {
    PluginSink* sink = SinkOf(data);
    if (sink == nullptr) return;
    sink->rows = new_rows;
    sink->columns = new_columns;
    sink->announced = {new_rows, new_columns};
    sink->has_bad_size = sink->has_bad_size || new_rows < 0 || new_columns < 0;
  };
  next_index = [](NvImportReadData* data, int previous) {
    const PluginSink* sink = SinkOf(data);
    return sink == nullptr || previous >= sink->wanted ? -1 : previous + 1;
  };
}

PluginWholeSink::PluginWholeSink() : NvImportWholeData{} {
  size = sizeof(NvImportWholeData);
  const auto number = [](NvImportWholeData* data, int row, int column, auto) {
    static_cast<PluginWholeSink*>(data)->places += HashOf(row, column, {});
  };
  set_float = number;
  set_double = number;
  set_whole = number;
  set_text = [](NvImportWholeData* data, int row, int column, const char* text,
                std::size_t length) {
    auto& sink = static_cast<PluginWholeSink&>(*data);
    sink.has_null_text = sink.has_null_text || text == nullptr || text[length] != '\0';
    sink.places += HashOf(row, column, {});
  };
  set_size = [](NvImportWholeData* data, int new_rows, int new_columns) {
    data->rows = new_rows;
    data->columns = new_columns;
  };
}

PluginDescription::PluginDescription() : NvImportDescription{} {
  size = sizeof(NvImportDescription);
  state = [](NvImportDescription* data, int row, const char* label, const char* key,
             const char* value, std::size_t length) {
    auto& self = static_cast<PluginDescription&>(*data);
    const bool has_all = label != nullptr && key != nullptr && value != nullptr;
    self.has_null_text = self.has_null_text || !has_all || value[length] != '\0';
    self.has_bad_index = self.has_bad_index || row < 0;
  };
  name_axis = [](NvImportDescription* data, char axis, const char* label, const char* unit) {
    auto& self = static_cast<PluginDescription&>(*data);
    self.has_null_text = self.has_null_text || label == nullptr || unit == nullptr;
    self.has_bad_index = self.has_bad_index || axis < 'x' || axis > 'z';
  };
  set_x = [](NvImportDescription* data, int first_column, const double* values, std::size_t) {
    auto& self = static_cast<PluginDescription&>(*data);
    self.has_null_text = self.has_null_text || values == nullptr;
    self.has_bad_index = self.has_bad_index || first_column < 1;
  };
}

KeptDescription::KeptDescription(const NvImportFormatInfo& info)
    : name(info.name),
      read_filter(TextOrNone(info.read_filter)),
      write_filter(TextOrNone(info.write_filter)),
      extensions(Extensions(info)),
      can_write(info.can_write),
      can_read(info.can_read) {}

PluginDriver::PluginDriver(std::string path, int format, const PluginFiles& files, bool asked,
                           SayPluginNews say)
    : path_(std::move(path)), format_(format), files_(files), asked_(asked), say_(std::move(say)) {}

void PluginDriver::Say(PluginNews kind, std::initializer_list<std::string_view> texts) {
  std::string news(1, static_cast<char>(kind));
  for (const std::string_view text : texts) {
    if (news.size() > 1) news += kNewsSeparator;
    news += text;
  }
  say_(news);
}

void PluginDriver::Break(const std::string& what, std::string_view asked) {
  Say(asked_ ? PluginNews::kBroken : PluginNews::kWarning, {what, asked});
}

void PluginDriver::Warn(const std::string& what, std::string_view better) {
  Say(PluginNews::kWarning, {what, better});
}

void PluginDriver::Calls(const char* name) {
  last_call_ = name;
  Say(PluginNews::kCalls, {name});
}

template <typename Function, typename... Arguments>
auto PluginDriver::Call(const char* name, Function function, Arguments... arguments) {
  Calls(name);
  return function(arguments...);
}

bool PluginDriver::Load() {
  Calls("dlopen");
  library_.emplace(path_);
  functions_ = PluginFunctions::Of(*library_);
  if (!library_->is_open())
    Break("cannot be loaded: " + library_->error(), "a library that loads as it stands");
  else if (!functions_.can_list())
    Break("its listing functions are not its own", "a library that defines both itself");
  return functions_.can_list();
}

void PluginDriver::Init() {
  if (functions_.init_package != nullptr) Call("NvImportInitPackage", functions_.init_package);
}

void PluginDriver::Unload() {
  if (functions_.release_package != nullptr)
    Call("NvImportReleasePackage", functions_.release_package);
  Calls("dlclose");
  library_.reset();
}

int PluginDriver::Count() {
  return Call("NvImportSizeFileFormatsSupported", functions_.count_formats);
}

const NvImportFormatInfo* PluginDriver::Describe(int format) {
  return Call("NvImportGetFileFormatInfo", functions_.get_info, format);
}

std::vector<KeptDescription> PluginDriver::List() {
  std::vector<KeptDescription> list;
  for (int format = 1, count = Count(); format <= count; ++format)
    list.emplace_back(*Describe(format));
  return list;
}

int PluginDriver::Detect(int format, const std::string& path) {
  return Call("NvImportIsCorrectFileType", functions_.is_correct_type, format, path.c_str());
}

bool PluginDriver::CanRead() { return functions_.open != nullptr && Describe(format_)->can_read; }

bool PluginDriver::CanWrite() { return functions_.open != nullptr && Describe(format_)->can_write; }

PluginFile PluginDriver::OpenAs(int format, const std::string& path, NvImportOpenOptions* options,
                                bool reads) {
  PluginFile file{format};
  const char mode = reads ? '\1' : '\0';
  file.opened = Succeeded(
      Call("NvImportOpen", functions_.open, format, path.c_str(), mode, &file.handle, options));
  if (!file.opened) {
    ExpectText(file);
    if (file.handle != 0) TakeTexts(file);
  } else if (file.handle == 0) {
    Break("NvImportOpen succeeded and left the handle 0",
          "another handle: 0 stands for none, which is never closed");
  }
  return file;
}

std::optional<SheetSize> PluginDriver::Measure(const PluginFile& file) {
  if (functions_.establish_size == nullptr) return std::nullopt;
  SheetSize size;
  if (!Succeeded(Call("NvImportEstablishSize", functions_.establish_size, file.format, file.handle,
                      &size.rows, &size.columns))) {
    ExpectText(file);
    return std::nullopt;
  }
  if (size.rows < 0 || size.columns < 0)
    Break("NvImportEstablishSize succeeded with a count below 0", "1 only when both are 0 or more");
  return size;
}

bool PluginDriver::Read(const PluginFile& file, PluginSink& sink) {
  if (functions_.read == nullptr) return false;
  current_sink = &sink;
  misused = false;
  const bool done =
      Succeeded(Call("NvImportRead", functions_.read, file.format, file.handle, &sink));
  if (misused)
    Break("NvImportRead called back with another record", "the record that it was given");
  if (sink.has_bad_index)
    Break("NvImportRead gave a cell in a row or column below 1", "rows and columns from 1");
  if (sink.has_null_text) Break("NvImportRead gave a null text", "a text, even if empty");
  if (sink.has_bad_size) Break("NvImportRead announced a size below 0", "counts of 0 or more");
  if (!done) ExpectText(file);
  return done;
}

bool PluginDriver::Write(const PluginFile& file) {
  if (functions_.write == nullptr) return false;
  NvImportWriteData source = Source();
  current_source = &source;
  misused = false;
  const bool done =
      Succeeded(Call("NvImportWrite", functions_.write, file.format, file.handle, &source));
  current_source = nullptr;
  if (misused)
    Break("NvImportWrite asked for a cell that the record does not have, or with another record",
          "rows and columns from 1, row first, in the flag callback column first");
  if (!done) ExpectText(file);
  return done;
}

bool PluginDriver::ReadWhole(const PluginFile& file, PluginWholeSink& sink) {
  NvImportWholeData* const record = &sink;
  return Succeeded(
      Call("NvImportReadWhole", functions_.read_whole, file.format, file.handle, record));
}

bool PluginDriver::Describe(const PluginFile& file, PluginDescription& description) {
  NvImportDescription* const record = &description;
  return Succeeded(Call("NvImportDescribe", functions_.describe, file.format, file.handle, record));
}

void PluginDriver::TakeTexts(const PluginFile& file) {
  const auto take = [&](const char* name, decltype(&NvImportGetWarning) function) {
    if (function == nullptr) return;
    if (const char* text = Call(name, function, file.format, file.handle)) text_ = text;
  };
  take("NvImportGetWarning", functions_.get_warning);
  take("NvImportGetLastError", functions_.get_last_error);
}

void PluginDriver::Close(const PluginFile& file) {
  if (functions_.close != nullptr && file.handle != 0)
    Call("NvImportClose", functions_.close, file.format, file.handle);
}

void PluginDriver::WithSamples(
    const std::function<void(const PluginFile&, const PluginSample&)>& use) {
  if (!CanRead()) return;
  bool used = false;
  for (const PluginSample& sample : files_.samples) {
    Tries(sample.name);
    NvImportOpenOptions options{0, nullptr};
    const PluginFile file = Open(sample.path, &options);
    if (file.opened) {
      use(file, sample);
      used = true;
    }
    if (options.size < 0 || (options.size > 0 && options.data == nullptr))
      Break("the options came back without their bytes", "as many bytes as their size says");
    else
      text_.assign(options.data, options.data + options.size);
    Close(file);
  }
  Tries("");
  if (!used)
    Say(PluginNews::kUnchecked, {"none of the files opened", "--file FILE gives one that does"});
}

bool PluginDriver::Succeeded(char answer) {
  if (answer != 0 && answer != 1)
    Break(std::string(last_call_) + " answered " + std::to_string(answer),
          "1 for success, 0 for failure");
  return answer != 0;
}

void PluginDriver::ExpectText(const PluginFile& file) {
  if (functions_.get_last_error == nullptr) return;
  const std::string failed = last_call_;
  const char* text =
      Call("NvImportGetLastError", functions_.get_last_error, file.format, file.handle);
  if (text == nullptr || *text == '\0')
    Break(failed + " failed without a text", "a text from NvImportGetLastError");
  else
    text_ = text;
}

}  // namespace nvimport
