// What netCDF-4 adds to HDF5: a dimension is a data set with the attribute CLASS, a variable too if
// it has its name; those that are none are named so by the attribute NAME. Which dimensions a
// variable has is said by references in its attribute DIMENSION_LIST, of those that are themselves
// dimensions by numbers in _Netcdf4Coordinates, which they have as _Netcdf4Dimid. Files without
// these have dimensions as long as their data sets are.

#include <algorithm>
#include <map>
#include <set>

#include "nvimport/formats/matrix/NetcdfLayout.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/ByteWriter.h"
#include "plugins/hdf5/ShownFile.h"

namespace nvimport {

namespace {

using Kind = Hdf5Type::Kind;

constexpr std::uint32_t kDimensions = 10;
constexpr std::uint32_t kVariables = 11;
constexpr std::uint32_t kAttributes = 12;
constexpr unsigned kDeepest = 64;
constexpr std::size_t kMostObjects = 1 << 18;

NetcdfType NetcdfTypeOf(const Hdf5Type& type) {
  switch (type.kind) {
    case Kind::kSigned:
      return type.size == 1   ? NetcdfType::kI8
             : type.size == 2 ? NetcdfType::kI16
             : type.size == 4 ? NetcdfType::kI32
                              : NetcdfType::kI64;
    case Kind::kUnsigned:
      return type.size == 1   ? NetcdfType::kU8
             : type.size == 2 ? NetcdfType::kU16
             : type.size == 4 ? NetcdfType::kU32
                              : NetcdfType::kU64;
    case Kind::kFloat:
      return type.size == sizeof(float) ? NetcdfType::kF32 : NetcdfType::kF64;
    case Kind::kText:
      return NetcdfType::kText;
    default:
      return NetcdfType::kChar;
  }
}

// What the conventions keep for themselves.
bool IsOfConventions(const std::string& name) {
  constexpr std::string_view kNames[] = {"CLASS",          "NAME",          "DIMENSION_LIST",
                                         "REFERENCE_LIST", "_Netcdf4Dimid", "_Netcdf4Coordinates",
                                         "_nc3_strict",    "_NCProperties", "DIMENSION_LABELS"};
  return std::ranges::find(kNames, name) != std::end(kNames);
}

class Showing {
 public:
  Showing(Hdf5File& file, ShownFile& shown) : file_(file), shown_(shown) {}

  bool Run() {
    const Hdf5Object root = file_.Root();
    if (!root.id.is_open()) return false;
    Collect(root, "", 0);
    for (Found& found : found_) Dimension(found);
    for (Found& found : found_) Shape(found);
    std::string left;
    for (const std::string& name : left_) left += (left.empty() ? "" : "; ") + name;
    attributes_ = file_.Attributes(root);
    Write(left);
    return true;
  }

 private:
  struct Found {
    std::string name;
    Hdf5Object object;
    std::vector<Hdf5Data> data;
    bool is_dimension = false;
    bool is_variable = true;
    std::vector<std::uint64_t> dimensions{};
  };
  struct Named {
    std::string name;
    std::uint64_t length;
  };

  // What lies in a group, whose name ends with a slash unless it is the root.
  void Collect(const Hdf5Object& group, const std::string& prefix, unsigned depth) {
    for (const Hdf5Link& link : file_.Links(group)) {
      if (found_.size() + left_.size() >= kMostObjects || !seen_.insert(link.address).second)
        continue;
      Hdf5Object object = file_.Open(link.address);
      // So called where a dimension that it does not lie along has its name.
      constexpr std::string_view kOther = "_nc4_non_coord_";
      const std::string name =
          prefix + link.name.substr(link.name.starts_with(kOther) ? kOther.size() : 0);
      if (object.is_group() && depth < kDeepest) {
        Collect(object, name + "/", depth + 1);
      } else if (object.is_data()) {
        std::vector<Hdf5Data> data;
        const char* const why = file_.Describe(object, data);
        if (why != nullptr) left_.push_back(name + " (" + why + ")");
        if (!data.empty()) found_.push_back({name, std::move(object), std::move(data)});
      } else if (!object.id.is_open()) {
        left_.push_back(name + " (damaged)");
      }
    }
  }

