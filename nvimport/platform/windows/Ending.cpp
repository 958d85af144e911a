#include "nvimport/platform/Ending.h"

#include <windows.h>

#include <csignal>
#include <mutex>

#include "nvimport/platform/Immortal.h"
#include "nvimport/platform/windows/Stopping.h"

namespace nvimport {

namespace {

constexpr DWORD kInterrupted = 0xc000013a;  // what the system ends interrupted programs with
constexpr DWORD kAborted = 3;               // and the C library those that abort

std::recursive_mutex& Holding() { return Immortal<std::recursive_mutex>(); }

// In a thread that the system makes.
BOOL WINAPI EndByConsole(DWORD) { EndFromOutside(kInterrupted); }

LONG WINAPI EndByFault(EXCEPTION_POINTERS* fault) {
  RemoveNoted();
  ::TerminateProcess(::GetCurrentProcess(), fault->ExceptionRecord->ExceptionCode);
  return EXCEPTION_CONTINUE_SEARCH;
}

extern "C" void EndByAbort(int) {
  RemoveNoted();
  ::TerminateProcess(::GetCurrentProcess(), kAborted);
}

}  // namespace

void EndFromOutside(unsigned long status) {
  Holding().lock();
  RemoveNoted();
  ::TerminateProcess(::GetCurrentProcess(), status);
  ::Sleep(INFINITE);
  __builtin_unreachable();
}

void RemoveNotedAtEnd() {
  ::SetConsoleCtrlHandler(EndByConsole, TRUE);
  // Nobody stands by to close a window about it.
  ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  ::SetUnhandledExceptionFilter(EndByFault);
  ::signal(SIGABRT, EndByAbort);
}

EndHeld::EndHeld() { Holding().lock(); }

EndHeld::~EndHeld() { Holding().unlock(); }

}  // namespace nvimport
