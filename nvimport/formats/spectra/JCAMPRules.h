#pragma once

#include "nvimport/framework/RuledFactory.h"

namespace nvimport {

// Habits that repeat imports of old exactly. Each costs what its line says.
struct JCAMPRules {
  bool files_begin_with_titles = true;  // labels before the first TITLE, byte order marks, UTF-16
  bool bad_blocks_refuse_files = true;  // all blocks of a file, for one that can't be read
  bool labels_begin_lines = true;       // files whose labels are indented
  bool ends_match_titles = true;        // files with an END too few, too many or without its "="
  bool npoints_is_right = true;         // blocks without NPOINTS, and what is beyond it
  bool failed_checks_end_data = true;   // ordinates behind a line that contradicts the one before
  bool label_numbers_are_plain = true;  // blocks with a unit at a number, or a word in its place
  bool labels_say_x = true;             // blocks of whose x only their lines tell
  bool exponents_have_signs = true;     // the exponents of values that have none
  bool forms_are_exact = true;          // XYDATA whose form lacks a bracket
  bool lines_of_255_characters = true;  // what stands behind them in a line
  bool comments_in_titles = true;       // what follows "$$" in a title
  bool missing_as_minus_99 = true;      // the difference between no ordinate and -99, and its x
  bool first_page_only = true;          // the further pages of a block
  bool no_ntuples = true;               // n-tuples but for the first page of pairs
  bool no_ra_data = true;               // RADATA
  bool no_other_pairs = true;           // XYPAIRS, pairs with a width, peak assignments
  bool names_of_six_digits = true;      // the difference between the names of close points
  bool one_grid = true;                 // the values of series with other x: they are interpolated
  bool only_xydata_of_several = true;   // imports of several files with other blocks

  static constexpr JCAMPRules Off() { return NoRules<JCAMPRules>(); }
};

}  // namespace nvimport