  // A name that no other dimension has.
  std::uint64_t AddDimension(std::string name, std::uint64_t length) {
    while (!dimension_names_.insert(name).second) name += '_';
    dimensions_.push_back({std::move(name), length});
    return dimensions_.size() - 1;
  }

  void Dimension(Found& found) {
    constexpr std::string_view kNoVariable = "This is a netCDF dimension but not a netCDF variable";
    constexpr auto kOrder = Hdf5File::Order::kLittle;
    if (file_.Attribute(found.object, "CLASS", kOrder).bytes != "DIMENSION_SCALE") return;
    const std::vector<hsize_t>& sizes = found.data.front().sizes;
    if (sizes.empty()) return;
    found.is_dimension = true;
    found.is_variable =
        !file_.Attribute(found.object, "NAME", kOrder).bytes.starts_with(kNoVariable);
    const std::uint64_t number = AddDimension(found.name, sizes.front());
    by_object_[found.object.address] = number;
    const Hdf5Attribute id = file_.Attribute(found.object, "_Netcdf4Dimid", kOrder);
    if (id.count == 1) by_id_[id.Whole()] = number;
  }

  void Shape(Found& found) {
    constexpr auto kOrder = Hdf5File::Order::kLittle;
    const std::vector<hsize_t>& sizes = found.data.front().sizes;
    std::vector<std::uint64_t> stated;
    const Hdf5Attribute list = file_.Attribute(found.object, "DIMENSION_LIST", kOrder);
    const Hdf5Attribute ids = file_.Attribute(found.object, "_Netcdf4Coordinates", kOrder);
    if (list.type.kind == Kind::kReference) {
      // A reference is the address of an object.
      for (std::size_t i = 0; i < list.count; ++i) {
        const auto known =
            by_object_.find(LoadLittle<std::uint64_t>(list.bytes.data() + sizeof(hobj_ref_t) * i));
        stated.push_back(known != by_object_.end() ? known->second : kNone);
      }
    } else if (ids.type.size == sizeof(std::int32_t)) {
      for (std::size_t i = 0; i < ids.count; ++i) {
        const auto known = by_id_.find(LoadLittle<std::uint32_t>(ids.bytes.data() + 4 * i));
        stated.push_back(known != by_id_.end() ? known->second : kNone);
      }
    } else if (found.is_dimension) {
      stated = {by_object_[found.object.address]};
    }
    stated.resize(sizes.size(), kNone);
    for (std::size_t i = 0; i < sizes.size(); ++i) {
      const bool is_so = stated[i] != kNone && dimensions_[stated[i]].length == sizes[i];
      found.dimensions.push_back(is_so ? stated[i] : ByLength(found, sizes[i]));
    }
  }

  // Data sets of one length are thought to be of the same things.
  std::uint64_t ByLength(const Found& found, std::uint64_t length) {
    const auto times = static_cast<std::size_t>(std::ranges::count_if(
        found.dimensions, [&](std::uint64_t at) { return dimensions_[at].length == length; }));
    const auto [known, is_new] = by_length_.try_emplace({length, times}, 0);
    if (is_new) {
      const std::string more = times > 0 ? "_" + std::to_string(times + 1) : "";
      known->second = AddDimension("dim" + std::to_string(length) + more, length);
    }
    return known->second;
  }

  template <typename Number>
  void Put(Number number) {
    char bytes[sizeof number];
    StoreBig(bytes, number);
    shown_.Add({bytes, sizeof bytes});
  }
  void PutPadded(std::string_view bytes) {
    shown_.Add(bytes);
    shown_.Pad(4);
  }
  void PutName(std::string_view name) {
    Put(std::uint64_t{name.size()});
    PutPadded(name);
  }
  void PutType(NetcdfType type) { Put(static_cast<std::uint32_t>(type)); }

