#include "nvimport/platform/Log.h"

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <memory>

#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Installed.h"
#include "nvimport/platform/System.h"

namespace nvimport {

namespace {

using SharedSink = std::shared_ptr<const Log::Sink>;
using Sinks = Installed<SharedSink>;

SharedSink Shared(Log::Sink sink) {
  return sink ? std::make_shared<const Log::Sink>(std::move(sink)) : nullptr;
}

Log::Sink SinkOf(const SharedSink& sink) { return sink != nullptr ? *sink : Log::Sink(); }

// A line per entry, with the time in UTC; line breaks and other controls become blanks.
void AppendToFile(const std::string& path, const LogEntry& entry) {
  const std::time_t now = std::time(nullptr);
  char time[32] = "";
  if (std::tm parts{}; WorldTime(now, parts))
    std::strftime(time, sizeof time, "%Y-%m-%dT%H:%M:%SZ", &parts);
  std::string line = std::string(time) + " " + std::to_string(entry.importance) + " " +
                     entry.source + " " + entry.operation + ": " + entry.text;
  for (char& c : line)
    if (static_cast<unsigned char>(c) < ' ') c = ' ';
  std::ofstream(FilePath(path), std::ios::app) << line + "\n";
}

}  // namespace

void Log::WriteMessage(std::string_view source, std::string_view operation, std::string_view text,
                       int importance) {
  const char* path = std::getenv("NVIMPORT_LOG");
  const auto sink = Sinks::Current();
  if (sink == nullptr && path == nullptr) return;
  const LogEntry entry{std::string(source), std::string(operation), std::string(text), importance};
  if (sink != nullptr) (*sink)(entry);
  if (path != nullptr && *path != '\0') AppendToFile(Setting("NVIMPORT_LOG"), entry);
}

void Log::WriteCount(std::string_view source, std::uint64_t count, std::string_view one,
                     std::string_view several) {
  if (count == 0) return;
  WriteNote(source, std::to_string(count) + " " + std::string(count == 1 ? one : several));
}

Log::Sink Log::Install(Sink sink) { return SinkOf(Sinks::Exchange(Shared(std::move(sink)))); }

Log::Sink Log::Current() { return SinkOf(Sinks::Current()); }

Log::Sink Log::InstallForThread(Sink sink) {
  return SinkOf(Sinks::ExchangeOwn(Shared(std::move(sink))));
}

}  // namespace nvimport
