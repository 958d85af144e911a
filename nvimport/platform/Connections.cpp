#include "nvimport/platform/Connections.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlank);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlank) + 1 - first);
}

// The keys and values of a connection; a value in braces may hold semicolons.
std::vector<std::pair<std::string_view, std::string_view>> PairsOf(std::string_view connection) {
  std::vector<std::pair<std::string_view, std::string_view>> pairs;
  while (!connection.empty()) {
    const std::size_t equals = connection.find('=');
    if (equals == std::string_view::npos) break;
    // What stands before has no value.
    const std::string_view before = connection.substr(0, equals);
    const std::string_view key = Trimmed(before.substr(before.rfind(';') + 1));
    connection.remove_prefix(equals + 1);
    std::size_t end = 0;
    if (connection.starts_with('{')) {
      for (end = 1; end < connection.size(); ++end)
        if (connection[end] == '}' && !connection.substr(end).starts_with("}}"))
          break;
        else if (connection[end] == '}')
          ++end;
    }
    end = std::min(connection.find(';', std::min(end, connection.size())), connection.size());
    pairs.emplace_back(key, Trimmed(connection.substr(0, end)));
    connection.remove_prefix(std::min(end + 1, connection.size()));
  }
  return pairs;
}

}  // namespace

std::string ConnectionValue(std::string_view connection, std::string_view key) {
  for (const auto& [name, value] : PairsOf(connection))
    if (EqualIgnoringCase(name, key)) return std::string(value);
  return {};
}

std::string WithoutSecrets(std::string_view connection) {
  std::string shown;
  for (const auto& [name, value] : PairsOf(connection)) {
    std::string lower(name);
    std::ranges::transform(lower, lower.begin(), Lower);
    // In what a brace begins and none ends there may be anything.
    const bool is_open = value.starts_with('{') && !value.ends_with('}');
    const bool is_secret = is_open || lower == "pwd" || lower.find("pass") != std::string::npos ||
                           lower.find("secret") != std::string::npos ||
                           lower.find("token") != std::string::npos;
    if (!is_secret) shown.append(shown.empty() ? "" : ";").append(name).append("=").append(value);
  }
  return shown;
}

}  // namespace nvimport
