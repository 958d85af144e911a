#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/matrix/MatBytes.h"
#include "nvimport/platform/Budget.h"

namespace nvimport {

// What a MATLAB file holds, without its values.

// As what data are stored. The numbers are those of level 5.
enum class MatType : std::uint8_t {
  kNone = 0,
  kI8 = 1,
  kU8 = 2,
  kI16 = 3,
  kU16 = 4,
  kI32 = 5,
  kU32 = 6,
  kF32 = 7,
  kF64 = 9,
  kI64 = 12,
  kU64 = 13,
  kMatrix = 14,
  kCompressed = 15,
  kUtf8 = 16,
  kUtf16 = 17,
  kUtf32 = 18
};

// The bytes of one of those, 0 for what has no values.
constexpr unsigned SizeOf(MatType type) {
  switch (type) {
    case MatType::kI8:
    case MatType::kU8:
    case MatType::kUtf8:
      return 1;
    case MatType::kI16:
    case MatType::kU16:
    case MatType::kUtf16:
      return 2;
    case MatType::kI32:
    case MatType::kU32:
    case MatType::kF32:
    case MatType::kUtf32:
      return 4;
    case MatType::kF64:
    case MatType::kI64:
    case MatType::kU64:
      return 8;
    default:
      return 0;
  }
}

// What values are.
enum class MatClass : std::uint8_t {
  kCell = 1,
  kStruct = 2,
  kObject = 3,
  kChar = 4,
  kSparse = 5,
  kDouble = 6,
  kSingle = 7,
  kInt8 = 8,
  kUInt8 = 9,
  kInt16 = 10,
  kUInt16 = 11,
  kInt32 = 12,
  kUInt32 = 13,
  kInt64 = 14,
  kUInt64 = 15,
  kFunction = 16,
  kOpaque = 17
};

constexpr bool IsNumeric(MatClass kind) {
  return kind >= MatClass::kDouble && kind <= MatClass::kUInt64;
}

// Where data stand in the stream of their variable.
struct MatElement {
  MatType type = MatType::kNone;
  std::uint64_t bytes = 0;
  std::uint64_t position = 0;
};

// What an array says of itself before its data.
struct MatHead {
  MatClass kind = MatClass::kDouble;
  bool is_logical = false;
  bool is_complex = false;
  std::vector<std::uint32_t> sizes;  // at least two
  std::string name;
  std::uint64_t end = 0;  // of all its bytes

  std::uint32_t rows() const { return sizes[0]; }
  std::uint32_t columns() const { return sizes[1]; }
  // Of how many matrices it consists, one behind the other.
  std::uint64_t pages() const;
  std::uint64_t count() const;  // of its values
  // One value or one line of text, as a cell of a sheet may be.
  bool IsOneCell() const;
};

// A variable of the file.
struct MatVariable {
  std::uint64_t position = 0;  // of its bytes
  std::uint64_t packed = 0;    // 0 when they stand as they are
  std::uint64_t end = 0;       // of what they unpack to
};

inline constexpr std::size_t kNoArray = std::numeric_limits<std::size_t>::max();

// An array whose values can stand in a sheet: a variable, or what stands in one.
struct MatArray {
  MatHead head;  // with the whole name, as in "s(2).f"
  std::size_t variable = 0;
  std::size_t holder = kNoArray;  // of the holders; of a variable none
  std::string field;              // as which it stands there; of a variable its name
  std::uint64_t place = 0;        // there, from 0
  MatElement real;                // or codes of characters; of a cell array what its cells take
  MatElement imaginary;           // has no type where there is none
  MatElement row_indices;         // of a sparse one
  MatElement column_starts;       // likewise
  bool is_triplets = false;       // a sparse one of level 4: rows of row, column and value
  bool has_only_texts = false;    // a cell array of texts
};

// A struct, an object or a cell array that other arrays stand in.
struct MatHolder {
  std::string name;
  std::string field;  // as which it stands in `holder`
  std::size_t holder = kNoArray;
  std::uint64_t place = 0;
};

// What can't be offered, and why.
struct MatLeft {
  enum class Why : std::uint8_t { kUnsupported, kDamaged, kTooLarge };

  std::string name;
  Why why;
  std::string words;  // the class, or what is damaged
};

struct MatContents {
  enum class Outcome {
    kGood,
    kNotMat,
    kLevel73,
    kForeignNumbers,  // of a computer whose numbers are in no use any more
    kNoInflater,
    kCannotRead,
    kOverBudget
  };

  Outcome outcome = Outcome::kGood;
  int level = 5;
  std::endian order = std::endian::little;
  std::string text;  // of the header
  std::vector<MatVariable> variables;
  std::vector<MatArray> arrays;    // in the order of the file
  std::vector<MatHolder> holders;  // likewise
  std::vector<std::string> told;   // a line for each variable: name, sizes, class
  std::vector<MatLeft> left;
};

// Lists what there is. What it keeps is drawn from `budget`.
MatContents ListMat(MatBytes& bytes, Budget& budget);

// Whether a file that begins so is one of MATLAB 4.
bool IsMat4(std::span<const char> head);

// "401 x 272 double".
std::string DescribeMat(const MatHead& head);

// Reads the parts of a level 5 file one after the other.
class MatParser {
 public:
  struct Tag {
    MatElement data;
    std::uint64_t next = 0;  // behind the padding
  };

  MatParser(MatBytes& bytes, std::endian order) : bytes_(bytes), order_(order) {}

  // The element that lies ahead, all of it before `end`.
  bool ReadTag(std::uint64_t end, Tag& tag);
  // Goes on to it.
  void GoTo(std::uint64_t position) { bytes_.Skip(position - bytes_.position()); }
  // The bytes of an element, at most kMostAhead.
  bool ReadBytes(const MatElement& element, std::span<const char>& bytes);
  // What stands before the data of the array whose bytes end there.
  bool ReadHead(std::uint64_t end, MatHead& head);

  MatBytes& bytes() { return bytes_; }
  std::endian order() const { return order_; }

 private:
  MatBytes& bytes_;
  std::endian order_;
};

}  // namespace nvimport
