// read-corpus TABLE [--complete] [--write]: reads the files under $NVIMPORT_CORPUS, each in a
// process of its own, and compares what came with the table's row: the status of Open or else of
// Read, rows and columns, the number of cells and their digest, in brackets what of that size they
// contradict with --complete, the notes. --write prints the whole table as it is now.
//
// A file without a row need only end well: no crash, no more than ten seconds, no more memory than
// 64 MiB and three times its size.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/ByteWriter.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Log.h"
#include "plugins/complete/CompleteFormats.h"

namespace nvimport {

namespace {

constexpr int kSkipped = 77;
constexpr unsigned kSeconds = 10;
#if defined(NVIMPORT_UNDER_ASAN)
constexpr std::uintmax_t kMemory = std::uintmax_t{2} << 30;  // the sanitizer's own share
#else
constexpr std::uintmax_t kMemory = std::uintmax_t{64} << 20;
#endif

FormatRegistry* formats = nullptr;

// The format, by its index, that a folder is named after: by a word of its name or an extension. 0
// for none.
int FormatOf(std::string folder) {
  if (folder == "compound") folder = "mip";  // the worksheets in such files
  for (int index = formats->size(); index > 0; --index) {
    const NvImportFormatInfo& info = *formats->Find(index);
    if (std::ranges::count(Extensions(info), "." + folder) > 0) return index;
  }
  for (int index = formats->size(); index > 0; --index) {
    std::string name = formats->Find(index)->name;
    std::ranges::transform(name, name.begin(), [](unsigned char c) { return std::tolower(c); });
    if (name.find(folder) != std::string::npos) return index;
  }
  return 0;
}

// A user who takes all there is (the first where only one can be), one below the other, and leaves
// the rest as it stands.
class TakeAll final : public Dialogs {
 public:
  std::optional<TextImportChoice> ImportText(const TextImportQuestion& question) override {
    return question.current;
  }
  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override {
    ItemsChoice all;
    all.merge = question.merge;
    const std::size_t count = question.only_one ? 1 : question.items.size();
    for (std::size_t i = 0; i < count; ++i) all.items.push_back(i);
    return all;
  }
  std::optional<RangeChoice> SelectRange(const RangeQuestion&) override { return RangeChoice{}; }
  // As those who made the files say.
  std::optional<std::string> AskPassword(const PasswordQuestion& question) override {
    constexpr std::pair<const char*, const char*> kPasswords[] = {
        {"encryption-abc", "abc"},       {"pass-11", "11"},
        {"35897-type4", "freedom"},      {"pass_protected.xlsx", "123"},
        {"pass_protected.xlsb", "1234"}, {"passtika", "tika"}};
    for (const auto& [name, password] : kPasswords)
      if (question.path.find(name) != std::string::npos) return password;
    return "password";
  }
};

class DigestSink final : public ReadSpreadSheetData {
 public:
  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override {
    Add(column, row);
    Add(std::string_view(text, std::strlen(text) + 1));
  }
  void Set(int column, int row, float value) override {
    Add(column, row);
    AddNumber(value);
  }
  void SetDataSize(int columns, int rows) override { told_ = {columns, rows}; }
  int GetNumberOfColumns() override { return 0; }
  int GetNumberOfRows() override { return 0; }

  std::uint64_t cells() const { return cells_; }
  std::uint64_t digest() const { return digest_; }

  // What differs between the announced size and where the cells are, in brackets; "" for nothing.
  std::string Contradiction(int columns, int rows) const {
    const std::array<int, 2> size = {columns, rows};
    std::string text;
    if (told_ != size && told_ != decltype(told_){}) text = "[another size is told]";
    if (last_[0] > size[0] || last_[1] > size[1]) text += "[cells beyond the size]";
    for (const std::size_t i : {0U, 1U})
      if (last_[i] < size[i])
        text += "[" + std::to_string(size[i] - last_[i]) +
                (i == 0 ? " last columns" : " last rows") + " without a cell]";
    return text;
  }

