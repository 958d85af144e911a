#include "apps/nvimport/PluginCheck.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <list>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "apps/nvimport/Commands.h"
#include "apps/nvimport/FileRun.h"
#include "apps/nvimport/PluginChecks.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/TemporaryPaths.h"
#include "nvimport/hosting/batch/GuardedChild.h"
#include "nvimport/hosting/export/OutputTarget.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/ByteWriter.h"
#include "nvimport/platform/DynamicLibrary.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Files.h"
#include "nvimport/platform/OutputFile.h"

namespace nvimport {

namespace {

enum class Verdict { kOk, kUnchecked, kWarning, kBroken };
constexpr const char* kVerdictWords[] = {"ok", "unchecked", "warning", "broken"};

const char* Word(Verdict verdict) { return kVerdictWords[static_cast<std::size_t>(verdict)]; }

// Something that a check found, perhaps in several places.
struct Finding {
  Verdict verdict;
  std::string what;
  std::string why;  // what the contract asks, or what would be better
  std::vector<std::string> places;

  std::string Words() const {
    std::string words = what;
    if (!places.empty()) words += " (" + places.front();
    if (places.size() > 1) words += " and " + std::to_string(places.size() - 1) + " more";
    if (!places.empty()) words += ")";
    constexpr const char* kJoints[] = {"", "; ", "; better is ", "; asked is "};
    return words + kJoints[static_cast<std::size_t>(verdict)] + why;
  }
};

struct Result {
  std::string check;
  std::vector<Finding> findings;

  Verdict verdict() const {
    Verdict worst = Verdict::kOk;
    for (const Finding& finding : findings) worst = std::max(worst, finding.verdict);
    return worst;
  }

  void Add(Verdict verdict, const std::string& what, const std::string& why,
           const std::string& place = "") {
    auto found = std::ranges::find(findings, what, &Finding::what);
    if (found == findings.end()) found = findings.insert(found, {verdict, what, why, {}});
    if (!place.empty() && std::ranges::find(found->places, place) == found->places.end())
      found->places.push_back(place);
  }

  void AddUnjudged() { Add(Verdict::kUnchecked, "not judged", "what is told above comes first"); }
};

// What it costs when a library lacks a function that it may lack.
struct MissingFunction {
  const char* name;
  const char* cost;
};
constexpr MissingFunction kMayBeMissing[] = {
    {"NvImportInitPackage", "nothing readies the library before its use"},
    {"NvImportReleasePackage", "the library is not told of the end of its use"},
    {"NvImportIsCorrectFileType",
     "every file may be of its formats, so the user is asked more often"},
    {"NvImportOpen", "no file can be opened (status 2048)"},
    {"NvImportEstablishSize", "no size can be established, so hosts read nothing (status 2048)"},
    {"NvImportRead", "no file can be read (status 2048)"},
    {"NvImportWrite", "no file can be written (status 2048)"},
    {"NvImportClose", "no file is ever closed"},
    {"NvImportGetLastError", "failures have no text"},
    {"NvImportGetWarning", "warnings do not reach the user"},
};

// A text of the library's, fit for a line.
std::string Shown(std::string_view text) {
  constexpr std::size_t kWidest = 80;
  return CutToWidth(OneLine(text), kWidest);
}

// The library's extension if it makes a file name, else none.
std::string UsableExtension(const std::string& extension) {
  constexpr std::size_t kLongest = 16;
  const auto is_plain = [](unsigned char c) { return c == '.' || std::isalnum(c) != 0; };
  return extension.size() <= kLongest && std::ranges::all_of(extension, is_plain) ? extension : "";
}

std::string RandomBytes() {
  std::minstd_rand random;
  std::string bytes(4096, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random() >> 8);
  return bytes;
}

// The files that a format is tried with, in a folder that goes with the object.
class SampleFolder {
 public:
  SampleFolder(const std::string& extension, const std::vector<std::string>& given)
      : folder_(TemporaryPath::Kind::kFolder, TemporaryFolder() + "/nvimport-XXXXXX"),
        output_(folder_.path() + "/output" + extension),
        inner_(TemporaryPath::Kind::kFolder, folder_.path() + "/folder-XXXXXX") {
    Put("an empty file", "/empty" + extension, "");
    Put("a text file", "/text" + extension, "a\tb\n1\t2.5\n\tlast\n");
    Put("a file of random bytes", "/random" + extension, RandomBytes());
    files_.samples.push_back({inner_.path(), "a folder", true});
    for (const std::string& path : given)
      files_.samples.push_back(
          {PathText(std::filesystem::absolute(FilePath(path))), ShownName(path), false});
    files_.missing = folder_.path() + "/missing" + extension;
    files_.output = output_.path();
  }
  SampleFolder(const SampleFolder&) = delete;
  SampleFolder& operator=(const SampleFolder&) = delete;
  ~SampleFolder() {
    // The library may have left something beside them.
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(FilePath(folder_.path()), ignored))
      std::filesystem::remove_all(entry.path(), ignored);
  }

  const PluginFiles& files() const { return files_; }

