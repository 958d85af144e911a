#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace nvimport {

// Converts texts between an encoding and UTF-8 by the system's tables.
class TextTables {
 public:
  // One of the two is "UTF-8".
  TextTables(const std::string& to, const std::string& from);

  bool is_known() const { return handle_ != nullptr; }

  // Appends `text` in the other encoding; what can't be converted becomes `replacement`. Whether
  // there was nothing of that.
  bool Append(std::string& out, std::string_view text, std::string_view replacement) const;

 private:
  struct Close {
    void operator()(void* handle) const;
  };
  std::unique_ptr<void, Close> handle_;
  bool from_utf8_;
};

}  // namespace nvimport
