#include "apps/nvimport/FormerRun.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <iomanip>
#include <locale>
#include <sstream>

#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/batch/BatchReport.h"
#include "nvimport/platform/Files.h"
#include "nvimport/platform/HandOver.h"

namespace nvimport {

// A report has each entry on a line of its own. As a run that is killed leaves it, its last line
// may be cut, so what is a whole entry is found when it is wanted.

namespace {

constexpr std::string_view kHead = R"({"version": 1, "begun": ")";
constexpr const char* kTime = "%Y-%m-%dT%H:%M:%SZ";
constexpr const char* kWasInterrupted = "interrupted";
constexpr std::string_view kBehindNames = R"(,"status":)";

// How an entry begins: a text that only entries of the same input and output have in common.
std::string NamesOf(const std::string& input, const std::string& output) {
  std::string names =
      EscapeInJson(nlohmann::ordered_json{{"input", input}, {"output", ToUtf8(output)}}.dump());
  names.pop_back();
  return names;
}

std::optional<std::time_t> BegunOf(std::string_view head) {
  if (!head.starts_with(kHead)) return std::nullopt;
  std::istringstream text{std::string(head.substr(kHead.size()))};
  text.imbue(std::locale::classic());
  std::tm begun{};
  text >> std::get_time(&begun, kTime);
  if (text.fail()) return std::nullopt;
  return TimeOfWorld(begun);
}

}  // namespace

std::string ReportHead() {
  const std::time_t now = std::time(nullptr);
  std::tm begun{};
  WorldTime(now, begun);
  std::ostringstream head;
  head.imbue(std::locale::classic());
  head << kHead << std::put_time(&begun, kTime) << R"(", "files": [)";
  return head.str();
}

FormerRun::~FormerRun() {
  for (const int file : files_) CloseFile(file);
}

std::optional<Failure> FormerRun::Open(const std::string& path) {
  // From the oldest to the newest.
  if (auto failure = Read(path)) return failure;
  const std::size_t ended = files_.size();
  if (auto failure = Read(BatchReport::FormerPath(path))) return failure;
  // That which a worker finds unfinished is being written.
  if (IsBegunAnew())
    was_interrupted_ = !HandedOver(kWasInterrupted).empty();
  else if (auto failure = Read(BatchReport::UnfinishedPath(path)))
    return failure;
  else
    was_interrupted_ = files_.size() > ended;
  HandOver(kWasInterrupted, [this] { return std::string(was_interrupted_ ? "yes" : ""); });
  std::ranges::stable_sort(places_, {}, &Place::hash);
  return std::nullopt;
}

std::optional<Failure> FormerRun::Read(const std::string& path) {
  const int file = OpenInput(path.c_str());
  if (file < 0 && errno == ENOENT) return std::nullopt;
  if (file < 0)
    return Failure::OfSystem("The report of the former run can't be read.", ShownName(path), errno);
  files_.push_back(file);
  std::string text;
  std::uint64_t offset = 0;  // of the text
  std::vector<char> block(1 << 20);
  bool is_report = false;
  const auto take = [&](std::string_view line, std::uint64_t at) {
    if (const auto begun = BegunOf(line)) {
      is_report = true;
      begun_ = std::min(begun_.value_or(*begun), *begun);
    }
    while (line.starts_with(' ')) line.remove_prefix(1), ++at;
    const std::size_t names = line.find(kBehindNames);
    if (!line.starts_with('{') || names == std::string_view::npos) return;
    if (line.ends_with(',')) line.remove_suffix(1);
    places_.push_back({std::hash<std::string_view>()(line.substr(0, names)), at,
                       static_cast<std::uint32_t>(line.size()),
                       static_cast<std::uint32_t>(files_.size() - 1)});
  };
  for (std::ptrdiff_t got = 0; (got = ReadSome(file, block)) > 0;) {
    text.append(block.data(), static_cast<std::size_t>(got));
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1)
      take(std::string_view(text).substr(begin, end - begin), offset + begin);
    text.erase(0, begin);
    offset += begin;
  }
  take(text, offset);
  if (is_report || (text.empty() && offset == 0)) return std::nullopt;
  return Failure{Failure::kFailed, "The report is none of a run that can go on.",
                 "--report takes another name, or leave --continue out", ShownName(path)};
}

std::optional<FormerRun::Entry> FormerRun::Find(const std::string& input,
                                                const std::string& output) const {
  const std::string names = NamesOf(input, output);
  const std::size_t hash = std::hash<std::string_view>()(names);
  auto place = std::ranges::upper_bound(places_, hash, {}, &Place::hash);
  while (place != places_.begin() && (--place)->hash == hash) {
    std::string line(place->size, '\0');
    const std::ptrdiff_t got = ReadSomeAt(files_[place->file], place->offset, line);
    if (got != std::ssize(line) || !line.starts_with(names)) continue;
    Entry entry = Entry::parse(line, nullptr, /*allow_exceptions=*/false);
    if (entry.is_object()) return entry;
  }
  return std::nullopt;
}

std::optional<FormerRun::Entry> FormerRun::TakeUp(const std::string& input,
                                                  const std::string& output,
                                                  const std::string& description) const {
  const PathStatus there = StatusOf(output.c_str());
  const bool is_there = there.kind == PathStatus::kFile;
  auto entry = Find(input, output);
  const std::string status = entry ? entry->value("status", "") : "not tried";
  const bool is_whole =
      entry && is_there && entry->contains("bytes") && (*entry)["bytes"] == there.size;
  const bool is_described = description.empty() || FileExists(description.c_str());
  if (status == "done" && is_whole && is_described) return entry;
  // The last ones that a run writes may be missing in its report.
  constexpr std::int64_t kNano = 1'000'000'000;
  const bool is_unreported = status == "not tried" && (entry || was_interrupted_) && is_there &&
                             begun_ && there.modified / kNano >= *begun_;
  if (status != "done" && !is_whole && !is_unreported) return std::nullopt;
  if (is_there) RemoveFile(output.c_str());
  if (!description.empty()) RemoveFile(description.c_str());
  return std::nullopt;
}

}  // namespace nvimport
