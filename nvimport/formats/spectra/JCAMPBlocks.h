#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

#include "nvimport/formats/spectra/JCAMPData.h"
#include "nvimport/formats/spectra/JCAMPRules.h"

namespace nvimport {

class JCAMPLines;

// The blocks of one or several files in their order, found by their labels.
class JCAMPBlocks {
 public:
  explicit JCAMPBlocks(JCAMPRules rules = {}) : rules_(rules) {}

  // Adds the blocks of the next file. Returns a JCAMPStatus or 0.
  int CheckFile(JCAMPLines& lines);
  void Clear() { *this = JCAMPBlocks(rules_); }

  std::size_t size() const { return records_.size(); }
  // The block as its page makes it, from 0, and what names that page among several.
  JCAMPData Get(std::size_t block, std::size_t page) const;
  const char* PageName(std::size_t block, std::size_t page) const;
  std::size_t Pages(std::size_t block) const;

  // Takes the number of points that was counted.
  void SetPoints(std::size_t block, std::size_t page, int points);
  // Makes it a page that can't be read, as one of several.
  void LeaveOutPage(std::size_t block, std::size_t page);
  // How many more all of them may make.
  double points_left() const { return most_points() - points_; }

  // Whether it can be chosen by all rules, or by those that know its labels and forms.
  bool IsOffered(std::size_t block) const {
    return records_[block].data_class != JCAMPClass::kLink && !records_[block].is_indented;
  }
  bool IsOfferedBesides(std::size_t block) const {
    const JCAMPRecord& record = records_[block];
    if (record.data_class != JCAMPClass::kLink) return record.is_indented;
    return record.problem != 0 || record.form != JCAMPForm::kUnknown;
  }
  bool IsSelected(std::size_t block) const { return records_[block].selected; }
  void Select(std::size_t block, bool selected) { records_[block].selected = selected; }

  // How many points the files may make: a hundred bytes can claim billions.
  double most_points() const { return kMostUnbacked + kMostPerByte * bytes_; }
  double bytes() const { return bytes_; }
  const char* Text(std::size_t offset) const { return texts_.c_str() + offset; }

 private:
  static constexpr double kMostUnbacked = 1e6;
  static constexpr double kMostPerByte = 64;  // counts of repetitions make that much true

  struct Rule;
  static const Rule kRules[];

  struct Form;

  int ReadLabels(std::string_view line, JCAMPLines& lines);
  int ReadLabel(std::string_view line, JCAMPLines& lines);
  int ReadPageLabel(const Rule& rule, std::string_view value, JCAMPLines& lines);
  const Rule* FindRule(std::string_view label) const;
  std::optional<Form> FindForm(std::string_view text) const;
  int BeginPage(std::string_view name);
  bool LeavesOut(int status);
  bool RefusesFileFor(int status) const;
  void Restart(std::size_t blocks);
  void AddPage(std::string_view form, int problem, JCAMPLines& lines);
  void AddFurtherPage(JCAMPPage& page, const JCAMPNumbers& numbers);
  void TakeVariables(const Form& form, JCAMPNumbers& numbers, int& points);
  // What a count of titles and ends that don't match comes to.
  int Uneven() const;
  void OpenBlock();
  void CloseBlock();
  int Keep(std::string_view text, std::uint32_t& offset);

  // What the value of a label does; each returns a status.
  int TakeTitle(std::string_view value);
  int TakeEnd(std::string_view value);
  int TakeDataType(std::string_view value);
  int TakeDataClass(std::string_view value);
  int TakeBlocks(std::string_view value);
  template <double JCAMPNumbers::*kMember>
  int TakeNumber(std::string_view value);
  template <double JCAMPNumbers::*kMember>
  int TakeFactor(std::string_view value);
  int TakePoints(std::string_view value);
  int TakeDate(std::string_view value);
  int TakeTime(std::string_view value);
  int TakeForm(std::string_view form);
  template <std::size_t kVariable>
  int TakeVariable(std::string_view value);
  template <int kStatus>
  int Refuse(std::string_view value);

  JCAMPRules rules_;

  // A file can hold a block in every fifteen bytes: what a block seldom has takes no room in all.
  std::deque<JCAMPRecord> records_;
  std::deque<JCAMPNumbers> numbers_ = std::deque<JCAMPNumbers>(1);
  std::deque<JCAMPPage> pages_ = std::deque<JCAMPPage>(1);
  std::string texts_ = std::string(1, '\0');  // offset 0 is the empty text
  int files_ = 0;
  double bytes_ = 0;   // of the files
  double points_ = 0;  // announced by all blocks together

  // Of the file being checked:
  JCAMPData block_;  // the one that is read, or what stands before the first
  bool in_block_ = false;
  bool is_indented_ = false;
  std::uint64_t titles_ = 0;
  std::uint64_t ends_ = 0;
  std::int64_t open_titles_ = 0;
  // Of the block that is read:
  JCAMPPage next_page_;  // what is said of a page before its data
  bool page_begins_ = false;
  JCAMPPage first_page_;
  enum Variable : std::size_t { kSymbol, kSize, kFirst, kLast, kFactor, kVariables };
  std::array<std::string, kVariables> variables_;  // of n-tuples: what their labels list
};

}  // namespace nvimport
