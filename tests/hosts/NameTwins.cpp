#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

// Classes and functions of a host, or of a library that has nothing to do with NvImport, which have
// the names of NvImport's own. None of their bodies may be called by the library.
#define TWINS                                             \
  class CsvFile {                                         \
   public:                                                \
    virtual ~CsvFile();                                   \
    virtual void Load();                                  \
  };                                                      \
  class TextFile : public CsvFile {                       \
   public:                                                \
    TextFile();                                           \
    void Load() override;                                 \
  };                                                      \
  class Exception {                                       \
   public:                                                \
    virtual ~Exception();                                 \
    virtual void Show();                                  \
  };                                                      \
  class FormatRegistry {                                  \
   public:                                                \
    static FormatRegistry& Own();                         \
    virtual ~FormatRegistry();                            \
  };                                                      \
  std::string FileName(std::string_view path);            \
  CsvFile::~CsvFile() = default;                          \
  void CsvFile::Load() { std::abort(); }                  \
  TextFile::TextFile() = default;                         \
  void TextFile::Load() { std::abort(); }                 \
  Exception::~Exception() = default;                      \
  void Exception::Show() { std::abort(); }                \
  FormatRegistry& FormatRegistry::Own() { std::abort(); } \
  FormatRegistry::~FormatRegistry() = default;            \
  std::string FileName(std::string_view) { return "the twin's"; }

TWINS
namespace nvimport {
TWINS
}

bool UseTwins() {
  const std::unique_ptr<::CsvFile> file = std::make_unique<::TextFile>();
  const std::unique_ptr<nvimport::CsvFile> other = std::make_unique<nvimport::TextFile>();
  const ::Exception exception;
  const nvimport::Exception other_exception;
  return file != nullptr && other != nullptr && ::FileName("a") == nvimport::FileName("a");
}
