#include "nvimport/platform/windows/Begun.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <thread>
#include <vector>

#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/ByteWriter.h"
#include "nvimport/platform/HandOver.h"
#include "nvimport/platform/Immortal.h"
#include "nvimport/platform/System.h"
#include "nvimport/platform/windows/Stopping.h"
#include "nvimport/platform/windows/WideText.h"

namespace nvimport {

namespace {

// Tells a process its handle of the memory with the errand and the texts.
constexpr const wchar_t* kVariable = L"NVIMPORT_BEGUN_ANEW";
constexpr const char* kTask = "task";
constexpr DWORD kStopped = 1;

struct Handed {
  Errand errand;
  std::map<std::string, std::string> texts;
};

// In the parent's memory there are the sizes of both, the errand, and pairs of names and texts.
std::optional<Handed> TakeHanded() {
  wchar_t number[32];
  const DWORD size = ::GetEnvironmentVariableW(kVariable, number, 32);
  if (size == 0 || size >= 32) return std::nullopt;
  ::SetEnvironmentVariableW(kVariable, nullptr);  // what this process begins is none of it
  const auto handle =
      reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(std::wcstoull(number, nullptr, 10)));
  const void* const view = ::MapViewOfFile(handle, FILE_MAP_READ, 0, 0, 0);
  if (view == nullptr) return std::nullopt;
  Handed handed;
  const char* const bytes = static_cast<const char*>(view);
  std::memcpy(&handed.errand, bytes, sizeof handed.errand);
  const auto count = LoadLittle<std::uint64_t>(bytes + sizeof handed.errand);
  ByteReader reader({bytes + sizeof handed.errand + sizeof count, static_cast<std::size_t>(count)});
  const auto text = [&] { return std::string(reader.Text(reader.U32())); };
  while (reader.ok() && reader.remaining() > 0) {
    const std::string name = text();
    handed.texts[name] = text();
  }
  ::UnmapViewOfFile(view);
  ::CloseHandle(handle);
  // Ends with its parent, or when that one says so.
  std::thread([stop = handed.errand.stop, parent = handed.errand.parent] {
    const HANDLE both[] = {stop, parent};
    ::WaitForMultipleObjects(2, both, FALSE, INFINITE);
    EndFromOutside(kStopped);
  }).detach();
  return handed;
}

const std::optional<Handed>& TheHanded() {
  static const std::optional<Handed> handed = TakeHanded();
  return handed;
}

using Texts = std::map<std::string, std::function<std::string()>>;

Handle MakeInheritable(HANDLE handle) {
  if (handle == INVALID_HANDLE_VALUE) handle = nullptr;
  if (handle != nullptr) ::SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  return Handle(handle);
}

Handle MakeHanded(const Errand& errand, const std::string& task) {
  ByteWriter writer;
  const auto add = [&](const std::string& name, const std::string& text) {
    writer.WriteBinaryString(name);
    writer.WriteBinaryString(text);
  };
  for (const auto& [name, text] : Immortal<Texts>()) add(name, text());
  if (!task.empty()) add(kTask, task);
  const std::string& texts = writer.bytes();
  const std::uint64_t count = texts.size();
  const std::uint64_t size = sizeof errand + sizeof count + count;
  Handle memory = MakeInheritable(
      ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE,
                           static_cast<DWORD>(size >> 32), static_cast<DWORD>(size), nullptr));
  char* const view =
      memory != nullptr ? static_cast<char*>(::MapViewOfFile(memory.get(), FILE_MAP_WRITE, 0, 0, 0))
                        : nullptr;
  if (view == nullptr) return nullptr;
  std::memcpy(view, &errand, sizeof errand);
  std::memcpy(view + sizeof errand, &count, sizeof count);
  std::memcpy(view + sizeof errand + sizeof count, texts.data(), texts.size());
  ::UnmapViewOfFile(view);
  return memory;
}

// The start of a process that inherits these handles and no others.
class Start {
 public:
  explicit Start(std::vector<HANDLE> handles) : handles_(std::move(handles)) {
    std::erase(handles_, nullptr);
    std::erase(handles_, INVALID_HANDLE_VALUE);
    std::ranges::sort(handles_);
    handles_.erase(std::unique(handles_.begin(), handles_.end()), handles_.end());
    SIZE_T size = 0;
    ::InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    room_.resize(size);
    list_ = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(room_.data());
    ::InitializeProcThreadAttributeList(list_, 1, 0, &size);
    ::UpdateProcThreadAttribute(list_, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                handles_.size() * sizeof(HANDLE), nullptr, nullptr);
  }
  Start(const Start&) = delete;
  Start& operator=(const Start&) = delete;
  ~Start() { ::DeleteProcThreadAttributeList(list_); }

