#include "tests/hosts/NameTwins.h"

#include <cstdlib>
#include <memory>

// None of these may be called by the library.
#define DEFINE_TWINS                                      \
  CsvFile::~CsvFile() = default;                          \
  void CsvFile::Load() { std::abort(); }                  \
  TextFile::TextFile() = default;                         \
  void TextFile::Load() { std::abort(); }                 \
  Exception::~Exception() = default;                      \
  void Exception::Show() { std::abort(); }                \
  FormatRegistry& FormatRegistry::Own() { std::abort(); } \
  FormatRegistry::~FormatRegistry() = default;            \
  std::string FileName(std::string_view) { return "the twin's"; }

DEFINE_TWINS
namespace nvimport {
DEFINE_TWINS
}

bool UseTwins() {
  const std::unique_ptr<::CsvFile> file = std::make_unique<::TextFile>();
  const std::unique_ptr<nvimport::CsvFile> other = std::make_unique<nvimport::TextFile>();
  const ::Exception exception;
  const nvimport::Exception other_exception;
  return file != nullptr && other != nullptr && ::FileName("a") == nvimport::FileName("a");
}
