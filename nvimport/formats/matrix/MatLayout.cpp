// Level 5 ("MAT-File Format", The MathWorks). Numbers have the byte order of the header's mark.
//   header    0 char[116] text  116 8 bytes offset of the subsystem, blank or 0 for none
//             124 uint16 0x0100 (0x0200: level 7.3, which is HDF5)  126 "IM" little, "MI"
//             big-endian
//   element   0 uint32 type  4 uint32 bytes  8 data, padded to 8 bytes
//             of 1 to 4 bytes also: 0 uint16 bytes, uint16 type as one uint32  4 data
//   compressed (15, of whole variables only): a zlib stream of one element, not padded
//   array (14), of elements: flags uint32[2], class in the lowest byte, flags in the next (2
//   logical,
//             8 complex); sizes int32[]; name; then by class
//     numbers   real part, imaginary part, in any type that holds them
//     char      codes         cell    an array for each, column by column
//     sparse    row of each value, first value of each column, real part, imaginary part
//     struct    int32 length of a field name; the names; an array for each field of each element
//     object    name of the class; then as a struct
//     opaque    no sizes; name, kind, class
// Level 4: variables one after the other.
//   0 int32 1000 order (0 little, 1 big-endian) + 10 type + matrix (0), text (1), sparse (2)
//   4 int32 rows  8 int32 columns  12 int32 1: complex  16 int32 length of the name  20 name, NUL
//   then the real part, the imaginary part; of a sparse one a row of row, column, value for each
//   value, of which the last has the sizes

#include "nvimport/formats/matrix/MatLayout.h"

#include <algorithm>
#include <array>
#include <climits>
#include <optional>
#include <utility>

#include "nvimport/formats/matrix/MatNames.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

namespace {

constexpr std::size_t kHeader5 = 128;
constexpr std::size_t kTextSize = 116;
constexpr std::size_t kTagSize = 8;
constexpr std::size_t kHeader4 = 20;
constexpr std::size_t kMostSizes = 64;
constexpr std::uint64_t kMostValues = std::uint64_t{1} << 48;
constexpr unsigned kDeepest = 64;
// No deflated byte stands for more; the rest is for what hardly is one.
constexpr std::uint64_t kMostRatio = 1032;
constexpr std::uint64_t kSmallest = 1024;

constexpr const char* kBadHead = "what it says of itself makes no sense";
constexpr const char* kBadData = "its values are not as many as it says";
constexpr const char* kBadPacked = "what it is packed in is damaged";
constexpr const char* kEndsEarly = "the file ends within it";

std::uint64_t Padded(std::uint64_t bytes) { return (bytes + 7) & ~std::uint64_t{7}; }

std::string Utf8Of(std::string_view bytes) {
  std::string name;
  bytes = bytes.substr(0, bytes.find('\0'));
  if (IsUtf8(bytes)) return std::string(bytes);
  AppendLatin1(name, bytes);
  return name;
}

const char* WordOf(MatClass kind) {
  static constexpr const char* kWords[] = {
      "unknown", "cell",   "struct",          "object", "char",   "sparse", "double",
      "single",  "int8",   "uint8",           "int16",  "uint16", "int32",  "uint32",
      "int64",   "uint64", "function handle", "opaque"};
  const auto at = static_cast<std::size_t>(kind);
  return kWords[at < std::size(kWords) ? at : 0];
}

// The place in an array of these sizes as it is written, "(2)" or "(2,3)".
std::string IndexText(const MatHead& head, std::uint64_t place, const char* brackets) {
  std::string text(1, brackets[0]);
  const bool is_vector = head.sizes.size() == 2 && (head.rows() == 1 || head.columns() == 1);
  if (is_vector) {
    text += std::to_string(place + 1);
  } else {
    for (std::size_t i = 0; i < head.sizes.size(); ++i) {
      text += (i > 0 ? "," : "") + std::to_string(place % head.sizes[i] + 1);
      place /= head.sizes[i];
    }
  }
  return text += brackets[1];
}

// The header of a variable of level 4.
struct Head4 {
  std::endian order = std::endian::little;
  int computer = 0;
  MatType type = MatType::kNone;
  int kind = 0;  // 0 matrix, 1 text, 2 sparse
  std::uint32_t rows = 0;
  std::uint32_t columns = 0;
  bool is_complex = false;
  std::uint32_t name_size = 0;

