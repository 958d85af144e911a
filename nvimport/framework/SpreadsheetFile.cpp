#include "nvimport/framework/SpreadsheetFile.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>

#include "nvimport/framework/Description.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/NvApp.h"

namespace nvimport {

namespace {

constexpr StatusText kTexts[] = {
    {kNotImplemented, "This function is not implemented for this file format."},
    {kNoSize, "An error occurred when trying to establish the size of the data in the file."},
    {kWrongMode, "Tried to write to the file when it was opened for reading or vice versa."},
    {kCancelled, "AbortedByUser"},
    {kOverBudget, "The file would take more memory or time than a file of its size may."},
};
static_assert(WellFormed(kTexts, kNotImplemented, kOverBudget));

void Copy(const char* text, char* buffer, unsigned int size) {
  if (size == 0) return;
  const std::size_t copied = std::min<std::size_t>(std::strlen(text) + 1, size);
  std::memcpy(buffer, text, copied);
  buffer[copied - 1] = '\0';
}

const StatusText* Find(std::span<const StatusText> texts, int status) {
  for (const StatusText& entry : texts)
    if (entry.status == status) return &entry;
  return nullptr;
}

}  // namespace

SpreadsheetFile::~SpreadsheetFile() = default;

void SpreadsheetFile::Close() {
  status_ = kGood;
  num_cols_ = -1;
  num_rows_ = -1;
  size_established_ = false;
}

int SpreadsheetFile::GetNumCols() {
  if (!size_established_ && EstablishSize() != kGood) return -1;
  return num_cols_;
}

int SpreadsheetFile::GetNumRows() {
  if (!size_established_ && EstablishSize() != kGood) return -1;
  return num_rows_;
}

bool SpreadsheetFile::LeaveSizeOpen() { return false; }

int SpreadsheetFile::GetStatus() { return status_; }

void SpreadsheetFile::GetErrorMessage(char* buffer, unsigned int size) {
  if (status_ == kGood) return Copy("", buffer, size);
  if (!CopyText(kTexts, buffer, size)) Copy("No further information available.", buffer, size);
}

const char* SpreadsheetFile::GetWarningMessage() { return nullptr; }

int SpreadsheetFile::Describe(Description& description) {
  return description.of_x_alone() && !HasX() ? GetStatus() : DescribeAll(description);
}

int SpreadsheetFile::DescribeAll(Description&) { return GetStatus(); }

int SpreadsheetFile::Write(WriteSpreadSheetData*) { return status_ = kNotImplemented; }

int SpreadsheetFile::operator!() const { return status_; }

int SpreadsheetFile::Fail(int status) {
  if (status_ == kGood) status_ = status;
  return status_;
}

int SpreadsheetFile::RefuseOptions(std::string_view source, std::string_view key,
                                   std::string_view value) {
  LogRefusedOption(source, key, value);
  return Fail(kInvalidOptions);
}

int SpreadsheetFile::SetSize(std::uint64_t columns, std::uint64_t rows) {
  if (columns > INT_MAX || rows > INT_MAX) return Fail(kNoSize);
  num_cols_ = static_cast<int>(columns);
  num_rows_ = static_cast<int>(rows);
  size_established_ = true;
  return kGood;
}

int SpreadsheetFile::TakeFinalSize(ReadSpreadSheetData& sink, int columns, int rows) {
  sink.SetDataSize(columns, rows);
  return SetSize(static_cast<std::uint64_t>(columns), static_cast<std::uint64_t>(rows));
}

bool SpreadsheetFile::CopyText(std::span<const StatusText> texts, char* buffer,
                               unsigned int size) const {
  const StatusText* entry = Find(texts, status_);
  if (entry != nullptr) Copy(entry->text, buffer, size);
  return entry != nullptr;
}

bool SpreadsheetFile::CopyNamingText(std::span<const StatusText> texts, char* buffer,
                                     unsigned int size) const {
  const StatusText* entry = Find(texts, status_);
  if (entry == nullptr) return false;
  std::string text = entry->text;
  const std::string name = NvApp::GetName();
  for (std::size_t at = 0; (at = text.find("%s", at)) != std::string::npos; at += name.size())
    text.replace(at, 2, name);
  Copy(text.c_str(), buffer, size);
  return true;
}

}  // namespace nvimport