 private:
  void Add(int column, int row) {
    ++cells_;
    const std::array<int, 2> place = {column, row};
    for (const std::size_t i : {0U, 1U}) last_[i] = std::max(last_[i], place[i]);
    AddNumber(column);
    AddNumber(row);
  }
  // The same whatever the processor's byte order.
  template <typename T>
  void AddNumber(T value) {
    char bytes[sizeof value];
    StoreLittle(bytes, value);
    Add({bytes, sizeof bytes});
  }
  // FNV-1a.
  void Add(std::string_view bytes) {
    for (const char c : bytes) digest_ = (digest_ ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  }

  std::array<int, 2> told_{};  // columns, rows
  std::array<int, 2> last_{};
  std::uint64_t cells_ = 0;
  std::uint64_t digest_ = 0xCBF29CE484222325;
};

// What the file comes to, without its name.
std::string ReadFile(int format, const char* path) {
  TakeAll dialogs;
  Dialogs::Install(&dialogs);
  std::string notes;
  Log::Install([&](const LogEntry& entry) {
    if (entry.operation == "Note") notes += (notes.empty() ? "" : "; ") + entry.text;
  });
  const auto file = formats->CreateReader(format);
  int status = file->Open(true, path, nullptr);
  const int rows = status == 0 ? file->GetNumRows() : -1;
  const int columns = status == 0 ? file->GetNumCols() : -1;
  DigestSink sink;
  if (status == 0) status = file->Read(&sink);
  // What a read that fails leaves behind has no size, and built-in readers have the size that files
  // state.
  if (status == 0 && formats != &FormatRegistry::Own())
    notes = sink.Contradiction(columns, rows) + notes;
  file->Close();
  char digest[17];
  std::snprintf(digest, sizeof digest, "%016llx", static_cast<unsigned long long>(sink.digest()));
  return std::to_string(status) + "\t" + std::to_string(rows) + " x " + std::to_string(columns) +
         "\t" + std::to_string(sink.cells()) + "\t" + digest + "\t" + notes;
}

// The same from a process of its own; one that did not end well says how.
std::string ReadApart(int format, const std::filesystem::path& path) {
  int ends[2];
  if (::pipe(ends) != 0) return "no pipe";
  const ::pid_t child = ::fork();
  if (child == 0) {
    ::close(ends[0]);
    ::alarm(kSeconds);
    std::string row;
    try {
      row = ReadFile(format, path.c_str());
    } catch (const std::exception& exception) {
      row = std::string("threw: ") + exception.what();
    }
    const ::ssize_t written = ::write(ends[1], row.data(), row.size());
    std::_Exit(written == static_cast<::ssize_t>(row.size()) ? 0 : 1);
  }
  ::close(ends[1]);
  std::string row;
  char block[4096];
  for (::ssize_t got = 0; (got = ::read(ends[0], block, sizeof block)) > 0;)
    row.append(block, static_cast<std::size_t>(got));
  ::close(ends[0]);
  int status = 0;
  struct rusage usage {};
  ::wait4(child, &status, 0, &usage);
  if (WIFSIGNALED(status)) return "ended by signal " + std::to_string(WTERMSIG(status));
  if (status != 0) return "exited with " + std::to_string(WEXITSTATUS(status));
  const auto memory = static_cast<std::uintmax_t>(usage.ru_maxrss) * 1024;
  if (memory > kMemory + 3 * std::filesystem::file_size(path))
    return "took " + std::to_string(memory) + " bytes of memory";
  return row;
}

bool EndedWell(const std::string& row) { return row.find('\t') != std::string::npos; }

std::vector<std::filesystem::path> Sorted(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> paths;
  std::error_code none;
  for (const auto& entry : std::filesystem::directory_iterator(folder, none))
    paths.push_back(entry.path());
  std::ranges::sort(paths);
  return paths;
}

std::map<std::string, std::string> ReadTable(const char* path) {
  std::map<std::string, std::string> table;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);)
    if (const std::size_t tab = line.find('\t'); tab != std::string::npos)
      table[line.substr(0, tab)] = line.substr(tab + 1);
  return table;
}

}  // namespace

}  // namespace nvimport

int main(int count, char** arguments) {
  using namespace nvimport;
  const char* const corpus = std::getenv("NVIMPORT_CORPUS");
  if (count < 2) return 2;
  if (corpus == nullptr) {
    std::cout << "Skipped: NVIMPORT_CORPUS names no folder.\n";
    return kSkipped;
  }
  const auto has = [words = std::span(arguments, static_cast<std::size_t>(count))](
                       std::string_view word) { return std::ranges::count(words, word) > 0; };
  const bool writes = has("--write");
  formats = has("--complete") ? &CompleteFormats() : &FormatRegistry::Own();
  const std::map<std::string, std::string> table = ReadTable(arguments[1]);
  int files = 0;
  int failed = 0;
  int unknown = 0;
  std::map<std::string, std::map<std::string, int>> outcomes;  // by folder and status
  for (const auto& folder_path : Sorted(corpus)) {
    const std::string folder = folder_path.filename();
    const int format = FormatOf(folder);
    if (format == 0) continue;
    const auto extensions = Extensions(*formats->Find(format));
    for (const auto& path : Sorted(folder_path)) {
      const std::string name = folder + "/" + path.filename().string();
      // Others lie beside those that are read.
      const auto is_of_it = [own = path.extension().string()](const std::string& extension) {
        return extension == own || extension == ".*";
      };
      if (!table.contains(name) && std::ranges::none_of(extensions, is_of_it)) continue;
      const std::string row = ReadApart(format, path);
      if (row.starts_with("1\t")) break;  // a format that is still to be built
      ++files;
      if (writes) {
        std::cout << name << '\t' << row << '\n';
        continue;
      }
      ++outcomes[folder][row.substr(0, row.find('\t'))];
      const auto known = table.find(name);
      unknown += known == table.end() ? 1 : 0;
      if (EndedWell(row) && (known == table.end() || known->second == row)) continue;
      ++failed;
      std::cout << name << "\n  is       " << row << "\n  expected "
                << (known == table.end() ? "an end" : known->second) << '\n';
    }
  }
  for (const auto& [folder, statuses] : outcomes) {
    std::cout << folder << ":";
    for (const auto& [status, times] : statuses) std::cout << ' ' << status << " x " << times;
    std::cout << '\n';
  }
  if (!writes)
    std::cout << files << " files, " << failed << " not as expected, " << unknown
              << " without a row\n";
  return failed == 0 && files > 0 ? 0 : 1;
}