  std::uint64_t DataSize() const {
    return std::uint64_t{rows} * columns * SizeOf(type) * (is_complex ? 2 : 1);
  }
};

std::optional<Head4> ReadHead4(std::span<const char> bytes) {
  constexpr std::uint32_t kMostCode = 4052;
  constexpr std::uint32_t kLongestName = 1024;
  constexpr MatType kTypes[] = {MatType::kF64, MatType::kF32, MatType::kI32,
                                MatType::kI16, MatType::kU16, MatType::kU8};
  if (bytes.size() < kHeader4) return std::nullopt;
  Head4 head;
  auto code = LoadLittle<std::uint32_t>(bytes.data());
  if (code > kMostCode) {
    head.order = std::endian::big;
    code = Load<std::uint32_t>(bytes.data(), head.order);
  }
  ByteReader reader(bytes.first(kHeader4), head.order);
  reader.Skip(4);
  head.computer = static_cast<int>(code / 1000);
  const std::uint32_t type = code / 10 % 10;
  head.kind = static_cast<int>(code % 10);
  head.rows = reader.U32();
  head.columns = reader.U32();
  const std::uint32_t is_complex = reader.U32();
  head.is_complex = is_complex == 1;
  head.name_size = reader.U32();
  const bool is_one =
      code <= kMostCode && code / 100 % 10 == 0 && type < std::size(kTypes) && head.kind <= 2 &&
      head.rows <= INT_MAX && head.columns <= INT_MAX && is_complex <= 1 && head.name_size > 0 &&
      head.name_size <= kLongestName &&
      (head.computer > 1 || (head.computer == 1) == (head.order == std::endian::big));
  if (!is_one) return std::nullopt;
  head.type = kTypes[type];
  return head;
}

// "name", "name#2"...
std::string AddNumbered(MatNames& names, const std::string& name) {
  return names.Add(name, name, [&](int number) { return name + "#" + std::to_string(number); });
}

class Lister {
 public:
  Lister(MatBytes& bytes, Budget& budget, MatContents& contents)
      : bytes_(bytes), budget_(budget), contents_(contents) {}

  void Run();

 private:
  using Outcome = MatContents::Outcome;

  // Where an array stands.
  struct Where {
    std::string name;  // empty for that of a variable, which is its own
    std::string field;
    std::size_t holder = kNoArray;
    std::uint64_t place = 0;
    unsigned depth = 0;
  };

  void RunLevel4();
  bool ListVariable4(std::uint64_t position);
  void RunLevel5(std::uint64_t subsystem);
  void ListVariable5(const MatParser::Tag& tag);
  // Each false when the stream can't be gone on with.
  bool List(Where where, std::uint64_t end);
  bool List(Where where, const MatHead& head);
  bool ListNumbers(const Where& where, MatArray array);
  bool ListText(const Where& where, MatArray array);
  bool ListSparse(const Where& where, MatArray array);
  bool ListFields(const Where& where, const MatHead& head);
  bool ListCells(const Where& where, const MatHead& head);
  bool ListOpaque(const Where& where, const MatHead& head);
  bool FieldNames(std::uint64_t end, std::vector<std::string>& names);
  // The array that lies ahead in another that ends there.
  bool ListInner(Where where, std::uint64_t end, bool& is_whole);

  bool Add(const Where& where, MatArray array);
  std::size_t AddHolder(const Where& where);
  bool Leave(const std::string& name, MatLeft::Why why, std::string words);
  bool Damaged(const std::string& name, const char* words) {
    return Leave(name, MatLeft::Why::kDamaged, words);
  }
  bool Take(std::uint64_t bytes);
  bool GoTo(std::uint64_t position);
  std::string Unique(std::string name);
  bool is_packed() const { return contents_.variables.back().packed != 0; }
  bool is_good() const { return contents_.outcome == Outcome::kGood; }

