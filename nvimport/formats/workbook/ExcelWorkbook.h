#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/workbook/ExcelFile.h"
#include "nvimport/formats/workbook/ExcelFormats.h"
#include "nvimport/formats/workbook/ExcelStream.h"
#include "nvimport/formats/workbook/ExcelStrings.h"
#include "nvimport/platform/CodePages.h"

namespace nvimport {

// What reading a worksheet's cells needs of its workbook.
struct ExcelWorkbook {
  explicit ExcelWorkbook(const ExcelRules& kept) : rules(kept) {}

  ExcelRules rules;
  std::unique_ptr<BaseStream> stream;
  int version = 0;  // 0, 2, 4 and 8 for BIFF2, BIFF3, BIFF4, and BIFF5 and 8
  bool is_biff2 = false;
  bool is_biff8 = false;
  bool is_sheet_alone = false;
  bool since_1904 = false;
  int code_page = kAnsiPage;
  std::vector<ExcelXf> xfs;
  ExcelStrings strings;

  bool ReadRecord(BiffRecord& record) const { return stream->ReadRecord(longest_record(), record); }
  int longest_record() const { return is_biff8 ? 8224 : 2080; }

  void TakeCodePage(const BiffRecord& record) { code_page = record.U16(0); }

  // A text of 8-bit characters that is not in a BIFF8 string, as the rules have it.
  std::string TextOf(std::string_view stored) const;
};

}  // namespace nvimport
