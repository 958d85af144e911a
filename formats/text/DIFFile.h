#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "framework/SprFileFactory.h"
#include "framework/SpreadsheetFile.h"
#include "platform/Export.h"
#include "platform/InputFile.h"
#include "platform/OutputFile.h"

// Habits that repeat imports of old exactly. Each costs cells.
struct DIFRules {
  bool only_lower_case_truth = true;  // the indicators TRUE and FALSE arrive empty
};

// Data Interchange Format worksheets, read and written, whose texts pass as they are.
class NVIMPORT_API DIFFile : public SpreadsheetFile {
 public:
  explicit DIFFile(DIFRules rules = {}) : rules_(rules) {}
  DIFFile(const DIFFile&) = delete;
  DIFFile& operator=(const DIFFile&) = delete;
  ~DIFFile() override;

  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  // Read from and write to a stream of the caller's, which stays open; `title` stands for the
  // file's name.
  int Open(std::istream& stream, const char* title);
  int Open(std::ostream& stream, const char* title);
  int Read(ReadSpreadSheetData* sink) override;
  int Write(WriteSpreadSheetData* source) override;
  void Close() override;
  void GetErrorMessage(char* buffer, unsigned int size) override;

  // The title that a file read gives itself, at most 49 bytes.
  const std::string& GetTitle() const { return title_; }

 protected:
  // What could not be written so that it reads back.
  struct Lossy {
    std::uint64_t breaks = 0;
    std::uint64_t characters = 0;
    std::uint64_t long_lines = 0;
  };

  int EstablishSize() override;

  // The texts of cells between the file's code page and that of sheets.
  virtual void ConvertFromFile(char* text, std::size_t count) const;
  virtual std::string ConvertToFile(std::string record, Lossy& lossy) const;
  // A text cell as it is written.
  virtual std::string CellText(std::string text) const;

 private:
  enum class Mode { kNone, kReading, kWriting };
  enum Kind : int {
    kError = 0,
    kTable = 1,
    kVectors = 2,
    kTuples = 3,
    kData = 4,
    kBeginning = 5,
    kEnd = 6,
    kText = 7,
    kNumber = 8,
    kOtherTopic = 9,
    kNoValue = 9,
    kSkipped = 10
  };
  // A line, NUL-terminated and without its break.
  struct Line {
    char* text = nullptr;
    std::size_t size = 0;
    std::string_view view() const { return {text, size}; }
  };

  bool Rewind();
  // Has the lines of an entry in the buffer, as far as the file goes.
  void Prepare();
  // The next line; false when there is none or it is too long. It lasts until the next entry.
  bool GetLine(Line& line);
  bool GetLongLine(Line& line);
  // Takes a line, whose size is found, with its break.
  void EndLine(Line& line);
  int ReadDIFHeaderEntry(Line& text);
  int ReadHeader();
  // The value is that of a text or number, else empty.
  int ReadDIFRecord(Line& value);
  int TakeNumber(std::string_view indicator, Line& value);
  void WriteCell(WriteSpreadSheetData& source, int column, int row, Lossy& lossy);
  void WriteRecord(std::string record, Lossy& lossy);
  void Forget();

  DIFRules rules_;
  Mode mode_ = Mode::kNone;
  InputFile input_;
  OutputFile output_;
  std::istream* input_stream_ = nullptr;
  std::ostream* output_stream_ = nullptr;
  std::string title_;
  std::string file_title_;
  std::uint64_t upper_case_truths_ = 0;

  std::vector<char> buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool at_end_ = false;  // of the file
};

// The same in the OEM code page: texts become those of Windows-1252.
class NVIMPORT_API DIFFileOEM : public DIFFile {
 public:
  using DIFFile::DIFFile;

 protected:
  void ConvertFromFile(char* text, std::size_t count) const override;
  std::string ConvertToFile(std::string record, Lossy& lossy) const override;
  std::string CellText(std::string text) const override;
};

class NVIMPORT_API DiffFileOEMFactory final : public SprFileFactory {
 public:
  DiffFileOEMFactory();
  // Claims Unicode files as well, so that they are refused with a text of their own.
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};
