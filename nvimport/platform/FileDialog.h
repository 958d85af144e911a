#pragma once

namespace nvimport {

// The part of a file dialog's settings that the import driver fills. On Windows the system's own
// record of this name has these members.
struct OPENFILENAME {
  // Texts in pairs, what is shown and the patterns ("*.txt;*.dat"), each ended by a NUL, the last
  // pair by one more. Owned by the library.
  const char* lpstrFilter = nullptr;
  // The filter that is selected, from 1.
  unsigned long nFilterIndex = 0;
};

}  // namespace nvimport
