#include "nvimport/platform/Progress.h"

#include <chrono>

namespace nvimport {

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kInterval = std::chrono::milliseconds(33);

struct State {
  Progress* installed = nullptr;
  Clock::time_point next_report;
  std::uint64_t position = 0;
  std::uint64_t size = 0;
  bool stopped = false;
};
State state;

}  // namespace

Progress::~Progress() = default;

Progress* Progress::Install(Progress* progress) {
  Progress* previous = state.installed;
  state = {};
  state.installed = progress;
  return previous;
}

bool Progress::Report(std::uint64_t position, std::uint64_t size) {
  state.position = position;
  state.size = size;
  return Poll();
}

bool Progress::Poll() {
  if (state.installed == nullptr) return true;
  if (state.stopped) return false;
  const auto now = Clock::now();
  if (now < state.next_report) return true;
  state.next_report = now + kInterval;
  state.stopped = !state.installed->Advance(state.position, state.size);
  return !state.stopped;
}

}  // namespace nvimport
