#pragma once

#include <span>
#include <string>

#include "apps/nvimport/PluginDriver.h"

namespace nvimport {

// The checks of a library against the contract of plug-ins.

struct PluginCheck {
  const char* name;
  const char* does;
  enum Subject { kLibrary, kEachFormat } subject;
  // What the contract leaves open can only end in warnings.
  enum Weight { kAsked, kLeftOpen } weight;
  void (*run)(PluginDriver& driver);
  int processes = 1;  // that run it at the same time
};

// Those of loading and listing come first: the others need what they tell.
std::span<const PluginCheck> PluginChecks();

// Runs a check of the library at the absolute path `library`, for the format numbered `format` if
// it is about one, in a process that may not survive it. The library stays loaded.
void RunPluginCheck(const PluginCheck& check, const std::string& library, int format,
                    const PluginFiles& files, const SayPluginNews& say);

}  // namespace nvimport
