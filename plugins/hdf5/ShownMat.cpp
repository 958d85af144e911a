// MATLAB 7.3 stores each variable as a data set, whose sizes are the other way round, or a group:
//   MATLAB_class    what it is; MATLAB_int_decode: truth values, as which uint8 are meant
//   MATLAB_empty    its values are its sizes, and it has none
//   MATLAB_sparse   of a group: how many rows; data, ir and jc in it are as in level 5
//   MATLAB_fields   of a group that is a struct: the names of its fields in their order
// Cells are references to what lies in #refs#, and so are the fields of a struct that is an array;
// those of any other lie in its group. Complex numbers have the members real and imag.

#include <algorithm>
#include <climits>
#include <cstring>
#include <map>

#include "nvimport/formats/matrix/MatLayout.h"
#include "nvimport/platform/ByteWriter.h"
#include "plugins/hdf5/ShownFile.h"

namespace nvimport {

namespace {

using Kind = Hdf5Type::Kind;

constexpr auto kOrder = Hdf5File::Order::kLittle;
constexpr unsigned kDeepest = 60;
constexpr std::uint64_t kMostParts = 1 << 20;
constexpr std::size_t kFewBytes = 4096;  // that are read at once with what stands before them

MatType MatTypeOf(const Hdf5Type& type) {
  const bool has_sign = type.kind == Kind::kSigned;
  if (type.kind == Kind::kFloat) return type.size == sizeof(float) ? MatType::kF32 : MatType::kF64;
  switch (type.size) {
    case 1:
      return has_sign ? MatType::kI8 : MatType::kU8;
    case 2:
      return has_sign ? MatType::kI16 : MatType::kU16;
    case 4:
      return has_sign ? MatType::kI32 : MatType::kU32;
    default:
      return has_sign ? MatType::kI64 : MatType::kU64;
  }
}

// The class of that name; none for what has values of no kind that is known.
MatClass ClassOf(std::string_view name) {
  constexpr std::pair<std::string_view, MatClass> kClasses[] = {
      {"cell", MatClass::kCell},
      {"struct", MatClass::kStruct},
      {"char", MatClass::kChar},
      {"double", MatClass::kDouble},
      {"single", MatClass::kSingle},
      {"int8", MatClass::kInt8},
      {"uint8", MatClass::kUInt8},
      {"logical", MatClass::kUInt8},
      {"int16", MatClass::kInt16},
      {"uint16", MatClass::kUInt16},
      {"int32", MatClass::kInt32},
      {"uint32", MatClass::kUInt32},
      {"int64", MatClass::kInt64},
      {"uint64", MatClass::kUInt64},
      {"function_handle", MatClass::kFunction}};
  const auto* const found =
      std::ranges::find(kClasses, name, &std::pair<std::string_view, MatClass>::first);
  return found != std::end(kClasses) ? found->second : MatClass::kOpaque;
}

// That of a data set that does not say it.
MatClass ClassOf(const Hdf5Type& type) {
  if (type.kind == Kind::kReference) return MatClass::kCell;
  if (!type.is_number()) return MatClass::kOpaque;
  switch (MatTypeOf(type)) {
    case MatType::kF64:
      return MatClass::kDouble;
    case MatType::kF32:
      return MatClass::kSingle;
    case MatType::kI8:
      return MatClass::kInt8;
    case MatType::kU8:
      return MatClass::kUInt8;
    case MatType::kI16:
      return MatClass::kInt16;
    case MatType::kU16:
      return MatClass::kUInt16;
    case MatType::kI32:
      return MatClass::kInt32;
    case MatType::kU32:
      return MatClass::kUInt32;
    case MatType::kI64:
      return MatClass::kInt64;
    default:
      return MatClass::kUInt64;
  }
}

class Showing {
 public:
  Showing(Hdf5File& file, ShownFile& shown) : file_(file), shown_(shown) {}