  MatBytes& bytes_;
  Budget& budget_;
  MatContents& contents_;
  std::optional<MatParser> parser_;
  MatNames names_;             // of variables
  std::string variable_name_;  // of the one that is being listed, once it is known
};

void Lister::Run() {
  constexpr std::size_t kUserBlock = 512;  // before what is HDF5
  constexpr std::string_view kHdf5 = "\x89HDF\r\n\x1a\n";
  bytes_.Begin(0);
  const auto head =
      bytes_.Ahead(std::min<std::uint64_t>(kUserBlock + kHdf5.size(), bytes_.file_size()));
  if (std::string_view(head.data(), head.size()).find(kHdf5) == kUserBlock) {
    contents_.outcome = Outcome::kLevel73;
    return;
  }
  if (head.size() >= kHeader5) {
    const std::string_view mark(head.data() + 126, 2);
    if (mark == "IM" || mark == "MI") {
      contents_.order = mark == "IM" ? std::endian::little : std::endian::big;
      ByteReader reader(head.first(kHeader5), contents_.order);
      const std::string_view text = reader.Text(kTextSize);
      contents_.text =
          Utf8Of(text.substr(0, text.find_last_not_of(std::string_view(" \0", 2)) + 1));
      const std::string_view offset = reader.Text(8);
      const auto version = reader.U16();
      constexpr std::uint16_t kLevel5 = 0x0100;
      constexpr std::uint16_t kLevel73 = 0x0200;
      if (version == kLevel73) contents_.outcome = Outcome::kLevel73;
      if (version == kLevel5)
        return RunLevel5(
            offset == "        " ? 0 : Load<std::uint64_t>(offset.data(), contents_.order));
      if (version == kLevel73) return;
    }
  }
  const auto first = ReadHead4(head);
  contents_.outcome = bytes_.failed()       ? Outcome::kCannotRead
                      : !IsMat4(head)       ? Outcome::kNotMat
                      : first->computer > 1 ? Outcome::kForeignNumbers
                                            : Outcome::kGood;
  if (is_good()) RunLevel4();
}

bool Lister::Take(std::uint64_t bytes) {
  if (!budget_.Take(bytes)) contents_.outcome = Outcome::kOverBudget;
  return is_good();
}

// What is unpacked without use costs a part of what going through it once more would.
bool Lister::GoTo(std::uint64_t position) {
  constexpr std::uint64_t kShare = 8;
  if (is_packed() && position > bytes_.position() &&
      !budget_.Work((position - bytes_.position()) / kShare))
    contents_.outcome = Outcome::kOverBudget;
  if (!is_good()) return false;
  parser_->GoTo(position);
  return !bytes_.failed();
}

bool Lister::Leave(const std::string& name, MatLeft::Why why, std::string words) {
  if (!Take(sizeof(MatLeft) + name.size() + words.size())) return false;
  contents_.left.push_back({name, why, std::move(words)});
  return true;
}

std::string Lister::Unique(std::string name) {
  if (name.empty()) name = "variable" + std::to_string(contents_.variables.size());
  return AddNumbered(names_, name);
}

bool Lister::Add(const Where& where, MatArray array) {
  constexpr std::uint64_t kEach = 64;  // of what hosts keep of an offer
  array.head.name = where.name;
  array.field = where.field;
  array.variable = contents_.variables.size() - 1;
  array.holder = where.holder;
  array.place = where.place;
  const std::uint64_t pages = array.head.pages();
  if (!Take((pages + 1) * (kEach + 2 * where.name.size()) + sizeof array)) return false;
  contents_.arrays.push_back(std::move(array));
  return true;
}

std::size_t Lister::AddHolder(const Where& where) {
  if (!Take(sizeof(MatHolder) + where.name.size())) return kNoArray;
  contents_.holders.push_back({where.name, where.field, where.holder, where.place});
  return contents_.holders.size() - 1;
}

void Lister::RunLevel4() {
  contents_.level = 4;
  for (std::uint64_t position = 0; position < bytes_.file_size();) {
    if (!ListVariable4(position)) return;
    position = contents_.variables.back().position;
    contents_.variables.back().position = 0;  // elements count from the file's begin
  }
}

// Leaves the place of the next one in its own.
bool Lister::ListVariable4(std::uint64_t position) {
  bytes_.Begin(position);
  const auto head = ReadHead4(bytes_.Ahead(kHeader4));
  if (bytes_.failed()) return contents_.outcome = Outcome::kCannotRead, false;
  const std::string behind = "what follows byte " + std::to_string(position);
  if (!head || head->computer > 1 || head->kind > 2) return Damaged(behind, kBadHead), false;
  bytes_.Skip(kHeader4);
  const auto name = bytes_.Ahead(head->name_size);
  if (name.size() < head->name_size) return Damaged(behind, kEndsEarly), false;
  if (!Take(sizeof(MatVariable) + 2 * head->name_size)) return false;
  contents_.variables.push_back({});
  Where where;
  where.name = where.field = Unique(Utf8Of({name.data(), head->name_size}));
  const std::uint64_t data = position + kHeader4 + head->name_size;
  const std::uint64_t rest = bytes_.file_size() - std::min(data, bytes_.file_size());
  const std::uint64_t size = head->DataSize();
  contents_.order = head->order;
  MatArray array;
  array.head.sizes = {head->rows, head->columns};
  array.head.is_complex = head->is_complex;
  if (size > rest) {
    contents_.told.push_back(where.name + " " + DescribeMat(array.head));
    return Damaged(where.name, kEndsEarly), false;
  }
  const std::uint64_t part = head->is_complex ? size / 2 : size;
  array.real = {head->type, part, data};
  if (head->is_complex) array.imaginary = {head->type, part, data + part};
  if (head->kind == 1) array.head.kind = MatClass::kChar;
  bool is_one = size > 0;
  if (head->kind == 2) {
    // The sizes stand in the last row of the table.
    array.head.kind = MatClass::kSparse;
    array.is_triplets = true;
    const bool is_table = head->rows > 0 && (head->columns == 3 || head->columns == 4);
    array.head.is_complex = head->columns == 4;
    double sizes[2] = {};
    for (int i = 0; is_table && i < 2; ++i) {
      const unsigned each = SizeOf(head->type);
      bytes_.Begin(data + (std::uint64_t{head->rows} * static_cast<unsigned>(i + 1) - 1) * each);
      const auto value = bytes_.Ahead(each);
      if (value.size() < each) return contents_.outcome = Outcome::kCannotRead, false;
      sizes[i] = head->type == MatType::kF64 ? Load<double>(value.data(), head->order)
                 : head->type == MatType::kF32
                     ? static_cast<double>(Load<float>(value.data(), head->order))
                 : head->type == MatType::kI32
                     ? static_cast<double>(Load<std::int32_t>(value.data(), head->order))
                     : -1;
    }
    is_one = false;
    const auto is_size = [](double value) { return value >= 0 && value <= INT_MAX; };
    if (is_table && is_size(sizes[0]) && is_size(sizes[1])) {
      array.head.sizes = {static_cast<std::uint32_t>(sizes[0]),
                          static_cast<std::uint32_t>(sizes[1])};
      if (!ListSparse(where, array)) return false;
    } else if (!Damaged(where.name, kBadData)) {
      return false;
    }
  }
  contents_.told.push_back(where.name + " " + DescribeMat(array.head));
  if (is_one && !Add(where, std::move(array))) return false;
  contents_.variables.back().position = data + size;
  return is_good();
}

void Lister::RunLevel5(std::uint64_t subsystem) {
  parser_.emplace(bytes_, contents_.order);
  const std::uint64_t size = bytes_.file_size();
  for (std::uint64_t position = kHeader5; position < size && is_good();) {
    bytes_.Begin(position);
    MatParser::Tag tag;
    const bool is_tag = parser_->ReadTag(UINT64_MAX, tag);
    if (bytes_.failed()) contents_.outcome = Outcome::kCannotRead;
    if (!is_tag) {
      Damaged("what follows byte " + std::to_string(position), kEndsEarly);
      return;
    }
    const bool is_packed = tag.data.type == MatType::kCompressed;
    const bool is_array = tag.data.type == MatType::kMatrix;
    if (is_packed) tag.next = tag.data.position + tag.data.bytes;
    if (tag.data.bytes > size - tag.data.position) {
      Damaged("what follows byte " + std::to_string(position),
              is_packed || is_array ? kEndsEarly : kBadHead);
      return;
    }
    if (!is_packed && !is_array)
      Damaged("what stands at byte " + std::to_string(position), kBadHead);
    else if (tag.data.bytes > 0 && (subsystem == 0 || position != subsystem))
      ListVariable5(tag);
    position = tag.next;
  }
}

void Lister::ListVariable5(const MatParser::Tag& tag) {
  const bool is_packed = tag.data.type == MatType::kCompressed;
  if (is_packed && !Inflater::IsBuilt()) {
    contents_.outcome = Outcome::kNoInflater;
    return;
  }
  if (!Take(sizeof(MatVariable))) return;
  const std::size_t arrays = contents_.arrays.size();
  const std::size_t holders = contents_.holders.size();
  const std::size_t left = contents_.left.size();
  contents_.variables.push_back({tag.data.position, is_packed ? tag.data.bytes : 0});
  bool is_whole = false;
  variable_name_.clear();
  if (is_packed) {
    bytes_.BeginPacked(tag.data.position, tag.data.bytes);
    MatParser::Tag inner;
    const bool is_array = parser_->ReadTag(UINT64_MAX, inner) &&
                          inner.data.type == MatType::kMatrix &&
                          inner.data.bytes <= kMostRatio * tag.data.bytes + kSmallest;
    const std::uint64_t end = inner.data.position + inner.data.bytes;
    contents_.variables.back().end = end;
    is_whole = is_array && (parser_->GoTo(inner.data.position), List({}, end));
    // Those gone through are to be whole.
    is_whole = is_whole && !bytes_.failed() && (bytes_.position() != end || bytes_.EndsHere());
  } else {
    contents_.variables.back().position = 0;  // elements count from the file's begin
    bytes_.Begin(tag.data.position);
    is_whole = List({}, tag.data.position + tag.data.bytes);
  }
  if (bytes_.cannot_read()) contents_.outcome = Outcome::kCannotRead;
  if (is_whole || !is_good()) return;
  contents_.arrays.resize(arrays);
  contents_.holders.resize(holders);
  contents_.left.resize(left);
  Damaged(variable_name_.empty() ? Unique("") : variable_name_, kBadPacked);
}

bool Lister::List(Where where, std::uint64_t end) {
  MatHead head;
  if (!parser_->ReadHead(end, head)) {
    if (where.name.empty()) where.name = variable_name_ = Unique("");
    return Damaged(where.name, kBadHead) && !bytes_.failed();
  }
  return List(std::move(where), head);
}

bool Lister::List(Where where, const MatHead& head) {
  if (where.name.empty()) {
    where.name = where.field = variable_name_ = Unique(head.name);
    if (!Take(2 * where.name.size() + kTextSize)) return false;
    contents_.told.push_back(where.name + " " + DescribeMat(head));
  }
  if (where.depth > kDeepest) return Leave(where.name, MatLeft::Why::kTooLarge, "nested too deep");
  MatArray array;
  array.head = head;
  if (IsNumeric(head.kind)) return ListNumbers(where, std::move(array));
  switch (head.kind) {
    case MatClass::kChar:
      return ListText(where, std::move(array));
    case MatClass::kSparse:
      return ListSparse(where, std::move(array));
    case MatClass::kStruct:
    case MatClass::kObject:
      return ListFields(where, head);
    case MatClass::kCell:
      return ListCells(where, head);
    case MatClass::kFunction:
      return Leave(where.name, MatLeft::Why::kUnsupported, WordOf(head.kind));
    case MatClass::kOpaque:
      return ListOpaque(where, head);
    default:
      return Leave(where.name, MatLeft::Why::kUnsupported, "unknown class");
  }
}

bool Lister::ListNumbers(const Where& where, MatArray array) {
  const std::uint64_t count = array.head.count();
  if (count == 0) return true;
  for (MatElement* part : {&array.real, &array.imaginary}) {
    if (part == &array.imaginary && !array.head.is_complex) break;
    MatParser::Tag tag;
    const unsigned size = parser_->ReadTag(array.head.end, tag) && tag.data.type < MatType::kMatrix
                              ? SizeOf(tag.data.type)
                              : 0;
    if (size == 0 || tag.data.bytes / size != count || tag.data.bytes % size != 0)
      return Damaged(where.name, kBadData) && !bytes_.failed();
    *part = tag.data;
    if (array.head.is_complex && part == &array.real && !GoTo(tag.next)) return false;
  }
  return Add(where, std::move(array));
}

bool Lister::ListText(const Where& where, MatArray array) {
  const MatHead& head = array.head;
  if (head.rows() == 0 || head.pages() == 0) return true;
  MatParser::Tag tag;
  const bool is_tag = parser_->ReadTag(head.end, tag);
  const unsigned size = is_tag ? SizeOf(tag.data.type) : 0;
  // A single text may be shorter than it says; of several no more than there are codes for.
  const std::uint64_t texts = head.rows() * head.pages();
  if (size == 0 || size > 4 || tag.data.type == MatType::kF32 || tag.data.bytes % size != 0 ||
      (texts > 1 && tag.data.bytes / size < texts))
    return Damaged(where.name, kBadData) && !bytes_.failed();
  array.real = tag.data;
  return Add(where, std::move(array));
}

bool Lister::ListSparse(const Where& where, MatArray array) {
  const MatHead& head = array.head;
  if (head.count() == 0) return true;
  if (!array.is_triplets) {
    MatElement* const parts[] = {&array.row_indices, &array.column_starts, &array.real,
                                 &array.imaginary};
    for (MatElement* part : parts) {
      if (part == &array.imaginary && !head.is_complex) break;
      MatParser::Tag tag;
      const bool is_tag = parser_->ReadTag(head.end, tag) && tag.data.type < MatType::kMatrix &&
                          SizeOf(tag.data.type) > 0;
      if (!is_tag) return Damaged(where.name, kBadData) && !bytes_.failed();
      *part = tag.data;
      if (part != parts[3] && !GoTo(std::min(tag.next, head.end))) return false;
    }
    const MatElement& starts = array.column_starts;
    if (starts.bytes / SizeOf(starts.type) < std::uint64_t{head.columns()} + 1)
      return Damaged(where.name, kBadData);
  }
  // Its zeros are cells that no byte of the file stands for.
  const std::uint64_t dense = sizeof(double) * head.count() * (head.is_complex ? 2 : 1);
  if (!budget_.TakeIfSpare(dense, 0)) return Leave(where.name, MatLeft::Why::kTooLarge, "");
  budget_.Return(dense);
  return Add(where, std::move(array));
}

bool Lister::FieldNames(std::uint64_t end, std::vector<std::string>& names) {
  MatParser::Tag tag;
  std::span<const char> bytes;
  if (!parser_->ReadTag(end, tag) || tag.data.bytes != 4 || !parser_->ReadBytes(tag.data, bytes))
    return false;
  const auto length = Load<std::uint32_t>(bytes.data(), parser_->order());
  parser_->GoTo(tag.next);
  if (!parser_->ReadTag(end, tag) || !parser_->ReadBytes(tag.data, bytes)) return false;
  if (tag.data.bytes > 0 && (length == 0 || tag.data.bytes % length != 0)) return false;
  MatNames known;
  for (std::size_t at = 0; at < bytes.size(); at += length) {
    std::string unique = AddNumbered(known, Utf8Of({bytes.data() + at, length}));
    if (!Take(sizeof(std::string) + unique.size())) return false;
    names.push_back(std::move(unique));
  }
  parser_->GoTo(tag.next);
  return true;
}

bool Lister::ListInner(Where where, std::uint64_t end, bool& is_whole) {
  MatParser::Tag tag;
  is_whole = parser_->ReadTag(end, tag) && tag.data.type == MatType::kMatrix;
  if (!is_whole) return !bytes_.failed();
  parser_->GoTo(tag.data.position);
  if (tag.data.bytes > 0 && !List(std::move(where), tag.data.position + tag.data.bytes))
    return false;
  return GoTo(tag.next);
}

bool Lister::ListFields(const Where& where, const MatHead& head) {
  if (head.kind == MatClass::kObject) {
    MatParser::Tag tag;
    if (!parser_->ReadTag(head.end, tag)) return Damaged(where.name, kBadHead) && !bytes_.failed();
    parser_->GoTo(tag.next);
  }
  std::vector<std::string> names;
  if (!FieldNames(head.end, names))
    return is_good() && Damaged(where.name, kBadHead) && !bytes_.failed();
  const std::size_t holder = AddHolder(where);
  if (holder == kNoArray) return false;
  const std::uint64_t elements = names.empty() ? 0 : head.count();
  for (std::uint64_t element = 0; element < elements; ++element) {
    const std::string owner =
        where.name + (elements > 1 ? IndexText(head, element, "()") : "") + ".";
    for (const std::string& name : names) {
      bool is_whole = false;
      if (!ListInner({owner + name, name, holder, element, where.depth + 1}, head.end, is_whole))
        return false;
      if (!is_whole) return Damaged(owner + name, kBadHead);
    }
  }
  return true;
}

// Cells that are a value or a line of text stand together; each other one stands for itself.
bool Lister::ListCells(const Where& where, const MatHead& head) {
  const std::size_t before = contents_.arrays.size();
  const std::size_t holder = AddHolder(where);
  if (holder == kNoArray) return false;
  const std::uint64_t begin = bytes_.position();
  const std::uint64_t count = head.count();
  bool has_values = false;
  bool has_only_texts = true;
  for (std::uint64_t i = 0; i < count; ++i) {
    MatParser::Tag tag;
    if (!parser_->ReadTag(head.end, tag) || tag.data.type != MatType::kMatrix)
      return Damaged(where.name, kBadData) && !bytes_.failed();
    const std::uint64_t end = tag.data.position + tag.data.bytes;
    parser_->GoTo(tag.data.position);
    MatHead inner;
    bool is_text = false;
    if (tag.data.bytes > 0) {
      const bool is_head = parser_->ReadHead(end, inner);
      is_text = is_head && inner.kind == MatClass::kChar && inner.IsOneCell();
      if (is_head && inner.IsOneCell()) {
        has_values = has_values || inner.kind == MatClass::kChar || inner.count() > 0;
      } else {
        const Where in{where.name + IndexText(head, i, "{}"), "", holder, i, where.depth + 1};
        if (!is_head && (!Damaged(in.name, kBadHead) || bytes_.failed())) return false;
        if (is_head && !List(in, inner)) return false;
      }
    }
    has_only_texts = has_only_texts && is_text;
    if (!GoTo(tag.next)) return false;
  }
  if (!has_values) return true;
  MatArray array;
  array.head = head;
  array.real = {MatType::kMatrix, head.end - begin, begin};
  array.has_only_texts = has_only_texts;
  if (!Add(where, std::move(array))) return false;
  const auto first = contents_.arrays.begin() + static_cast<std::ptrdiff_t>(before);
  std::rotate(first, contents_.arrays.end() - 1, contents_.arrays.end());
  return true;
}

bool Lister::ListOpaque(const Where& where, const MatHead& head) {
  MatParser::Tag tag;
  std::span<const char> bytes;
  std::string words = WordOf(head.kind);
  const bool has_class = parser_->ReadTag(head.end, tag) &&
                         (parser_->GoTo(tag.next), parser_->ReadTag(head.end, tag)) &&
                         tag.data.bytes < kTextSize && parser_->ReadBytes(tag.data, bytes);
  if (has_class && !bytes.empty())
    words = "object of class " + Utf8Of({bytes.data(), bytes.size()});
  return Leave(where.name, MatLeft::Why::kUnsupported, std::move(words)) && !bytes_.failed();
}

}  // namespace

