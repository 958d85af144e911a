#include "nvimport/platform/Workers.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "nvimport/platform/windows/Begun.h"

namespace nvimport {

namespace {

// What a worker has sent and nobody has received yet, which a thread takes from its pipe: no wait
// is for several pipes.
struct Inbox {
  std::string bytes;
  std::size_t taken = 0;
  bool has_ended = false;
  bool has_news() const { return taken < bytes.size() || has_ended; }
};

}  // namespace

struct Workers::Parts {
  struct Worker {
    BegunProcess begun;
    std::thread reader;
    Inbox inbox;
  };

  Handle mapping;
  Handle leaves;
  Handle job;
  void* memory = nullptr;
  std::vector<std::unique_ptr<Worker>> workers;
  std::mutex mutex;  // of the inboxes
  std::condition_variable news;

  void Read(Worker& worker) {
    std::array<char, 64 * 1024> block;
    DWORD got = 0;
    while (::ReadFile(worker.begun.reports.get(), block.data(), static_cast<DWORD>(block.size()),
                      &got, nullptr) != 0) {
      const std::lock_guard lock(mutex);
      worker.inbox.bytes.append(block.data(), got);
      news.notify_all();
    }
    const std::lock_guard lock(mutex);
    worker.inbox.has_ended = true;
    news.notify_all();
  }
};

Workers::Workers(std::size_t count, std::size_t memory, unsigned leaves,
                 const std::function<void(void*)>& prepare)
    : parts_(std::make_unique<Parts>()) {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  const Errand* const own = OwnErrand();
  if (own != nullptr) {
    parts_->mapping.reset(own->memory);
    parts_->leaves.reset(own->leaves);
  } else {
    constexpr LONG kMost = 1 << 30;
    parts_->mapping.reset(::CreateFileMappingW(INVALID_HANDLE_VALUE, &inherited, PAGE_READWRITE, 0,
                                               static_cast<DWORD>(memory), nullptr));
    parts_->leaves.reset(::CreateSemaphoreW(&inherited, static_cast<LONG>(leaves), kMost, nullptr));
    parts_->job = MakeJob(0);
  }
  if (parts_->mapping == nullptr || parts_->leaves == nullptr) return;
  parts_->memory = ::MapViewOfFile(parts_->mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, 0);
  parts_->workers.resize(count);
  if (parts_->memory != nullptr && own == nullptr) prepare(parts_->memory);
}

Workers::~Workers() {
  if (parts_->memory != nullptr) ::UnmapViewOfFile(parts_->memory);
}

void* Workers::memory() const { return parts_->memory; }

bool Workers::Start(std::size_t worker, const std::function<void()>&) {
  if (parts_->memory == nullptr) return false;
  auto begun = std::make_unique<Parts::Worker>();
  const Errand errand{.kind = Errand::kServe,
                      .number = worker,
                      .memory = parts_->mapping.get(),
                      .leaves = parts_->leaves.get()};
  if (!BeginAnew(errand, "", parts_->job.get(), begun->begun)) return false;
  Parts::Worker& started = *begun;
  parts_->workers[worker] = std::move(begun);
  started.reader = std::thread([this, &started] { parts_->Read(started); });
  return true;
}

void Workers::ServeIfOne(const std::function<void(std::size_t)>& serve) {
  const Errand* const own = OwnErrand();
  if (own == nullptr) return;
  serve(own->number);
  // As a copy of a process ends: what the first one has begun is not its own.
  ::TerminateProcess(::GetCurrentProcess(), EXIT_SUCCESS);
}

void Workers::TakeLeave() { ::WaitForSingleObject(parts_->leaves.get(), INFINITE); }

bool Workers::Send(std::string_view bytes) {
  return WriteAll(OwnErrand()->reports, bytes.data(), bytes.size());
}

void Workers::GiveLeave() {
  if (parts_->leaves != nullptr) ::ReleaseSemaphore(parts_->leaves.get(), 1, nullptr);
}

bool Workers::Lives(std::size_t worker) const {
  return worker < parts_->workers.size() && parts_->workers[worker] != nullptr;
}

bool Workers::Wait(Milliseconds most) {
  const auto has_news = [this] {
    return std::ranges::any_of(parts_->workers, [](const auto& worker) {
      return worker != nullptr && worker->inbox.has_news();
    });
  };
  std::unique_lock lock(parts_->mutex);
  if (most.count() < 0)
    parts_->news.wait(lock, has_news);
  else
    parts_->news.wait_for(lock, most, has_news);
  return true;
}

bool Workers::HasNews(std::size_t worker) {
  const std::lock_guard lock(parts_->mutex);
  return parts_->workers[worker]->inbox.has_news();
}

bool Workers::Receive(std::size_t worker, void* into, std::size_t count) {
  Inbox& inbox = parts_->workers[worker]->inbox;
  std::unique_lock lock(parts_->mutex);
  parts_->news.wait(lock,
                    [&] { return inbox.has_ended || inbox.bytes.size() - inbox.taken >= count; });
  if (inbox.bytes.size() - inbox.taken < count) return false;
  std::memcpy(into, inbox.bytes.data() + inbox.taken, count);
  inbox.taken += count;
  if (inbox.taken == inbox.bytes.size()) {
    inbox.bytes.clear();
    inbox.taken = 0;
  }
  return true;
}

void Workers::AskToEnd(std::size_t worker) {
  ::SetEvent(parts_->workers[worker]->begun.stop.get());
}

void Workers::End(std::size_t worker) {
  constexpr DWORD kMoment = 1000;
  const HANDLE process = parts_->workers[worker]->begun.process.get();
  AskToEnd(worker);
  if (::WaitForSingleObject(process, kMoment) != WAIT_OBJECT_0)
    ::TerminateProcess(process, EXIT_FAILURE);
}

std::string Workers::Bury(std::size_t worker) {
  const std::unique_ptr<Parts::Worker> dead = std::move(parts_->workers[worker]);
  DWORD status = 0;
  ::WaitForSingleObject(dead->begun.process.get(), INFINITE);
  ::GetExitCodeProcess(dead->begun.process.get(), &status);
  dead->reader.join();
  return "ended by " + EndWords(status);
}

}  // namespace nvimport
