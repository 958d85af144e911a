#pragma once

#include <cstdint>

#include "nvimport/platform/Export.h"

namespace nvimport {

// Follows the bytes of a file as they are read or written, and can stop the work. A host installs
// one for the length of an operation; the file layer reports to it block by block.
class NVIMPORT_API Progress {
 public:
  virtual ~Progress();

  // Called at most some thirty times a second with the position in the file now at work and its
  // size (0 when it is not known). False stops: the file's next block fails, and every one after
  // it until another Progress is installed.
  virtual bool Advance(std::uint64_t position, std::uint64_t size) = 0;

  // Makes `progress` the one that this thread reports to (null for none) and returns the one before
  // it. A thread that installed none reports to that of the thread that was the first to.
  static Progress* Install(Progress* progress);

  // The same for the length of an operation of this thread, of which others see nothing.
  static Progress* InstallForThread(Progress* progress);

  // For the file layer: reports, and tells whether to go on.
  static bool Report(std::uint64_t position, std::uint64_t size);

  // The same for work whose files are read elsewhere: reports the last position once more.
  static bool Poll();
};

}  // namespace nvimport