std::uint64_t MatHead::pages() const {
  std::uint64_t pages = 1;
  for (std::size_t i = 2; i < sizes.size(); ++i) pages *= sizes[i];
  return pages;
}

std::uint64_t MatHead::count() const {
  std::uint64_t count = 1;
  for (const std::uint32_t size : sizes) count *= size;
  return count;
}

bool MatHead::IsOneCell() const {
  if (count() == 0) return kind != MatClass::kFunction && kind != MatClass::kOpaque;
  if (kind == MatClass::kChar) return rows() == 1 && pages() == 1;
  return IsNumeric(kind) && count() == 1 && !is_complex;
}

std::string DescribeMat(const MatHead& head) {
  std::string text;
  for (const std::uint32_t size : head.sizes)
    text += (text.empty() ? "" : " x ") + std::to_string(size);
  if (head.is_complex) text += " complex";
  if (head.kind == MatClass::kSparse) text += " sparse";
  if (head.is_logical) return text + " logical";
  return head.kind == MatClass::kSparse ? text : text + " " + WordOf(head.kind);
}

bool IsMat4(std::span<const char> head) {
  const auto first = ReadHead4(head);
  if (!first || head.size() < kHeader4 + first->name_size) return false;
  const std::string_view name(head.data() + kHeader4, first->name_size);
  return name.find('\0') > 0 && std::ranges::none_of(name.substr(0, name.find('\0')), [](char c) {
           return static_cast<unsigned char>(c) < ' ';
         });
}

