#pragma once

#include <string>

namespace nvimport {

// A good block of three points. A test names only what it changes.
struct JCAMPFixture {
  std::string title = "A";
  std::string labels = "";  // lines before the data
  std::string first = "10";
  std::string last = "12";
  std::string points = "3";
  std::string form = "XYDATA= (X++(Y..Y))";
  std::string data = "10 1 2 3\n";

  std::string Bytes() const {
    return "##TITLE= " + title + "\n##DATA TYPE= INFRARED SPECTRUM\n" + Line("FIRSTX", first) +
           Line("LASTX", last) + Line("NPOINTS", points) + labels + "##" + form + "\n" + data +
           "##END=\n";
  }

  // A link around blocks.
  static std::string Link(const std::string& blocks) {
    return "##TITLE= link\n##DATA TYPE= LINK\n##BLOCKS= 2\n" + blocks + "##END=\n";
  }

 private:
  static std::string Line(const std::string& label, const std::string& value) {
    return value.empty() ? "" : "##" + label + "= " + value + "\n";
  }
};

}  // namespace nvimport