  bool Run() {
    const Hdf5Object root = file_.Root();
    if (!root.id.is_open()) return false;
    for (const Hdf5Link& link : file_.Links(root))
      if (link.name != "#refs#" && link.name != "#subsystem#")
        Array(file_.Open(link.address), link.name, 0);
    return true;
  }

 private:
  using Sizes = std::vector<std::uint64_t>;

  template <typename Number>
  void Put(Number number) {
    char bytes[sizeof number];
    StoreLittle(bytes, number);
    shown_.Add({bytes, sizeof bytes});
  }
  void PutElement(MatType type, std::string_view bytes) {
    Put(static_cast<std::uint32_t>(type));
    Put(static_cast<std::uint32_t>(bytes.size()));
    shown_.Add(bytes);
    shown_.Pad(8);
  }
  void PutHead(MatClass kind, std::uint32_t flags, const Sizes& sizes, const std::string& name) {
    std::string bytes;
    AppendLittle(bytes, static_cast<std::uint32_t>(kind) | flags);
    AppendLittle(bytes, std::uint32_t{0});
    PutElement(MatType::kU32, bytes);
    if (kind != MatClass::kOpaque) {
      bytes.clear();
      for (const std::uint64_t size : sizes)
        AppendLittle(bytes, static_cast<std::uint32_t>(std::min<std::uint64_t>(size, INT_MAX)));
      PutElement(MatType::kI32, bytes);
    }
    PutElement(MatType::kI8, name);
  }
  // What there is no matrix of, with what the user is told it is.
  void PutOther(const std::string& name, std::string_view what) {
    PutHead(MatClass::kOpaque, 0, {}, name);
    PutElement(MatType::kI8, "MCOS");
    PutElement(MatType::kI8, what);
  }

  bool PutData(const Hdf5Data& data, MatType type) {
    const std::uint64_t bytes = data.bytes();
    if (bytes > UINT32_MAX) return false;
    Put(static_cast<std::uint32_t>(type));
    Put(static_cast<std::uint32_t>(bytes));
    std::string few(bytes <= kFewBytes ? static_cast<std::size_t>(bytes) : 0, '\0');
    // What can't be read now will tell then.
    if (!few.empty() && file_.Read(data, 0, data.count(), few.data()))
      shown_.Add(few);
    else
      shown_.Add(data);
    shown_.Pad(8);
    return true;
  }

  // An array as an element. One that does not fit is shown as something that there is no matrix of.
  void Array(const Hdf5Object& object, const std::string& name, unsigned depth) {
    constexpr std::size_t kTag = 8;
    ++parts_;
    const std::uint64_t begin = shown_.size();
    Put(static_cast<std::uint32_t>(MatType::kMatrix));
    Put(std::uint32_t{0});
    std::string what = "damaged object";
    const bool is_there = object.id.is_open() && depth < kDeepest && parts_ < kMostParts;
    bool is_shown = is_there && (object.is_group()  ? Group(object, name, depth, what)
                                 : object.is_data() ? Data(object, name, depth, what)
                                                    : false);
    if (is_shown && shown_.size() - begin > UINT32_MAX) {
      what = "array of more than 4 GiB";
      is_shown = false;
    }
    if (!is_shown) {
      shown_.CutTo(begin + kTag);
      PutOther(name, what);
    }
    char size[sizeof(std::uint32_t)];
    StoreLittle(size, static_cast<std::uint32_t>(shown_.size() - begin - kTag));
    shown_.Change(begin + sizeof size, {size, sizeof size});
  }

