#include "plugins/hdf5/Hdf5.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "nvimport/platform/ByteWriter.h"
#include "nvimport/platform/InputFile.h"

namespace nvimport {

namespace {

constexpr std::size_t kMostLinks = 1 << 20;
constexpr std::size_t kMostAttributes = 4096;
constexpr std::uint64_t kLargestAttribute = 1 << 20;
// No deflated byte stands for more. Beyond it are values that nobody wrote, of which a file may
// claim any number.
constexpr std::uint64_t kMostRatio = 1032;
constexpr std::uint64_t kMostUnwritten = std::uint64_t{64} << 20;
// As often what is packed is unpacked, and so much at least.
constexpr std::uint64_t kMostWork = std::uint64_t{1} << 33;
constexpr std::uint64_t kShare = 64;
constexpr std::uint64_t kMostKept = std::uint64_t{240} << 20;
constexpr std::uint64_t kMostTexts = std::uint64_t{16}
                                     << 20;  // at once, beside as many as the file has bytes

constexpr const char* kDamaged = "damaged";

std::uint64_t Times(std::uint64_t a, std::uint64_t b) {
  constexpr std::uint64_t kBeyond = std::uint64_t{1} << 62;
  return a != 0 && b > kBeyond / a ? kBeyond : a * b;
}

std::vector<hsize_t> SizesOf(hid_t space) {
  const int rank = H5Sget_simple_extent_ndims(space);
  std::vector<hsize_t> sizes(static_cast<std::size_t>(std::max(rank, 0)));
  if (rank > 0) H5Sget_simple_extent_dims(space, sizes.data(), nullptr);
  return sizes;
}

std::uint64_t CountOf(std::span<const hsize_t> sizes) {
  std::uint64_t count = 1;
  for (const hsize_t size : sizes) count = Times(count, size);
  return count;
}

// Only what the library has built in unpacks.
bool HasKnownFilters(hid_t plan) {
  const int filters = H5Pget_nfilters(plan);
  if (filters < 0) return false;
  for (int i = 0; i < filters; ++i) {
    unsigned flags = 0;
    std::size_t values = 0;
    const H5Z_filter_t filter = H5Pget_filter2(plan, static_cast<unsigned>(i), &flags, &values,
                                               nullptr, 0, nullptr, nullptr);
    if (filter < H5Z_FILTER_DEFLATE || filter > H5Z_FILTER_SCALEOFFSET ||
        H5Zfilter_avail(filter) <= 0)
      return false;
  }
  return true;
}

herr_t AddLink(hid_t, const char* name, const H5L_info_t* info, void* to) {
  auto& links = *static_cast<std::vector<Hdf5Link>*>(to);
  if (info->type == H5L_TYPE_HARD) links.push_back({name, info->u.address});
  return links.size() < kMostLinks ? 0 : 1;
}

herr_t AddName(hid_t, const char* name, const H5A_info_t*, void* to) {
  auto& names = *static_cast<std::vector<std::string>*>(to);
  names.emplace_back(name);
  return names.size() < kMostAttributes ? 0 : 1;
}

}  // namespace

Hdf5Type TypeOf(hid_t type) {
  using Kind = Hdf5Type::Kind;
  const std::size_t size = H5Tget_size(type);
  const bool is_whole_size = size == 1 || size == 2 || size == 4 || size == 8;
  switch (H5Tget_class(type)) {
    case H5T_INTEGER:
      if (!is_whole_size) return {};
      return {H5Tget_sign(type) == H5T_SGN_NONE ? Kind::kUnsigned : Kind::kSigned, size};
    case H5T_ENUM: {
      const Hdf5Id base(H5Tget_super(type));
      return base.is_open() && H5Tget_class(base.get()) == H5T_INTEGER ? TypeOf(base.get())
                                                                       : Hdf5Type{};
    }
    case H5T_FLOAT:
      return {Kind::kFloat, size <= sizeof(float) ? sizeof(float) : sizeof(double)};
    case H5T_STRING:
      if (H5Tis_variable_str(type) > 0) return {Kind::kText, sizeof(std::uint64_t)};
      return size > 0 ? Hdf5Type{Kind::kChars, size} : Hdf5Type{};
    case H5T_REFERENCE:
      return H5Tequal(type, H5T_STD_REF_OBJ) > 0 ? Hdf5Type{Kind::kReference, sizeof(hobj_ref_t)}
                                                 : Hdf5Type{};
    default:
      return {};
  }
}

std::uint64_t Hdf5Attribute::Whole() const {
  if (!type.is_number() || type.kind == Hdf5Type::Kind::kFloat || bytes.size() < type.size)
    return 0;
  std::uint64_t value = 0;
  std::memcpy(&value, bytes.data(), type.size);  // of little-endian machines
  return value;
}

std::uint64_t Hdf5Data::count() const { return CountOf(sizes); }
std::uint64_t Hdf5Data::bytes() const { return Times(count(), type.size); }

Hdf5File::Hdf5File(const char* path, Order order) : order_(order) {
  H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
  H5PLset_loading_state(0);
  size_ = InputFile(path).size();
  const Hdf5Id access(H5Pcreate(H5P_FILE_ACCESS));
  // Other drivers take the name of a file that it had before.
  H5Pset_fapl_stdio(access.get());
  kept_ = (std::size_t{16} << 20) + static_cast<std::size_t>(std::min(size_ / 2, kMostKept));
  constexpr std::size_t kSlots = 10007;
  constexpr double kReadFirst = 1;  // chunks that were read go first
  H5Pset_cache(access.get(), 0, kSlots, kept_, kReadFirst);
#if H5_VERSION_GE(1, 10, 7)
  H5Pset_file_locking(access.get(), false, true);
#endif
  file_ = Hdf5Id(H5Fopen(path, H5F_ACC_RDONLY, access.get()));
}

Hdf5Object Hdf5File::Open(haddr_t address) const {
  return {address, Hdf5Id(H5Oopen_by_addr(file_.get(), address))};
}

Hdf5Object Hdf5File::Root() const { return {HADDR_UNDEF, Hdf5Id(H5Gopen2(file_.get(), "/", 0))}; }

std::vector<Hdf5Link> Hdf5File::Links(const Hdf5Object& group) const {
  std::vector<Hdf5Link> links;
  const Hdf5Id plan(H5Gget_create_plist(group.id.get()));
  unsigned order = 0;
  const bool is_kept = plan.is_open() && H5Pget_link_creation_order(plan.get(), &order) >= 0 &&
                       (order & H5P_CRT_ORDER_INDEXED) != 0;
  for (const H5_index_t index : {H5_INDEX_CRT_ORDER, H5_INDEX_NAME}) {
    if (index == H5_INDEX_CRT_ORDER && !is_kept) continue;
    links.clear();
    if (H5Literate(group.id.get(), index, H5_ITER_INC, nullptr, &AddLink, &links) >= 0) break;
  }
  return links;
}

Hdf5Id Hdf5File::MemoryType(const Hdf5Type& type, hid_t stored) const {
  using Kind = Hdf5Type::Kind;
  const bool is_big = order_ == Order::kBig;
  const auto of = [&](hid_t little, hid_t big) { return Hdf5Id(H5Tcopy(is_big ? big : little)); };
  switch (type.kind) {
    case Kind::kSigned:
      return type.size == 1   ? of(H5T_STD_I8LE, H5T_STD_I8BE)
             : type.size == 2 ? of(H5T_STD_I16LE, H5T_STD_I16BE)
             : type.size == 4 ? of(H5T_STD_I32LE, H5T_STD_I32BE)
                              : of(H5T_STD_I64LE, H5T_STD_I64BE);
    case Kind::kUnsigned:
      return type.size == 1   ? of(H5T_STD_U8LE, H5T_STD_U8BE)
             : type.size == 2 ? of(H5T_STD_U16LE, H5T_STD_U16BE)
             : type.size == 4 ? of(H5T_STD_U32LE, H5T_STD_U32BE)
                              : of(H5T_STD_U64LE, H5T_STD_U64BE);
    case Kind::kFloat:
      return type.size == sizeof(float) ? of(H5T_IEEE_F32LE, H5T_IEEE_F32BE)
                                        : of(H5T_IEEE_F64LE, H5T_IEEE_F64BE);
    case Kind::kChars:
    case Kind::kText:
    case Kind::kReference:
      return Hdf5Id(H5Tcopy(stored));
    case Kind::kNone:
      break;
  }
  return {};
}

bool Hdf5File::ReadAttribute(hid_t id, Order order, Hdf5Attribute& attribute) const {
  using Kind = Hdf5Type::Kind;
  const Hdf5Id stored(H5Aget_type(id));
  const Hdf5Id space(H5Aget_space(id));
  if (!stored.is_open() || !space.is_open()) return false;
  const H5S_class_t shape = H5Sget_simple_extent_type(space.get());
  const std::uint64_t count = shape == H5S_NULL ? 0 : CountOf(SizesOf(space.get()));
  hid_t type = stored.get();
  Hdf5Id inner;
  // Lists of references, and of characters, stand in a list each.
  if (H5Tget_class(type) == H5T_VLEN) {
    inner = Hdf5Id(H5Tget_super(type));
    type = inner.get();
  }
  attribute.type = TypeOf(type);
  if (attribute.type.kind == Kind::kNone) return false;
  if (Times(count, std::max<std::uint64_t>(attribute.type.size, sizeof(hvl_t))) > kLargestAttribute)
    return false;
  attribute.count = static_cast<std::size_t>(count);
  if (count == 0) return true;
  const auto add_text = [&](std::string_view text) {
    if (!attribute.bytes.empty()) attribute.bytes += ", ";
    attribute.bytes += text.substr(0, text.find('\0'));
  };
  if (inner.is_open()) {
    // Of each list, its first reference or all its characters.
    std::vector<hvl_t> lists(attribute.count);
    if (H5Aread(id, stored.get(), lists.data()) < 0) return false;
    for (const hvl_t& list : lists) {
      const std::string_view bytes(static_cast<const char*>(list.p),
                                   list.p != nullptr ? Times(list.len, attribute.type.size) : 0);
      if (attribute.type.kind == Kind::kReference)
        attribute.bytes += bytes.empty() ? std::string(sizeof(hobj_ref_t), '\0')
                                         : std::string(bytes.substr(0, sizeof(hobj_ref_t)));
      else if (attribute.type.kind == Kind::kChars)
        add_text(bytes);
    }
    H5Dvlen_reclaim(stored.get(), space.get(), H5P_DEFAULT, lists.data());
    return attribute.type.kind == Kind::kReference || attribute.type.kind == Kind::kChars;
  }
  if (attribute.type.kind == Kind::kText) {
    std::vector<char*> texts(attribute.count);
    if (H5Aread(id, stored.get(), texts.data()) < 0) return false;
    for (const char* text : texts) add_text(text != nullptr ? text : "");
    H5Dvlen_reclaim(stored.get(), space.get(), H5P_DEFAULT, texts.data());
    return true;
  }
  std::string bytes(attribute.count * attribute.type.size, '\0');
  const Hdf5Id memory = MemoryType(attribute.type, stored.get());
  if (attribute.type.is_number())
    H5Tset_order(memory.get(), order == Order::kBig ? H5T_ORDER_BE : H5T_ORDER_LE);
  if (H5Aread(id, memory.get(), bytes.data()) < 0) return false;
  if (attribute.type.kind != Kind::kChars) {
    attribute.bytes = std::move(bytes);
    return true;
  }
  for (std::size_t at = 0; at < bytes.size(); at += attribute.type.size)
    add_text(std::string_view(bytes).substr(at, attribute.type.size));
  return true;
}

std::vector<Hdf5Attribute> Hdf5File::Attributes(const Hdf5Object& object) const {
  std::vector<std::string> names;
  if (H5Aiterate2(object.id.get(), H5_INDEX_CRT_ORDER, H5_ITER_INC, nullptr, &AddName, &names) <
      0) {
    names.clear();
    H5Aiterate2(object.id.get(), H5_INDEX_NAME, H5_ITER_INC, nullptr, &AddName, &names);
  }
  std::vector<Hdf5Attribute> attributes;
  for (std::string& name : names) {
    Hdf5Attribute attribute = Attribute(object, name.c_str(), order_);
    if (attribute.type.kind != Hdf5Type::Kind::kNone) attributes.push_back(std::move(attribute));
  }
  return attributes;
}

Hdf5Attribute Hdf5File::Attribute(const Hdf5Object& object, const char* name, Order order) const {
  Hdf5Attribute attribute;
  const Hdf5Id id(H5Aopen(object.id.get(), name, H5P_DEFAULT));
  if (!id.is_open() || !ReadAttribute(id.get(), order, attribute)) return {};
  attribute.name = name;
  return attribute;
}

const char* Hdf5File::RefusalOf(const Hdf5Object& object) {
  const Hdf5Id plan(H5Dget_create_plist(object.id.get()));
  if (!plan.is_open()) return kDamaged;
  const H5D_layout_t layout = H5Pget_layout(plan.get());
  if (H5Pget_external_count(plan.get()) != 0 || layout == H5D_VIRTUAL)
    return "its values are in other files";
  if (layout != H5D_COMPACT && layout != H5D_CONTIGUOUS && layout != H5D_CHUNKED) return kDamaged;
  return HasKnownFilters(plan.get()) ? nullptr : "packed in a way that is not known";
}

const char* Hdf5File::RefusalOf(const Hdf5Object& object, std::uint64_t bytes) {
  const std::uint64_t stored = H5Dget_storage_size(object.id.get());
  // What has few may be shown many times.
  constexpr std::uint64_t kFew = 4096;
  if (stored > kFew) {
    if (stored > size_ - stored_) return "larger than the file";
    stored_ += stored;
  }
  const std::uint64_t packed = Times(stored, kMostRatio);
  const std::uint64_t more = bytes > packed ? bytes - packed : 0;
  if (more > kMostUnwritten - more_) return "larger than what the file holds of it";
  more_ += more;
  return nullptr;
}

const char* Hdf5File::Describe(const Hdf5Object& object, std::vector<Hdf5Data>& data) {
  data.clear();
  // Before anything else: asking for the size of a set in other files would open those.
  if (const char* const why = RefusalOf(object)) return why;
  const Hdf5Id type(H5Dget_type(object.id.get()));
  const Hdf5Id space(H5Dget_space(object.id.get()));
  if (!type.is_open() || !space.is_open()) return kDamaged;
  if (H5Sget_simple_extent_type(space.get()) == H5S_NULL) return nullptr;
  const std::vector<hsize_t> sizes = SizesOf(space.get());
  if (H5Tget_class(type.get()) == H5T_COMPOUND) {
    const int members = H5Tget_nmembers(type.get());
    for (int i = 0; i < members; ++i) {
      const Hdf5Id inner(H5Tget_member_type(type.get(), static_cast<unsigned>(i)));
      char* const name = H5Tget_member_name(type.get(), static_cast<unsigned>(i));
      const Hdf5Type kind = inner.is_open() ? TypeOf(inner.get()) : Hdf5Type{};
      if (name != nullptr && kind.kind != Hdf5Type::Kind::kNone)
        data.push_back({object.address, name, kind, sizes});
      H5free_memory(name);
    }
  } else if (const Hdf5Type kind = TypeOf(type.get()); kind.kind != Hdf5Type::Kind::kNone) {
    data.push_back({object.address, "", kind, sizes});
  }
  if (data.empty()) return "of a type that cannot be read";
  std::uint64_t bytes = 0;
  for (const Hdf5Data& one : data) bytes = std::max(bytes, one.bytes());
  const char* const why = RefusalOf(object, bytes);
  if (why != nullptr) data.clear();
  return why;
}

const Hdf5File::Opened* Hdf5File::OpenToRead(const Hdf5Data& data) {
  const auto known = opened_.find({data.object, data.member});
  if (known != opened_.end()) return &known->second;
  // Each keeps chunks.
  constexpr std::size_t kMostOpen = 64;
  if (opened_.size() >= kMostOpen) opened_.clear();
  Opened opened;
  opened.data = Hdf5Id(H5Oopen_by_addr(file_.get(), data.object));
  const Hdf5Id plan(H5Dget_create_plist(opened.data.get()));
  const Hdf5Id type(H5Dget_type(opened.data.get()));
  opened.space = Hdf5Id(H5Dget_space(opened.data.get()));
  if (!plan.is_open() || !type.is_open() || !opened.space.is_open()) return nullptr;
  if (SizesOf(opened.space.get()) != data.sizes) return nullptr;
  if (H5Pget_layout(plan.get()) == H5D_CHUNKED) {
    std::array<hsize_t, H5S_MAX_RANK> chunk{};
    const int rank = H5Pget_chunk(plan.get(), H5S_MAX_RANK, chunk.data());
    if (rank < 0 || static_cast<std::size_t>(rank) != data.sizes.size()) return nullptr;
    // Chunks that lie across the rows are kept until those are through, if there is room.
    std::uint64_t across = H5Tget_size(type.get());
    for (std::size_t i = 0; i < data.sizes.size(); ++i) {
      if (chunk[i] == 0) return nullptr;
      across =
          Times(across, i == 0 ? chunk[i] : (data.sizes[i] + chunk[i] - 1) / chunk[i] * chunk[i]);
    }
    if (across > kept_) opened.work = across;
  }
  if (data.member.empty()) {
    opened.memory = MemoryType(data.type, type.get());
  } else {
    const int member = H5Tget_member_index(type.get(), data.member.c_str());
    if (member < 0) return nullptr;
    const Hdf5Id inner(H5Tget_member_type(type.get(), static_cast<unsigned>(member)));
    const Hdf5Id memory = MemoryType(data.type, inner.get());
    opened.memory = Hdf5Id(H5Tcreate(H5T_COMPOUND, data.type.size));
    if (H5Tinsert(opened.memory.get(), data.member.c_str(), 0, memory.get()) < 0) return nullptr;
  }
  if (!opened.memory.is_open() || H5Tget_size(opened.memory.get()) != data.type.size)
    return nullptr;
  return &opened_.emplace(std::pair(data.object, data.member), std::move(opened)).first->second;
}

bool Hdf5File::Read(const Hdf5Data& data, std::uint64_t first, std::uint64_t count, char* to,
                    std::uint64_t base, std::string* texts) {
  const Opened* const opened = OpenToRead(data);
  if (opened == nullptr) return false;
  const std::size_t rank = data.sizes.size();
  std::vector<hsize_t> start(rank);
  std::vector<hsize_t> edge(rank);
  while (count > 0) {
    // As many whole rows, planes and so on as there are from here on.
    std::uint64_t stride = data.count();
    std::uint64_t some = 1;
    std::uint64_t rest = first;
    std::size_t level = 0;
    for (; level < rank; ++level) {
      stride /= data.sizes[level];
      if (stride == 0) return false;
      start[level] = rest / stride;
      rest %= stride;
      edge[level] = 1;
      if (rest == 0 && count >= stride) {
        some = std::min<std::uint64_t>(count / stride, data.sizes[level] - start[level]);
        edge[level] = some;
        break;
      }
    }
    for (std::size_t i = level + 1; i < rank; ++i) {
      start[i] = 0;
      edge[i] = data.sizes[i];
    }
    some *= stride;
    work_ += opened->work;
    if (work_ > kMostWork + Times(kShare, size_)) return false;
    const hsize_t length = some;
    const Hdf5Id memory(H5Screate_simple(1, &length, nullptr));
    if (rank > 0 && H5Sselect_hyperslab(opened->space.get(), H5S_SELECT_SET, start.data(), nullptr,
                                        edge.data(), nullptr) < 0)
      return false;
    const auto read = [&](void* into) {
      return H5Dread(opened->data.get(), opened->memory.get(), memory.get(), opened->space.get(),
                     H5P_DEFAULT, into) >= 0;
    };
    const auto bytes = static_cast<std::size_t>(some * data.type.size);
    if (data.type.kind != Hdf5Type::Kind::kText) {
      if (!read(to)) return false;
    } else {
      std::vector<char*> found(static_cast<std::size_t>(some));
      if (texts == nullptr || !read(found.data())) return false;
      for (std::size_t i = 0; i < found.size(); ++i) {
        StoreBig(to + i * data.type.size, base + texts->size());
        if (found[i] != nullptr) texts->append(found[i]);
        texts->push_back('\0');
      }
      H5Dvlen_reclaim(opened->memory.get(), memory.get(), H5P_DEFAULT, found.data());
      if (texts->size() > kMostTexts + size_) return false;
    }
    to += bytes;
    first += some;
    count -= some;
  }
  return true;
}

}  // namespace nvimport