MatContents ListMat(MatBytes& bytes, Budget& budget) {
  MatContents contents;
  Lister(bytes, budget, contents).Run();
  return contents;
}

bool MatParser::ReadTag(std::uint64_t end, Tag& tag) {
  const auto ahead = bytes_.Ahead(kTagSize);
  const std::uint64_t position = bytes_.position();
  if (ahead.size() < kTagSize || position > end || end - position < kTagSize) return false;
  const auto word = Load<std::uint32_t>(ahead.data(), order_);
  if (const std::uint32_t few = word >> 16; few != 0) {
    if (few > 4) return false;
    tag.data = {static_cast<MatType>(word & 0xFFFF), few, position + 4};
    tag.next = position + kTagSize;
    return (word & 0xFFFF) <= 0xFF;
  }
  tag.data = {static_cast<MatType>(std::min<std::uint32_t>(word, 0xFF)),
              Load<std::uint32_t>(ahead.data() + 4, order_), position + kTagSize};
  tag.next = tag.data.position + Padded(tag.data.bytes);
  if (end == UINT64_MAX) return true;
  // The last one may stand without its padding.
  tag.next = std::min(tag.next, end);
  return tag.data.bytes <= end - tag.data.position;
}

bool MatParser::ReadBytes(const MatElement& element, std::span<const char>& bytes) {
  if (element.bytes > MatBytes::kMostAhead) return false;
  GoTo(element.position);
  bytes = bytes_.Ahead(static_cast<std::size_t>(element.bytes));
  if (bytes.size() < element.bytes) return false;
  bytes = bytes.first(static_cast<std::size_t>(element.bytes));
  return true;
}