  bool Data(const Hdf5Object& object, const std::string& name, unsigned depth, std::string& what) {
    std::vector<Hdf5Data> data;
    const char* const why = file_.Describe(object, data);
    const std::string kind_name = ClassName(object);
    if (why != nullptr) what = kind_name + ", " + why;
    if (data.empty()) return false;
    MatClass kind = kind_name.empty() ? ClassOf(data.front().type) : ClassOf(kind_name);
    if (kind == MatClass::kOpaque || kind == MatClass::kFunction) {
      what = kind_name;
      return false;
    }
    Sizes sizes(data.front().sizes.rbegin(), data.front().sizes.rend());
    bool is_empty = false;
    if (file_.Attribute(object, "MATLAB_empty", kOrder).Whole() != 0) {
      is_empty = true;
      sizes = Wholes(data.front());
    }
    while (sizes.size() < 2) sizes.push_back(1);
    if (std::ranges::any_of(sizes, [](std::uint64_t size) { return size > INT_MAX; })) {
      what = "array of more than 2147483647 rows or columns";
      return false;
    }
    if (kind == MatClass::kCell || kind == MatClass::kStruct) {
      if (kind == MatClass::kStruct && !is_empty) return false;
      return Cells(kind, is_empty ? Sizes{} : Wholes(data.front()), sizes, name, depth);
    }
    if (!data.front().type.is_number()) return false;
    const bool is_complex =
        data.size() == 2 && data[0].member == "real" && data[1].member == "imag";
    if (!is_complex && !data.front().member.empty()) return false;
    PutHead(kind, Flags(object, kind_name) | (is_complex ? kComplex : 0U), sizes, name);
    if (is_empty) return PutElement(MatType::kU8, ""), true;
    for (const Hdf5Data& part : data) {
      const MatType type = MatTypeOf(part.type);
      if (!PutData(part,
                   kind == MatClass::kChar && type == MatType::kU16 ? MatType::kUtf16 : type)) {
        what = "array of more than 4 GiB";
        return false;
      }
    }
    return true;
  }

  // A cell array, or an empty struct.
  bool Cells(MatClass kind, const Sizes& references, const Sizes& sizes, const std::string& name,
             unsigned depth) {
    PutHead(kind, 0, sizes, name);
    if (kind == MatClass::kStruct) {
      PutElement(MatType::kI32, std::string("\1\0\0\0", 4));
      PutElement(MatType::kI8, "");
    }
    for (const std::uint64_t reference : references) Element(reference, depth + 1);
    return parts_ < kMostParts;
  }

  // What a reference leads to, which is the address of an object.
  void Element(std::uint64_t reference, unsigned depth) {
    if (reference != 0) return Array(file_.Open(reference), "", depth);
    Put(static_cast<std::uint32_t>(MatType::kMatrix));
    Put(std::uint32_t{0});
  }

  bool Group(const Hdf5Object& object, const std::string& name, unsigned depth, std::string& what) {
    const std::string kind_name = ClassName(object);
    if (file_.HasAttribute(object, "MATLAB_sparse")) return Sparse(object, kind_name, name);
    if (!kind_name.empty() && ClassOf(kind_name) != MatClass::kStruct &&
        !file_.HasAttribute(object, "MATLAB_fields")) {
      what = kind_name;
      return false;
    }
    // Fields in their order, where that is kept.
    std::vector<Hdf5Link> fields = file_.Links(object);
    const std::string order = ", " + file_.Attribute(object, "MATLAB_fields", kOrder).bytes + ", ";
    std::ranges::stable_sort(
        fields, {}, [&](const Hdf5Link& link) { return order.find(", " + link.name + ", "); });
    // Of an array each field is a list of references, one for each element.
    std::vector<Hdf5Object> values;
    std::vector<Sizes> lists;
    Sizes sizes = {1, 1};
    for (const Hdf5Link& field : fields) {
      values.push_back(file_.Open(field.address));
      std::vector<Hdf5Data> data;
      const bool may_be_list = values.back().is_data() && ClassName(values.back()).empty();
      if (may_be_list && file_.Describe(values.back(), data) == nullptr && data.size() == 1 &&
          data.front().type.kind == Kind::kReference) {
        Sizes found(data.front().sizes.rbegin(), data.front().sizes.rend());
        while (found.size() < 2) found.push_back(1);
        if (!lists.empty() && found != sizes) return false;
        sizes = std::move(found);
        lists.push_back(Wholes(data.front()));
      }
    }
    if (!lists.empty() && lists.size() != fields.size()) return false;
    PutHead(MatClass::kStruct, 0, sizes, name);
    std::size_t longest = 1;
    for (const Hdf5Link& field : fields) longest = std::max(longest, field.name.size() + 1);
    std::string bytes;
    AppendLittle(bytes, static_cast<std::uint32_t>(longest));
    PutElement(MatType::kI32, bytes);
    bytes.clear();
    for (const Hdf5Link& field : fields) {
      bytes += field.name;
      bytes.resize((bytes.size() + longest - 1) / longest * longest, '\0');
    }
    PutElement(MatType::kI8, bytes);
    if (lists.empty()) {
      for (const Hdf5Object& value : values) Array(value, "", depth + 1);
      return true;
    }
    for (std::size_t i = 0; i < lists.front().size() && parts_ < kMostParts; ++i)
      for (const Sizes& list : lists) Element(list[i], depth + 1);
    return parts_ < kMostParts;
  }

