#pragma once

#include <string>

namespace nvimport {

struct Settings;

// Checks a library against the contract of plug-ins; returns the command's exit code.
int RunCheckPlugin(const Settings& settings);

// What is checked, for the command's help.
std::string PluginCheckList();

}  // namespace nvimport
