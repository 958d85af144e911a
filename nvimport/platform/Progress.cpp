#include "nvimport/platform/Progress.h"

#include <chrono>

#include "nvimport/platform/Installed.h"

namespace nvimport {

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kInterval = std::chrono::milliseconds(33);

// Of the files that this thread reads.
struct State {
  const Progress* reported = nullptr;
  Clock::time_point next_report;
  std::uint64_t position = 0;
  std::uint64_t size = 0;
  bool stopped = false;
};
thread_local State state;

}  // namespace

Progress::~Progress() = default;

Progress* Progress::Install(Progress* progress) {
  state = {};
  return Installed<Progress*>::Exchange(progress);
}

Progress* Progress::InstallForThread(Progress* progress) {
  state = {};
  return Installed<Progress*>::ExchangeOwn(progress);
}

bool Progress::Report(std::uint64_t position, std::uint64_t size) {
  state.position = position;
  state.size = size;
  return Poll();
}

bool Progress::Poll() {
  Progress* const installed = Installed<Progress*>::Current();
  if (installed == nullptr) return true;
  // Another thread may have installed it.
  if (installed != state.reported) state = {installed, {}, state.position, state.size, false};
  if (state.stopped) return false;
  const auto now = Clock::now();
  if (now < state.next_report) return true;
  state.next_report = now + kInterval;
  state.stopped = !installed->Advance(state.position, state.size);
  return !state.stopped;
}

}  // namespace nvimport
