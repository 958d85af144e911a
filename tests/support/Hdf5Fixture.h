#pragma once

#define H5_USE_110_API
#include <hdf5.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Support.h"

namespace nvimport {

// Puts HDF5 files together. What it opens it leaves for the library to close.
class Hdf5Fixture {
 public:
  explicit Hdf5Fixture(const std::string& user_block = "") : user_block_(user_block) {
    const hid_t plan = H5Pcreate(H5P_FILE_CREATE);
    H5Pset_userblock(plan, user_block.size());
    const hid_t access = H5Pcreate(H5P_FILE_ACCESS);
    H5Pset_fclose_degree(access, H5F_CLOSE_STRONG);
    file_ = H5Fcreate(path_.c_str(), H5F_ACC_TRUNC, plan, access);
  }
  ~Hdf5Fixture() { std::filesystem::remove(path_); }
  Hdf5Fixture(const Hdf5Fixture&) = delete;
  Hdf5Fixture& operator=(const Hdf5Fixture&) = delete;

  hid_t file() const { return file_; }

  template <typename Value>
  static hid_t TypeOf() {
    if constexpr (std::is_same_v<Value, double>) return H5T_NATIVE_DOUBLE;
    if constexpr (std::is_same_v<Value, float>) return H5T_NATIVE_FLOAT;
    if constexpr (std::is_same_v<Value, short>) return H5T_NATIVE_SHORT;
    if constexpr (std::is_same_v<Value, unsigned short>) return H5T_NATIVE_USHORT;
    if constexpr (std::is_same_v<Value, unsigned char>) return H5T_NATIVE_UCHAR;
    if constexpr (std::is_same_v<Value, int>) return H5T_NATIVE_INT;
    if constexpr (std::is_same_v<Value, hobj_ref_t>) return H5T_STD_REF_OBJ;
    return H5T_NATIVE_UINT64;
  }
  static hid_t Texts() {
    const hid_t type = H5Tcopy(H5T_C_S1);
    H5Tset_size(type, H5T_VARIABLE);
    return type;
  }

  // A data set of these sizes, stored as `stored` where that is given, by `plan`.
  template <typename Value>
  hid_t Data(const char* name, const std::vector<hsize_t>& sizes, const std::vector<Value>& values,
             hid_t stored = -1, hid_t plan = H5P_DEFAULT) {
    const hid_t type = TypeOf<Value>();
    return Data(name, sizes, stored < 0 ? type : stored, type, values.data(), plan);
  }
  hid_t Data(const char* name, const std::vector<hsize_t>& sizes, hid_t stored, hid_t memory,
             const void* values, hid_t plan = H5P_DEFAULT) {
    const hid_t space =
        sizes.empty() ? H5Screate(H5S_SCALAR)
                      : H5Screate_simple(static_cast<int>(sizes.size()), sizes.data(), nullptr);
    const hid_t data = H5Dcreate2(file_, name, stored, space, H5P_DEFAULT, plan, H5P_DEFAULT);
    if (values != nullptr) H5Dwrite(data, memory, H5S_ALL, H5S_ALL, H5P_DEFAULT, values);
    return data;
  }
  static void Say(hid_t object, const char* name, const std::string& text) {
    const hid_t type = H5Tcopy(H5T_C_S1);
    H5Tset_size(type, text.size());
    Attribute(object, name, type, {}, text.data());
  }
  template <typename Value>
  static void Number(hid_t object, const char* name, Value value) {
    Attribute(object, name, TypeOf<Value>(), {}, &value);
  }
  static void Attribute(hid_t object, const char* name, hid_t type,
                        const std::vector<hsize_t>& sizes, const void* values) {
    const hid_t space =
        sizes.empty() ? H5Screate(H5S_SCALAR)
                      : H5Screate_simple(static_cast<int>(sizes.size()), sizes.data(), nullptr);
    H5Awrite(H5Acreate2(object, name, type, space, H5P_DEFAULT, H5P_DEFAULT), type, values);
  }
  hobj_ref_t Reference(const char* name) const {
    hobj_ref_t reference = 0;
    H5Rcreate(&reference, file_, name, H5R_OBJECT, -1);
    return reference;
  }
  // The dimensions of a data set, each a data set that is made one.
  void Along(hid_t data, const std::vector<const char*>& scales) const {
    std::vector<hobj_ref_t> references;
    std::vector<hvl_t> lists;
    lists.reserve(scales.size());
    for (const char* scale : scales) {
      references.push_back(Reference(scale));
      const hid_t object = H5Dopen2(file_, scale, H5P_DEFAULT);
      if (H5Aexists(object, "CLASS") <= 0) Say(object, "CLASS", "DIMENSION_SCALE");
    }
    for (hobj_ref_t& reference : references) lists.push_back({1, &reference});
    Attribute(data, "DIMENSION_LIST", H5Tvlen_create(H5T_STD_REF_OBJ), {lists.size()},
              lists.data());
  }

  std::string Bytes() {
    H5Fclose(file_);
    std::string bytes = Contents(path_);
    bytes.replace(0, user_block_.size(), user_block_);
    return bytes;
  }

 private:
  std::string user_block_;
  std::string path_ =
      std::filesystem::temp_directory_path() / ("nvimport-hdf5-" + std::to_string(::getpid()));
  hid_t file_ = -1;
};

}  // namespace nvimport
