#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

#include "nvimport/framework/RuledFactory.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Export.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/OutputFile.h"

namespace nvimport {

class DIFRecords;
class OemOrAnsi;

// Habits that repeat imports of old exactly. Each costs what its line says.
struct DIFRules {
  bool only_lower_case_truth = true;  // the indicators TRUE and FALSE arrive empty
  bool errors_as_empty_texts = true;  // ERROR and NA, which are missing, arrive as texts
  bool errors_not_counted = true;     // rows that end in ERROR or NA make the size too small
  bool last_row_as_size = true;       // the size announced by a read is the last row's
  bool single_byte_texts = true;      // UTF-8 and Windows-1252, what the latter lacks
  bool short_lines_only = true;       // files with a line of more than 2,023 bytes
  bool texts_on_one_line = true;      // files with a line break within a text
  bool texts_need_quotes = true;      // files with a text without quotes
  bool quotes_as_they_stand = true;   // quotes within a text are not doubled, and stay as they are

  // None of them: every cell of the file.
  static constexpr DIFRules Off() { return NoRules<DIFRules>(); }
};

// Data Interchange Format worksheets, read and written, whose texts pass as they are.
class NVIMPORT_API DIFFile : public SpreadsheetFile {
 public:
  // A reader with some of the kept rules of reading, at first with all.
  explicit DIFFile(const DIFRules& rules = {});
  DIFFile(const DIFFile&) = delete;
  DIFFile& operator=(const DIFFile&) = delete;
  ~DIFFile() override;

  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  // Read from and write to a stream of the caller's, which stays open; `title` stands for the
  // file's name.
  int Open(std::istream& stream, const char* title);
  int Open(std::ostream& stream, const char* title);
  // Only of a large file of which every cell is read.
  bool LeaveSizeOpen() override;
  int Read(ReadSpreadSheetData* sink) override;
  int Write(WriteSpreadSheetData* source) override;
  void Close() override;
  void GetErrorMessage(char* buffer, unsigned int size) override;

  // The title that a file read gives itself, at most 49 bytes.
  const std::string& GetTitle() const { return title_; }

 protected:
  // What the topics of the header say.
  int DescribeAll(Description& description) override;

  // What could not be written so that it reads back.
  struct Lossy {
    std::uint64_t breaks = 0;
    std::uint64_t characters = 0;
    std::uint64_t long_lines = 0;
  };

  // Cells that arrive otherwise than they stand in the file.
  struct Changed {
    std::uint64_t errors = 0;
    std::uint64_t utf8_texts = 0;
    std::uint64_t characters = 0;
  };

  int EstablishSize() override;

  // The kept rules that hold.
  const DIFRules& rules() const { return rules_; }
  // What the texts seem to be in, without the rule that it is always the OEM page.
  int page() const;

  // The texts of cells between the file's code page and that of sheets.
  virtual const char* ConvertFromFile(char* text, std::size_t count, Changed& changed);
  virtual std::string ConvertToFile(std::string record, Lossy& lossy) const;
  // A text cell as it is written.
  virtual std::string CellText(std::string text) const;

 private:
  enum class Mode { kNone, kReading, kWriting };
  bool BeginRecords();
  int ReadHeader();
  void LookAt(std::string_view text);
  void LookAtTexts();
  void LookAhead();
  void WriteCell(WriteSpreadSheetData& source, int column, int row, Lossy& lossy);
  void WriteRecord(std::string record, Lossy& lossy);
  void Forget();

  DIFRules rules_;
  Mode mode_ = Mode::kNone;
  InputFile input_;
  OutputFile output_;
  std::uint64_t position_ = 0;  // in the input
  std::istream* input_stream_ = nullptr;
  std::ostream* output_stream_ = nullptr;
  std::string title_;
  std::string file_title_;
  bool has_mark_ = false;  // of UTF-8
  bool leaves_size_open_ = false;
  std::unique_ptr<OemOrAnsi> pages_;     // the texts that were looked at
  bool has_looked_ = false;              // at all of them
  bool has_odd_texts_ = false;           // not all of those were ASCII
  bool has_plain_texts_ = false;         // as the records call them
  std::unique_ptr<DIFRecords> records_;  // from the beginning of the input on
};

// The same in the OEM code page: texts become those of Windows-1252.
class NVIMPORT_API DIFFileOEM : public DIFFile {
 public:
  using DIFFile::DIFFile;

 protected:
  const char* ConvertFromFile(char* text, std::size_t count, Changed& changed) override;
  std::string ConvertToFile(std::string record, Lossy& lossy) const override;
  std::string CellText(std::string text) const override;

 private:
  std::string converted_;
};

class NVIMPORT_API DiffFileOEMFactory final : public RuledFactory<DIFFileOEM, DIFRules> {
 public:
  explicit DiffFileOEMFactory(const DIFRules& rules = {});
  // Claims Unicode files as well, so that they are refused with a text of their own.
  int IsCorrectFileType(const char* path) override;
};

}  // namespace nvimport
