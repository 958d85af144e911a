#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <iostream>
#include <locale>
#include <stdexcept>
#include <string_view>

// The C library never frees its copy of LOCPATH.
extern "C" const char* __lsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier)
  return "leak:argz_add_sep";
}

// The tests run under the caller's locale: nothing that the library reads or writes may follow it.
int main(int argc, char** argv) {
  std::setlocale(LC_ALL, "");
  if (std::getenv("NVIMPORT_TEST_DECIMAL_COMMA") != nullptr &&
      std::localeconv()->decimal_point != std::string_view(",")) {
    std::cerr << "The locale has no decimal comma.\n";
    return 1;
  }
  try {
    std::locale::global(std::locale(""));
  } catch (const std::runtime_error&) {
    // Where the standard library knows none but the classic one.
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
