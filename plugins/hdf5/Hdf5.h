#pragma once

// The functions of one version, whichever is installed.
#define H5_USE_110_API
#include <hdf5.h>

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace nvimport {

// What is asked of the HDF5 library, all of it in a process of its own (Hdf5Process.h).

// Something of the library that is to be closed.
class Hdf5Id {
 public:
  Hdf5Id() = default;
  explicit Hdf5Id(hid_t id) : id_(id) {}
  Hdf5Id(Hdf5Id&& other) noexcept : id_(std::exchange(other.id_, -1)) {}
  Hdf5Id& operator=(Hdf5Id&& other) noexcept {
    std::swap(id_, other.id_);
    return *this;
  }
  ~Hdf5Id() {
    if (id_ >= 0) H5Idec_ref(id_);
  }

  bool is_open() const { return id_ >= 0; }
  hid_t get() const { return id_; }

 private:
  hid_t id_ = -1;
};

// A group, a data set or a type of the file.
struct Hdf5Object {
  haddr_t address = HADDR_UNDEF;
  Hdf5Id id;
  bool is_group() const { return H5Iget_type(id.get()) == H5I_GROUP; }
  bool is_data() const { return H5Iget_type(id.get()) == H5I_DATASET; }
};

struct Hdf5Link {
  std::string name;
  haddr_t address;
};

// What an attribute or a value is made of.
struct Hdf5Type {
  enum class Kind : std::uint8_t { kNone, kSigned, kUnsigned, kFloat, kChars, kText, kReference };

  Kind kind = Kind::kNone;
  std::size_t size = 0;  // of a value in memory

  bool is_number() const {
    return kind == Kind::kSigned || kind == Kind::kUnsigned || kind == Kind::kFloat;
  }
};
// Of what is not read the kind is none; enumerations are numbers.
Hdf5Type TypeOf(hid_t type);

struct Hdf5Attribute {
  std::string name;
  Hdf5Type type;
  std::size_t count = 0;
  std::string bytes;  // of numbers, in the order asked for; else the texts with ", " between them

  // The first of its numbers, of those with the order of this machine.
  std::uint64_t Whole() const;
};

// Values of a data set, or of one member of each.
struct Hdf5Data {
  haddr_t object = HADDR_UNDEF;
  std::string member;
  Hdf5Type type;
  std::vector<hsize_t> sizes;  // none of a single value

  std::uint64_t count() const;
  std::uint64_t bytes() const;
};

// A file, and what may be asked of it for as many bytes as it has.
class Hdf5File {
 public:
  // Numbers are given in this order.
  enum class Order : std::uint8_t { kLittle, kBig };

  Hdf5File(const char* path, Order order);

  bool is_open() const { return file_.is_open(); }
  std::uint64_t size() const { return size_; }

  Hdf5Object Open(haddr_t address) const;
  Hdf5Object Root() const;
  // The links of a group to objects of this file, as they were made if that is kept, else by their
  // names. Links by name, and those to other files, are passed over.
  std::vector<Hdf5Link> Links(const Hdf5Object& group) const;

  // The attributes of an object, or that of one name. Those beyond a size are passed over.
  std::vector<Hdf5Attribute> Attributes(const Hdf5Object& object) const;
  Hdf5Attribute Attribute(const Hdf5Object& object, const char* name, Order order) const;
  bool HasAttribute(const Hdf5Object& object, const char* name) const {
    return H5Aexists(object.id.get(), name) > 0;
  }

  // The values of a data set, each member of those that have some on its own. Why it is left out,
  // null where it is not.
  const char* Describe(const Hdf5Object& object, std::vector<Hdf5Data>& data);

  // So many values from `first` on. Values of the kind kText go to `texts`, and their places there
  // from `base` on are given.
  bool Read(const Hdf5Data& data, std::uint64_t first, std::uint64_t count, char* to,
            std::uint64_t base = 0, std::string* texts = nullptr);

 private:
  struct Opened {
    Hdf5Id data;
    Hdf5Id space;
    Hdf5Id memory;           // the type of values there
    std::uint64_t work = 0;  // of a read, where what is unpacked can't be kept
  };

  Hdf5Id MemoryType(const Hdf5Type& type, hid_t stored) const;
  bool ReadAttribute(hid_t id, Order order, Hdf5Attribute& attribute) const;
  // Why a data set is left out, by how it is stored and by how many bytes it shows; null where it
  // is not.
  static const char* RefusalOf(const Hdf5Object& object);
  const char* RefusalOf(const Hdf5Object& object, std::uint64_t bytes);
  const Opened* OpenToRead(const Hdf5Data& data);

  Hdf5Id file_;
  Order order_;
  std::uint64_t size_ = 0;
  std::uint64_t stored_ = 0;  // bytes that data sets said they have
  std::uint64_t more_ = 0;    // that they had beyond what those can stand for
  std::uint64_t work_ = 0;    // bytes that were unpacked

  std::size_t kept_ = 0;  // bytes of chunks of a data set
  std::map<std::pair<haddr_t, std::string>, Opened> opened_;
};

}  // namespace nvimport