  LPPROC_THREAD_ATTRIBUTE_LIST list() const { return list_; }

 private:
  std::vector<HANDLE> handles_;
  std::vector<char> room_;
  LPPROC_THREAD_ATTRIBUTE_LIST list_;
};

// Of this process, for others: the one of its own is no handle that they could have.
Handle Inheritable(HANDLE handle) {
  HANDLE copy = nullptr;
  const HANDLE own = ::GetCurrentProcess();
  ::DuplicateHandle(own, handle, own, &copy, 0, TRUE, DUPLICATE_SAME_ACCESS);
  return Handle(copy);
}

std::wstring OwnProgram() {
  constexpr std::size_t kLongest = 32'768;
  std::wstring path(kLongest, L'\0');
  path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

}  // namespace

bool IsBegunAnew() { return TheHanded().has_value(); }

void HandOver(const std::string& name, std::function<std::string()> text) {
  Immortal<Texts>()[name] = std::move(text);
}

std::string HandedOver(const std::string& name) {
  if (!IsBegunAnew()) return {};
  const auto found = TheHanded()->texts.find(name);
  return found != TheHanded()->texts.end() ? found->second : std::string();
}

const Errand* OwnErrand() { return IsBegunAnew() ? &TheHanded()->errand : nullptr; }

Handle MakeJob(std::size_t memory) {
  Handle job(::CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  if (memory > 0) {
    limits.BasicLimitInformation.LimitFlags |= JOB_OBJECT_LIMIT_PROCESS_MEMORY;
    limits.ProcessMemoryLimit = memory;
  }
  if (job != nullptr)
    ::SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
  return job;
}

bool BeginAnew(Errand errand, const std::string& task, HANDLE job, BegunProcess& begun) {
  HANDLE from = nullptr;
  HANDLE to = nullptr;
  if (::CreatePipe(&from, &to, nullptr, 0) == 0) return false;
  begun.reports.reset(from);
  const Handle reports = MakeInheritable(to);
  begun.stop = MakeInheritable(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
  const Handle parent = Inheritable(::GetCurrentProcess());
  errand.reports = reports.get();
  errand.stop = begun.stop.get();
  errand.parent = parent.get();
  const Handle handed = MakeHanded(errand, task);
  if (handed == nullptr) return false;

  const Handle nothing =
      MakeInheritable(::CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, OPEN_EXISTING, 0, nullptr));
  const Handle errors = Inheritable(::GetStdHandle(STD_ERROR_HANDLE));
  const Handle output =
      errand.kind == Errand::kTask ? nullptr : Inheritable(::GetStdHandle(STD_OUTPUT_HANDLE));
  const Start start({reports.get(), errand.stop, errand.parent, errand.memory, errand.leaves,
                     handed.get(), nothing.get(), errors.get(), output.get()});
  STARTUPINFOEXW info{};
  info.StartupInfo.cb = sizeof info;
  info.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  info.StartupInfo.hStdInput = nothing.get();
  info.StartupInfo.hStdOutput = output != nullptr ? output.get() : errors.get();
  info.StartupInfo.hStdError = errors.get();
  info.lpAttributeList = start.list();
  const auto number = std::to_wstring(reinterpret_cast<std::uintptr_t>(handed.get()));
  std::wstring command = ::GetCommandLineW();
  ::SetEnvironmentVariableW(kVariable, number.c_str());
  PROCESS_INFORMATION process{};
  const bool is_begun = ::CreateProcessW(OwnProgram().c_str(), command.data(), nullptr, nullptr,
                                         TRUE, CREATE_SUSPENDED | EXTENDED_STARTUPINFO_PRESENT,
                                         nullptr, nullptr, &info.StartupInfo, &process) != 0;
  ::SetEnvironmentVariableW(kVariable, nullptr);
  if (!is_begun) return false;
  begun.process.reset(process.hProcess);
  const Handle thread(process.hThread);
  ::AssignProcessToJobObject(job, process.hProcess);
  ::ResumeThread(thread.get());
  return true;
}

bool WriteAll(HANDLE to, const char* bytes, std::size_t count) {
  while (count > 0) {
    DWORD written = 0;
    const auto most = static_cast<DWORD>(std::min<std::size_t>(count, 1U << 30));
    if (::WriteFile(to, bytes, most, &written, nullptr) == 0) return false;
    bytes += written;
    count -= written;
  }
  return true;
}

bool IsException(unsigned long status) { return status >> 28 == 0xc; }

std::string EndWords(unsigned long status) {
  if (!IsException(status)) return "exit " + std::to_string(status);
  constexpr int kHex = 16;
  char digits[kHex];
  const auto end = std::to_chars(digits, digits + kHex, status, kHex);
  return "exception 0x" + std::string(digits, end.ptr);
}

}  // namespace nvimport