bool MatParser::ReadHead(std::uint64_t end, MatHead& head) {
  Tag tag;
  std::span<const char> bytes;
  if (!ReadTag(end, tag) || tag.data.bytes != 8 || !ReadBytes(tag.data, bytes)) return false;
  const auto flags = Load<std::uint32_t>(bytes.data(), order_);
  constexpr std::uint32_t kLogical = 0x200;
  constexpr std::uint32_t kComplex = 0x800;
  head.kind = static_cast<MatClass>(flags & 0xFF);
  head.is_logical = (flags & kLogical) != 0;
  head.is_complex = (flags & kComplex) != 0;
  head.end = end;
  GoTo(tag.next);
  head.sizes.assign(2, 1);
  if (head.kind != MatClass::kOpaque) {
    if (!ReadTag(end, tag) || !ReadBytes(tag.data, bytes)) return false;
    const std::size_t rank = bytes.size() / 4;
    if ((tag.data.type != MatType::kI32 && tag.data.type != MatType::kU32) || rank < 2 ||
        rank > kMostSizes)
      return false;
    head.sizes.clear();
    std::uint64_t count = 1;
    for (std::size_t i = 0; i < rank; ++i) {
      const auto size = Load<std::uint32_t>(bytes.data() + 4 * i, order_);
      if (size > INT_MAX) return false;
      head.sizes.push_back(size);
      // Also of those that have no values.
      count *= std::max<std::uint32_t>(size, 1);
      if (count > kMostValues) return false;
    }
    GoTo(tag.next);
  }
  constexpr std::uint64_t kLongestName = 4096;
  if (!ReadTag(end, tag) || tag.data.bytes > kLongestName || !ReadBytes(tag.data, bytes))
    return false;
  head.name = Utf8Of({bytes.data(), bytes.size()});
  GoTo(tag.next);
  return true;
}

}  // namespace nvimport