 private:
  void Put(const char* what, const std::string& name, std::string_view bytes) {
    const std::string& path = paths_.emplace_back(folder_.path() + name).path();
    OutputFile file(path.c_str());
    if (!file.is_open()) throw std::system_error(errno, std::generic_category(), path);
    file.Write(bytes);
    files_.samples.push_back({path, what, true});
  }

  TemporaryPath folder_;
  TemporaryPath output_;
  TemporaryPath inner_;
  std::list<TemporaryPath> paths_;
  PluginFiles files_;
};

struct Format {
  std::string name;
  std::string extension;
};

// One library on the bench.
struct Examination {
  const Settings& settings;
  std::string library;
  std::vector<std::string> missing;  // functions
  std::vector<Format> formats;
  std::vector<Result> results;

  Verdict verdict() const {
    Verdict worst = Verdict::kOk;
    for (const Result& result : results) worst = std::max(worst, result.verdict());
    return worst;
  }

  bool Told(const std::string& what) const {
    const auto is_that = [line = OneLine(what)](const Finding& finding) {
      return finding.verdict > Verdict::kUnchecked && finding.what == line;
    };
    return std::ranges::any_of(results, [&](const Result& result) {
      return std::ranges::any_of(result.findings, is_that);
    });
  }
};

// Looks into the file, as the list of formats does before it loads one.
Result CheckFile(const std::string& library) {
  Result result{"file", {}};
  std::error_code error;
  if (!std::filesystem::is_regular_file(FilePath(library), error))
    result.Add(Verdict::kBroken, "it is no file", "a library");
  else if (!DynamicLibrary::Defines(library.c_str(), {}))
    result.Add(Verdict::kBroken, "it is no library for this machine", "an ELF file of its class");
  else
    for (const char* name : {"NvImportSizeFileFormatsSupported", "NvImportGetFileFormatInfo"})
      if (!DynamicLibrary::Defines(library.c_str(), {name}))
        result.Add(Verdict::kBroken, std::string("it does not define ") + name,
                   "both listing functions; without them a library is passed over");
  return result;
}

// The texts of a piece of news.
std::pair<std::string, std::string> TextsOf(const std::string& news) {
  const std::size_t end = std::min(news.find(kNewsSeparator), news.size());
  return {news.substr(1, end - 1), end < news.size() ? news.substr(end + 1) : ""};
}

void TakeOutcome(Examination& examination, const PluginCheck& check, int format,
                 const ChildOutcome& outcome, Result& result) {
  std::string whose;
  if (format > 0)
    whose = "format " + std::to_string(format) + " \"" +
            Shown(examination.formats[static_cast<std::size_t>(format - 1)].name) + "\"";
  std::string call;
  std::string tried;
  const auto add = [&](Verdict verdict, const std::string& what, const std::string& why) {
    // One fault is one line, however many checks meet it.
    if (examination.Told(what)) return result.AddUnjudged();
    const char* joint = whose.empty() || tried.empty() ? "" : ", ";
    result.Add(verdict, OneLine(what), why, whose + joint + tried);
  };
  for (const std::string& news : outcome.messages) {
    const auto [first, second] = TextsOf(news);
    switch (PluginNews{news.front()}) {
      case PluginNews::kCalls:
        call = first;
        break;
      case PluginNews::kTries:
        tried = Shown(first);
        break;
      case PluginNews::kLacks:
        examination.missing.push_back(first);
        break;
      case PluginNews::kFormat:
        examination.formats.push_back({first, UsableExtension(second)});
        break;
      case PluginNews::kUnchecked:
        add(Verdict::kUnchecked, first, second);
        break;
      case PluginNews::kWarning:
        add(Verdict::kWarning, first, second);
        break;
      case PluginNews::kBroken:
        add(Verdict::kBroken, first, second);
        break;
    }
  }
  if (!outcome.fault.empty())
    add(check.weight == PluginCheck::kAsked ? Verdict::kBroken : Verdict::kWarning,
        outcome.fault + " in " + call, "that the call returns, with 0 where it fails");
}

// What a process is told of a check.
std::string TaskOf(const PluginCheck& check, const std::string& library, int format,
                   const PluginFiles& files) {
  ByteWriter writer;
  writer.WriteFourBytes(static_cast<std::int32_t>(&check - PluginChecks().data()));
  writer.WriteFourBytes(format);
  for (const std::string& text : {library, files.missing, files.output})
    writer.WriteBinaryString(text);
  for (const PluginSample& sample : files.samples) {
    writer.WriteBinaryString(sample.path);
    writer.WriteBinaryString(sample.name);
    writer.WriteByte(sample.ours ? 1 : 0);
  }
  return writer.bytes();
}

void RunTask(const std::string& task, const GuardedChild::Say& say) {
  ByteReader reader({task.data(), task.size()});
  const auto text = [&] { return std::string(reader.Text(reader.U32())); };
  const std::size_t check = reader.U32();
  const int format = reader.I32();
  const std::string library = text();
  PluginFiles files;
  files.missing = text();
  files.output = text();
  while (reader.ok() && reader.remaining() > 0) {
    PluginSample& sample = files.samples.emplace_back();
    sample.path = text();
    sample.name = text();
    sample.ours = reader.U8() != 0;
  }
  RunPluginCheck(PluginChecks()[check], library, format, files, say);
}

// Runs the check for one format, or 0 for the library. False when it hung.
bool RunCheck(Examination& examination, const PluginCheck& check, int format, Result& result) {
  const Settings& settings = examination.settings;
  const SampleFolder folder(
      format > 0 ? examination.formats[static_cast<std::size_t>(format - 1)].extension : "",
      settings.files);
  const ChildLimits limits{settings.time_limit, static_cast<std::size_t>(settings.memory_limit)};
  const std::string task = TaskOf(check, examination.library, format, folder.files());
  std::list<GuardedChild> children;
  for (int i = 0; i < check.processes; ++i) children.emplace_back(limits, task, RunTask);
  bool ended = true;
  for (GuardedChild& child : children) {
    const ChildOutcome outcome = child.Finish();
    TakeOutcome(examination, check, format, outcome, result);
    ended = ended && !outcome.hung;
  }
  return ended;
}

void Examine(Examination& examination) {
  examination.results.push_back(CheckFile(examination.library));
  for (const PluginCheck& check : PluginChecks()) {
    Result result{check.name, {}};
    // Without a list of formats there is nothing to ask for.
    if (examination.formats.empty() && examination.verdict() == Verdict::kBroken) {
      result.AddUnjudged();
    } else if (check.subject == PluginCheck::kLibrary) {
      RunCheck(examination, check, 0, result);
    } else {
      // One hang of a kind is waited for, not one for each format.
      for (int format = 1; format <= static_cast<int>(examination.formats.size()); ++format)
        if (!RunCheck(examination, check, format, result)) break;
    }
    examination.results.push_back(std::move(result));
  }
}

std::string Cost(const std::string& function) {
  const auto known = std::ranges::find(kMayBeMissing, function, &MissingFunction::name);
  return known != std::end(kMayBeMissing) ? known->cost : "";
}

std::string Report(const Examination& examination) {
  std::string report;
  const auto add = [&](const char* word, const std::string& whose, const std::string& text) {
    report.append(word).append(" ").append(whose).append(": ").append(text).append("\n");
  };
  std::map<std::string, std::string> unchecked;  // the checks by why
  for (const Result& result : examination.results) {
    if (result.findings.empty()) report += "ok " + result.check + "\n";
    for (const Finding& finding : result.findings) {
      if (finding.verdict != Verdict::kUnchecked) {
        add(Word(finding.verdict), result.check, finding.Words());
        continue;
      }
      std::string& checks = unchecked[finding.Words()];
      checks += (checks.empty() ? "" : ", ") + result.check;
    }
  }
  for (const auto& [why, checks] : unchecked) add(Word(Verdict::kUnchecked), checks, why);
  for (const std::string& function : examination.missing) add("missing", function, Cost(function));
  return report;
}

std::string JsonReport(const Examination& examination) {
  using Json = nlohmann::ordered_json;
  Json json = {{"version", 1},
               {"library", ShownName(examination.library)},
               {"holds", examination.verdict() != Verdict::kBroken},
               {"checks", Json::array()},
               {"missing", Json::array()}};
  for (const Result& result : examination.results) {
    Json findings = Json::array();
    for (const Finding& finding : result.findings)
      findings.push_back({{"verdict", Word(finding.verdict)},
                          {"what", finding.what},
                          {"why", finding.why},
                          {"places", finding.places}});
    json["checks"].push_back({{"name", result.check},
                              {"verdict", Word(result.verdict())},
                              {"findings", std::move(findings)}});
  }
  for (const std::string& function : examination.missing)
    json["missing"].push_back({{"function", function}, {"cost", Cost(function)}});
  return json.dump(1) + "\n";
}

}  // namespace

int RunCheckPlugin(const Settings& settings) {
  GuardedChild::RunTask(RunTask);
  Examination examination{
      settings, PathText(std::filesystem::absolute(FilePath(settings.library))), {}, {}, {}};
  Examine(examination);
  if (const auto failure =
          PrintData(settings.json ? EscapeInJson(JsonReport(examination)) : Report(examination)))
    return SayFailure(*failure);
  if (examination.verdict() == Verdict::kBroken)
    return SayFailure({Failure::kFailed, "The library breaks the contract of plug-ins.",
                       ShownName(settings.library) + "; docs/plugins.md says what it asks"});
  return settings.strict && examination.verdict() == Verdict::kWarning ? kWarned : kDone;
}

std::string PluginCheckList() {
  std::string list =
      "What is checked, each in a process of its own:\n  file            it is a library for this "
      "machine\n";
  for (const PluginCheck& check : PluginChecks()) {
    std::string name = check.name;
    name.resize(16, ' ');
    list.append("  ").append(name).append(check.does);
    list += check.weight == PluginCheck::kLeftOpen ? " (can only warn)\n" : "\n";
  }
  return list;
}

}  // namespace nvimport
