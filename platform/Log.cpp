#include "platform/Log.h"

#include <utility>

namespace {
Log::Sink& Installed() {
  static Log::Sink sink;
  return sink;
}
}  // namespace

void Log::WriteMessage(std::string_view source, std::string_view operation, std::string_view text,
                       int importance) {
  if (Installed())
    Installed()({std::string(source), std::string(operation), std::string(text), importance});
}

Log::Sink Log::Install(Sink sink) { return std::exchange(Installed(), std::move(sink)); }
