#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "nvimport/platform/Export.h"

namespace nvimport {

// One line of the log.
struct LogEntry {
  std::string source;     // the class that speaks
  std::string operation;  // what it was doing; "Note" for what a reader left out by rule
  std::string text;       // a sentence
  int importance = 0;     // kNormal, or less for less
};

// Entries go to the sink that a host installs, and to the end of the file that the environment
// variable NVIMPORT_LOG names, a line each.
class NVIMPORT_API Log {
 public:
  // What takes the entries.
  using Sink = std::function<void(const LogEntry&)>;

  // Importance of the driver's and the readers' entries.
  static constexpr int kNormal = 3;

  // One entry; see LogEntry.
  static void WriteMessage(std::string_view source, std::string_view operation,
                           std::string_view text, int importance);

  // One line about cells that a rule left out, "3 lines ...".
  static void WriteNote(std::string_view source, std::string_view text) {
    WriteMessage(source, "Note", text, kNormal);
  }

  // The same for `count` of something, "1 cell ..." or "2 cells ..."; nothing for none.
  static void WriteCount(std::string_view source, std::uint64_t count, std::string_view one,
                         std::string_view several);

  // Where the entries of this thread go; none for nowhere.
  static Sink Current();

  // Sends the entries of this thread to `sink` (none: to nobody) and returns the sink before it.
  // Those of a thread that installed none go to the sink of the thread that was the first to.
  static Sink Install(Sink sink);

  // The same for the length of an operation of this thread, of which others see nothing.
  static Sink InstallForThread(Sink sink);
};

}  // namespace nvimport