  void PutAttributes(std::vector<Hdf5Attribute> attributes) {
    std::erase_if(attributes, [](const Hdf5Attribute& attribute) {
      return IsOfConventions(attribute.name) || attribute.type.kind == Kind::kReference;
    });
    Put(kAttributes);
    Put(std::uint64_t{attributes.size()});
    for (const Hdf5Attribute& attribute : attributes) {
      PutName(attribute.name);
      const bool is_number = attribute.type.is_number();
      PutType(is_number ? NetcdfTypeOf(attribute.type) : NetcdfType::kChar);
      Put(std::uint64_t{is_number ? attribute.count : attribute.bytes.size()});
      PutPadded(attribute.bytes);
    }
  }

  void Write(const std::string& left) {
    shown_.Add("CDF\4");
    Put(std::uint64_t{0});
    // Texts of fixed length have a dimension of their own.
    std::map<std::uint64_t, std::uint64_t> of_texts;
    std::vector<std::pair<const Found*, const Hdf5Data*>> variables;
    for (const Found& found : found_)
      for (const Hdf5Data& data : found.data) {
        if (!found.is_variable || data.count() == 0 || data.type.kind == Kind::kReference) continue;
        variables.emplace_back(&found, &data);
        if (data.type.kind == Kind::kChars && data.type.size > 1 &&
            !of_texts.contains(data.type.size))
          of_texts[data.type.size] =
              AddDimension("string" + std::to_string(data.type.size), data.type.size);
      }
    Put(kDimensions);
    Put(std::uint64_t{dimensions_.size()});
    for (const Named& dimension : dimensions_) {
      PutName(dimension.name);
      Put(std::max<std::uint64_t>(dimension.length, 1));  // 0 would mean something else
    }
    if (!left.empty()) {
      Hdf5Attribute attribute{"left out", {Kind::kChars, 1}, left.size(), left};
      attributes_.push_back(std::move(attribute));
    }
    PutAttributes(std::move(attributes_));
    Put(kVariables);
    Put(std::uint64_t{variables.size()});
    std::vector<std::uint64_t> begins;
    for (const auto& [found, data] : variables) {
      PutName(data->member.empty() ? found->name : found->name + "." + data->member);
      const bool has_length = data->type.kind == Kind::kChars && data->type.size > 1;
      Put(std::uint64_t{found->dimensions.size() + (has_length ? 1 : 0)});
      for (const std::uint64_t dimension : found->dimensions) Put(dimension);
      if (has_length) Put(of_texts[data->type.size]);
      PutAttributes(file_.Attributes(found->object));
      PutType(NetcdfTypeOf(data->type));
      Put(std::uint64_t{0});  // its size follows from its shape
      begins.push_back(shown_.size());
      Put(std::uint64_t{0});
    }
    for (std::size_t i = 0; i < variables.size(); ++i) {
      char begin[sizeof(std::uint64_t)];
      StoreBig(begin, shown_.size());
      shown_.Change(begins[i], {begin, sizeof begin});
      shown_.Add(*variables[i].second);
      shown_.Pad(4);
    }
  }

  static constexpr std::uint64_t kNone = UINT64_MAX;

  Hdf5File& file_;
  ShownFile& shown_;
  std::set<haddr_t> seen_;
  std::vector<Found> found_;
  std::vector<std::string> left_;
  std::vector<Hdf5Attribute> attributes_;
  std::vector<Named> dimensions_;
  std::set<std::string> dimension_names_;
  std::map<haddr_t, std::uint64_t> by_object_;
  std::map<std::uint64_t, std::uint64_t> by_id_;
  std::map<std::pair<std::uint64_t, std::size_t>, std::uint64_t> by_length_;
};

}  // namespace

bool ShowAsNetcdf(Hdf5File& file, ShownFile& shown) { return Showing(file, shown).Run(); }

}  // namespace nvimport