  bool Sparse(const Hdf5Object& object, const std::string& kind_name, const std::string& name) {
    std::map<std::string, std::vector<Hdf5Data>> parts;
    for (const Hdf5Link& link : file_.Links(object)) {
      const Hdf5Object part = file_.Open(link.address);
      if (part.is_data() && file_.Describe(part, parts[link.name]) != nullptr) return false;
    }
    const std::vector<Hdf5Data>& values = parts["data"];
    const std::vector<Hdf5Data>& rows = parts["ir"];
    const std::vector<Hdf5Data>& starts = parts["jc"];
    if (starts.size() != 1 || starts.front().count() == 0) return false;
    const bool is_complex = values.size() == 2;
    const Sizes sizes = {file_.Attribute(object, "MATLAB_sparse", kOrder).Whole(),
                         starts.front().count() - 1};
    if (std::max(sizes[0], sizes[1]) > INT_MAX) return false;
    PutHead(MatClass::kSparse, Flags(object, kind_name) | (is_complex ? kComplex : 0U), sizes,
            name);
    const auto put = [&](const std::vector<Hdf5Data>& data, std::size_t at) {
      if (at >= data.size()) return PutElement(MatType::kU8, ""), true;
      return data[at].type.is_number() && PutData(data[at], MatTypeOf(data[at].type));
    };
    return put(rows, 0) && put(starts, 0) && put(values, 0) && (!is_complex || put(values, 1));
  }

  std::string ClassName(const Hdf5Object& object) const {
    return file_.HasAttribute(object, "MATLAB_class")
               ? file_.Attribute(object, "MATLAB_class", kOrder).bytes
               : "";
  }

  std::uint32_t Flags(const Hdf5Object& object, const std::string& kind_name) const {
    constexpr std::uint32_t kLogical = 0x200;
    const bool is_truth = kind_name == "logical" ||
                          (kind_name == "uint8" && file_.HasAttribute(object, "MATLAB_int_decode"));
    return is_truth ? kLogical : 0;
  }

  // A list of whole numbers or references, no more than a file of its size may have.
  Sizes Wholes(const Hdf5Data& data) {
    Sizes wholes;
    const bool is_list = data.type.size == sizeof(std::uint64_t) && data.type.kind != Kind::kText &&
                         data.bytes() <= file_.size();
    if (!is_list) return wholes;
    wholes.resize(static_cast<std::size_t>(data.count()));
    if (!file_.Read(data, 0, wholes.size(), reinterpret_cast<char*>(wholes.data()))) wholes.clear();
    return wholes;
  }

  static constexpr std::uint32_t kComplex = 0x800;

  Hdf5File& file_;
  ShownFile& shown_;
  std::uint64_t parts_ = 0;
};

}  // namespace

bool ShowAsMat(Hdf5File& file, std::string_view header, ShownFile& shown) {
  constexpr std::size_t kText = 116;
  std::string head(header.substr(0, kText));
  head.resize(kText, ' ');
  head += "        ";
  head += std::string_view("\0\1IM", 4);
  shown.Add(head);
  return Showing(file, shown).Run();
}

}  // namespace nvimport
