#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/LineReader.h"

namespace nvimport {

// The lines of a JCAMP-DX file, one after the other in a reused buffer. A line ends at CR or LF,
// which takes a CR or LF behind it along: so do two line feeds in a row. Its first 255 characters
// count, or all, and of those what stands before "$$", a comment.
class JCAMPLines {
 public:
  // A byte order mark, and UTF-16, are text like any other unless they are to be decoded.
  explicit JCAMPLines(const char* path, bool cuts_long_lines = true, bool decodes = false);
  JCAMPLines(JCAMPLines&&) = delete;

  bool is_open() const { return file_.is_open(); }
  bool failed() const { return failed_ || lines_.failed(); }
  std::uint64_t size() const { return file_.size(); }
  // Whose bytes stand where positions say, for who reads no lines of them.
  InputFile& file() { return file_; }

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

  bool NextBeginsWith(char character);

  void SkipToLabel();

  std::uint64_t Position();

  // The lines read so far, and those of them that were too long.
  std::uint64_t line() const { return lines_.line(); }
  std::uint64_t long_lines() const { return long_lines_; }

 private:
  bool Ahead();
  void Decode();

  InputFile file_;
  std::size_t longest_;
  LineReader lines_;
  LineReader::Sought dollar_{'$'};
  LineReader::Sought hash_{'#'};
  LineReader::Line text_;  // the line that was last taken, with its comment
  bool ignores_indentation_ = false;
  bool indented_ = false;
  bool indentation_ahead_ = false;
  bool failed_ = false;  // before the last Seek, or there
  std::uint64_t long_lines_ = 0;
};

}  // namespace nvimport
