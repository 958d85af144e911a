#include "nvimport/hosting/batch/GuardedChild.h"

#include "nvimport/platform/ChildProcess.h"

namespace nvimport {

namespace {

// Ends the messages of work that is done; every message ends in a NUL.
constexpr char kDone = '\0';

ChildProcess::Work Told(GuardedChild::Work work) {
  return [work](const std::string& task, const ChildProcess::Say& say) {
    work(task, [&say](const std::string& message) { say({message.c_str(), message.size() + 1}); });
    say({&kDone, 1});
  };
}

}  // namespace

GuardedChild::GuardedChild(const ChildLimits& limits, const std::string& task, Work work)
    : limits_(limits),
      process_(std::make_unique<ChildProcess>(task, limits.megabytes << 20, Told(work))) {}

GuardedChild::~GuardedChild() = default;

void GuardedChild::RunTask(Work work) { ChildProcess::RunTask(Told(work)); }

ChildOutcome GuardedChild::Finish() {
  ChildOutcome outcome;
  std::string said;
  ChildProcess::End end;
  outcome.hung = !process_->Finish(begun_ + std::chrono::seconds(limits_.seconds), said, end);
  const bool done = said == std::string(1, kDone) || said.ends_with(std::string(2, kDone));
  for (std::size_t start = 0, stop; (stop = said.find('\0', start)) != std::string::npos;
       start = stop + 1)
    if (stop > start) outcome.messages.push_back(said.substr(start, stop - start));
  if (outcome.hung)
    outcome.fault = "still running after " + std::to_string(limits_.seconds) + " s";
  else if (!end.is_exit)
    outcome.fault = "ended by " + end.words;
  else if (!done)
    outcome.fault = "ended the process with exit(" + std::to_string(end.status) + ")";
  return outcome;
}

}  // namespace nvimport
