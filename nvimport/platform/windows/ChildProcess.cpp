#include "nvimport/platform/ChildProcess.h"

#include <array>
#include <cstdlib>
#include <mutex>
#include <system_error>
#include <thread>

#include "nvimport/platform/HandOver.h"
#include "nvimport/platform/windows/Begun.h"

namespace nvimport {

namespace {

// The fault itself is what the parent is told.
void EndByFaultsAlone() {
  ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  ::SetUnhandledExceptionFilter([](EXCEPTION_POINTERS* fault) -> LONG {
    ::TerminateProcess(::GetCurrentProcess(), fault->ExceptionRecord->ExceptionCode);
    return EXCEPTION_CONTINUE_SEARCH;
  });
}

}  // namespace

struct ChildProcess::Parts {
  Handle job;
  BegunProcess begun;
  std::thread reader;
  std::mutex mutex;
  std::string said;

  void Read() {
    std::array<char, 4096> block;
    DWORD got = 0;
    while (::ReadFile(begun.reports.get(), block.data(), static_cast<DWORD>(block.size()), &got,
                      nullptr) != 0) {
      const std::lock_guard lock(mutex);
      said.append(block.data(), got);
    }
  }

  void Kill() {
    ::TerminateJobObject(job.get(), EXIT_FAILURE);
    ::TerminateProcess(begun.process.get(), EXIT_FAILURE);
    ::WaitForSingleObject(begun.process.get(), INFINITE);
    if (reader.joinable()) reader.join();
  }
};

ChildProcess::ChildProcess(const std::string& task, std::size_t limit, const Work&)
    : parts_(std::make_unique<Parts>()) {
  parts_->job = MakeJob(limit);
  if (!BeginAnew({.kind = Errand::kTask}, task, parts_->job.get(), parts_->begun))
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category());
  parts_->reader = std::thread([this] { parts_->Read(); });
}

ChildProcess::~ChildProcess() { parts_->Kill(); }

void ChildProcess::RunTask(const Work& work) {
  const Errand* const own = OwnErrand();
  if (own == nullptr || own->kind != Errand::kTask) return;
  EndByFaultsAlone();
  work(HandedOver("task"), [own](std::string_view bytes) {
    if (!WriteAll(own->reports, bytes.data(), bytes.size()))
      ::TerminateProcess(::GetCurrentProcess(), EXIT_FAILURE);
  });
  ::TerminateProcess(::GetCurrentProcess(), EXIT_SUCCESS);
}

bool ChildProcess::Finish(std::chrono::steady_clock::time_point deadline, std::string& said,
                          End& end) {
  using std::chrono::milliseconds;
  const auto left = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
  const bool has_ended =
      ::WaitForSingleObject(parts_->begun.process.get(),
                            static_cast<DWORD>(std::max<milliseconds::rep>(left.count(), 0))) ==
      WAIT_OBJECT_0;
  DWORD status = 0;
  if (has_ended) ::GetExitCodeProcess(parts_->begun.process.get(), &status);
  parts_->Kill();
  said += parts_->said;
  end.is_exit = has_ended && !IsException(status);
  end.status = static_cast<int>(status);
  if (has_ended && !end.is_exit) end.words = EndWords(status);
  return has_ended;
}

}  // namespace nvimport
