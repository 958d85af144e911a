#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>
#include <vector>

#include "nvimport/platform/InputFile.h"

namespace nvimport {

// The lines of a JCAMP-DX file, one after the other in a reused buffer. A line ends at CR or LF,
// which takes a CR or LF behind it along: so do two line feeds in a row. Its first 255 characters
// count, or all, and of those what stands before "$$", a comment.
class JCAMPLines {
 public:
  explicit JCAMPLines(const char* path, bool cuts_long_lines = true)
      : file_(path), longest_(cuts_long_lines ? 255 : std::numeric_limits<std::size_t>::max()) {}

  bool is_open() const { return file_.is_open(); }
  bool failed() const { return failed_; }
  std::uint64_t size() const { return file_.size(); }

  // Blanks that begin a line don't count.
  void IgnoreIndentation() { ignores_indentation_ = indented_ = true; }
  void RespectIndentation() { ignores_indentation_ = false; }

  // Goes to `position`, before which `line` lines were read.
  void Seek(std::uint64_t position, std::uint64_t line);

  // The next line, good until the next call and followed by a line feed; false at the end of the
  // file and when a read failed.
  bool Next(std::string_view& line);

  // The line that was last taken: with its comment, and whether ignored blanks began it.
  std::string_view WithComment();
  bool indented() const { return indented_; }

  // Whether the next line begins with `character`.
  bool NextBeginsWith(char character);

  // Leaves out the lines before a label.
  void SkipToLabel();

  // Where the next line begins.
  std::uint64_t Position();

  // The lines read so far, and those of them that were too long.
  std::uint64_t line() const { return line_; }
  std::uint64_t long_lines() const { return long_lines_; }

 private:
  bool Ahead();
  bool AtText();
  bool Fill();
  char* Find(char character, char*& found) const;
  char* FindEnd();
  void PassLines(const char* stop);
  char* NextEnd();
  void GoBehind(char* end);

  InputFile file_;
  std::size_t longest_;
  bool ignores_indentation_ = false;
  std::vector<char> buffer_;
  char* next_ = nullptr;
  char* filled_ = nullptr;
  // The next of each from next_ on, or filled_; out of date when before next_.
  char* line_feed_ = nullptr;
  char* carriage_return_ = nullptr;
  char* dollar_ = nullptr;
  char* hash_ = nullptr;
  std::uint64_t position_ = 0;  // of the file, behind what is in the buffer
  char* text_ = nullptr;        // the line that was last taken, with its comment
  char* text_end_ = nullptr;
  bool indented_ = false;
  bool indentation_ahead_ = false;
  bool end_goes_on_ = false;  // the character behind a line end has not been looked at
  bool failed_ = false;
  std::uint64_t line_ = 0;
  std::uint64_t long_lines_ = 0;
};

}  // namespace nvimport
