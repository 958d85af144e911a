#pragma once

#include <string>
#include <string_view>

// Classes and functions of a host, or of a library that has nothing to do with NvImport, which have
// the names of NvImport's own.
#define NAME_TWINS                  \
  class CsvFile {                   \
   public:                          \
    virtual ~CsvFile();             \
    virtual void Load();            \
  };                                \
  class TextFile : public CsvFile { \
   public:                          \
    TextFile();                     \
    void Load() override;           \
  };                                \
  class Exception {                 \
   public:                          \
    virtual ~Exception();           \
    virtual void Show();            \
  };                                \
  class FormatRegistry {            \
   public:                          \
    static FormatRegistry& Own();   \
    virtual ~FormatRegistry();      \
  };                                \
  std::string FileName(std::string_view path);

NAME_TWINS
namespace nvimport {
NAME_TWINS
}

// Uses each of them; what it returns is true.
bool UseTwins();
