#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace nvimport {

// Processes that serve this one (see HandOver.h), numbered from 0, with a piece of memory that all
// of them see.
class Workers {
 public:
  using Milliseconds = std::chrono::milliseconds;

  // `prepare` makes what is in the memory, before any worker is there. At first there are so many
  // `leaves` to be had.
  Workers(std::size_t count, std::size_t memory, unsigned leaves,
          const std::function<void(void*)>& prepare);
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;
  // All have been buried.
  ~Workers();

  // Null where the system has none to share.
  void* memory() const;

  // Starts one, which runs `serve` and ends. Whether it could.
  bool Start(std::size_t worker, const std::function<void()>& serve);
  // In a worker that was begun anew: runs `serve` for its number, and ends.
  void ServeIfOne(const std::function<void(std::size_t)>& serve);

  // In a worker: takes a leave, for which it waits; sends bytes, which fails where nobody is left
  // to have them.
  void TakeLeave();
  bool Send(std::string_view bytes);

  void GiveLeave();
  bool Lives(std::size_t worker) const;
  // Until one that lives has sent something or has ended, at most so long; for ever below 0. False
  // where it is not known.
  bool Wait(Milliseconds most);
  // Whether there is something to receive, if only the end.
  bool HasNews(std::size_t worker);
  // False where no more comes.
  bool Receive(std::size_t worker, void* into, std::size_t count);

  // Asks it to end.
  void AskToEnd(std::size_t worker);
  // The same, and ends it when it has had a moment to remove what it had begun to write.
  void End(std::size_t worker);
  // Waits for its end, and says what it was: "ended by exit 1".
  std::string Bury(std::size_t worker);

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace nvimport
