#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nvimport/framework/RuledFactory.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Export.h"
#include "nvimport/platform/OutputFile.h"

namespace nvimport {

class TextInput;
struct TextImportChoice;

// What repeats imports of old exactly. It costs what its line says.
struct TextRules {
  bool utf16_is_binary = true;  // texts in UTF-16

  // None of them.
  static constexpr TextRules Off() { return NoRules<TextRules>(); }
};

// Reads and writes delimited text: lines are rows, a delimiter string separates fields. There is no
// quoting and no trimming, and every field is handed on as text. Ragged rows are allowed.
class NVIMPORT_API TextFile : public SpreadsheetFile {
 public:
  // A reader with some of the kept rules of reading, at first with all.
  explicit TextFile(const TextRules& rules = {});
  // A copy takes settings, sizes and status, but not the open file.
  TextFile(const TextFile& other);
  TextFile& operator=(const TextFile& other);
  ~TextFile() override;

  // True when the file can be read and has no NUL in its first 30,768 bytes.
  static bool IsTextFile(const char* path);
  // The same of UTF-16, marked or not, and its characters.
  static bool IsUtf16TextFile(const char* path);

  // New options that make Open split by `delimiter` without asking. The caller owns the record and
  // its bytes (SpreadsheetOpenOptions::FreeOpenOptions frees those).
  static NvImportOpenOptions* GetImportOptions(const std::string& delimiter,
                                               bool ignore_consecutive);

  // The delimiter, TAB at first; it may be longer than a character. An empty one makes each line
  // one field.
  void SetDelimiter(const char* delimiter);
  // Whether a run of delimiters counts as one; not at first.
  void IgnoreConsecutiveDelimiters(bool ignore);

  // Options are the delimiter (32-bit length, bytes) and a byte 0 or 1 for ignoring consecutive
  // delimiters. Without them the user is asked. Throws an Exception when they don't parse.
  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  void Close() override;
  bool LeaveSizeOpen() override;
  int Read(ReadSpreadSheetData* sink) override;
  // Reads a rectangle; rows and columns count from 1.
  int Read(ReadSpreadSheetData* sink, int last_column, int last_row, int first_row,
           int first_column);
  // Separates by the first character of the delimiter; texts are written as they are.
  int Write(WriteSpreadSheetData* source) override;
  void GetErrorMessage(char* buffer, unsigned int size) override;

 protected:
  // Takes the choice from `options` or from the user. False when there is none.
  virtual bool SetOptions(NvImportOpenOptions* options);
  // Its encoding where the bytes show it, its line ends, and the delimiter if it separates
  // anything.
  int DescribeAll(Description& description) override;

 private:
  enum class Mode { kClosed, kReading, kWriting };

  // What a walk through the cells met.
  struct Walked {
    std::uint64_t cut_lines = 0;
    int lines = 0;
    int columns = 0;
    bool to_the_end = false;
  };

  int EstablishSize() override;
  int ReadCells(ReadSpreadSheetData* sink, int last_column, int last_row, int first_row,
                int first_column, Walked& walked);
  // Reads a rectangle, its size announced where it is known, and writes the notes on it.
  Walked ReadAnnounced(ReadSpreadSheetData* sink, int last_column, int last_row, int first_row,
                       int first_column);
  std::vector<std::vector<std::string>> Preview(const TextImportChoice& choice, int rows,
                                                int columns);

  TextRules rules_;
  Mode mode_ = Mode::kClosed;
  bool ignore_consecutive_ = false;
  bool leaves_size_open_ = false;
  std::string delimiter_ = "\t";
  std::string path_;
  std::unique_ptr<TextInput> input_;
  OutputFile output_;
  std::vector<unsigned char> options_;  // handed out through the record given to Open
};

class NVIMPORT_API TextFileFactory final : public RuledFactory<TextFile, TextRules> {
 public:
  explicit TextFileFactory(const TextRules& rules = {});
  int IsCorrectFileType(const char* path) override;
};

}  // namespace nvimport
