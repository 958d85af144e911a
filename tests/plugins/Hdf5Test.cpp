#ifdef NVIMPORT_HAS_HDF5

#include <cmath>

#include "plugins/hdf5/Hdf5Formats.h"
#include "plugins/hdf5/Mat73File.h"
#include "plugins/hdf5/NetCDF4File.h"
#include "tests/support/Cases.h"
#include "tests/support/Described.h"
#include "tests/support/Hdf5Fixture.h"
#include "tests/support/Samples.h"

namespace nvimport {

namespace {

using H5 = Hdf5Fixture;

const std::string kMatlabBlock = [] {
  std::string block = "MATLAB 7.3 MAT-file, Platform: X, Created on: today";
  block.resize(512);
  return block;
}();

template <typename Fill>
std::string File(const Fill& fill, const std::string& user_block = "") {
  H5 file(user_block);
  fill(file);
  return file.Bytes();
}

hid_t Chunked(std::vector<hsize_t> chunk, bool is_packed = true) {
  const hid_t plan = H5Pcreate(H5P_DATASET_CREATE);
  H5Pset_chunk(plan, static_cast<int>(chunk.size()), chunk.data());
  if (is_packed) {
    H5Pset_shuffle(plan);
    H5Pset_deflate(plan, 6);
    H5Pset_fletcher32(plan);
  }
  return plan;
}

// Eight planes of five rows of three.
std::string Planes(hid_t plan) {
  std::vector<short> values;
  for (short i = 0; i < 120; ++i) values.push_back(i);
  return File([&](H5& file) { file.Data("v", {8, 5, 3}, values, -1, plan); });
}

TEST(Hdf5, ReadsDataSetsOfAnyLayoutAndType) {
  const hid_t pair = H5Tcreate(H5T_COMPOUND, 16);
  H5Tinsert(pair, "n", 0, H5T_NATIVE_INT);
  H5Tinsert(pair, "x", 8, H5T_NATIVE_DOUBLE);
  const struct {
    int n;
    double x;
  } kPairs[] = {{1, 0.5}, {2, 1.5}};
  const char* const texts[] = {"a", "K\xc3\xb6ln", ""};
  const hid_t three = H5Tcopy(H5T_C_S1);
  H5Tset_size(three, 3);
  const hid_t truth = H5Tenum_create(H5T_NATIVE_SCHAR);
  signed char value = 0;
  for (const char* name : {"FALSE", "TRUE"}) {
    H5Tenum_insert(truth, name, &value);
    ++value;
  }
  const std::string plane =
      "'v[1]' | 'v[2]' | 'v[3]'\n30 | 31 | 32\n33 | 34 | 35\n36 | 37 | 38\n"
      "39 | 40 | 41\n42 | 43 | 44\n";
  const auto one = [](hid_t type, hid_t memory, const void* values, hsize_t count) {
    return File([&](H5& file) { file.Data("v", {count}, type, memory, values); });
  };
  const char words[] = {'a', 'b', '\0', 'c', 'd', ' '};
  const signed char truths[] = {1, 0};
  const float floats[] = {0.5F, NAN, 9.9692099683868690e+36F};
  const std::uint64_t large[] = {1, std::uint64_t{1} << 63};
  ExpectImports<NetCDF4File>({
      {"contiguous", Planes(H5P_DEFAULT), plane, "page=dim8:3"},
      {"packed, across chunks", Planes(Chunked({3, 2, 2})), plane, "page=dim8:3"},
      {"a page of rows", Planes(Chunked({3, 2, 2})),
       "'v[1]' | 'v[2]' | 'v[3]'\n3 | 4 | 5\n18 | 19 | 20\n33 | 34 | 35\n48 | 49 | 50\n"
       "63 | 64 | 65\n78 | 79 | 80\n93 | 94 | 95\n108 | 109 | 110\n",
       "page=dim5:2"},
      {"members", one(pair, pair, kPairs, 2), "'v.n' | 'v.x'\n1 | 0.5\n2 | 1.5\n",
       "variables=v.n,v.x"},
      {"texts", one(H5::Texts(), H5::Texts(), texts, 3), "'v'\n'a'\n'K\xc3\xb6ln'\n.\n"},
      {"texts of a length", one(three, three, words, 2), "'v'\n'ab'\n'cd'\n"},
      {"truth", one(truth, truth, truths, 2), "'v'\n1\n0\n"},
      {"big-endian", one(H5T_IEEE_F32BE, H5T_NATIVE_FLOAT, floats, 3), "'v'\n0.5\n.\n.\n"},
      {"64 bits", one(H5T_STD_U64LE, H5T_NATIVE_UINT64, large, 2), "'v'\n1\n9223372036854775808\n"},
      {"a single value", File([](H5& file) { file.Data<int>("v", {}, {7}); }), "'v'\n7\n"},
      {"a group", File([](H5& file) {
         H5Gcreate2(file.file(), "g", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
         file.Data<int>("g/v", {2}, {7, 8});
         H5Lcreate_hard(file.file(), "/", file.file(), "g/loop", H5P_DEFAULT, H5P_DEFAULT);
       }),
       "'g/v'\n7\n8\n"},
  });
}

// What says that a file is netCDF-4.
TEST(Hdf5, TakesDimensionsByTheConventionsOfNetcdf) {
  const std::string file = File([](H5& made) {
    const hid_t number = made.Data<int>("nm", {2}, {400, 500});
    const hid_t row = made.Data<int>("row", {3}, {0, 0, 0});
    H5::Say(row, "NAME", "This is a netCDF dimension but not a netCDF variable         3");
    const hid_t data =
        made.Data<short>("_nc4_non_coord_light", {3, 2}, {1, 2, -1, 4, 5, 6}, -1, Chunked({2, 2}));
    made.Along(data, {"row", "nm"});
    H5::Number<short>(data, "_FillValue", -1);
    H5::Number<double>(data, "scale_factor", 0.5);
    H5::Say(number, "units", "nm");
    H5::Say(made.file(), "title", "Light");
    H5::Number<int>(made.file(), "_nc3_strict", 1);
  });
  NetCDF4File reader;
  const MemoryFile place(file);
  EXPECT_EQ(ImportFile(reader, place.path(), OpenOptions::Pairs("variables=light").get()).Summary(),
            "400 | 500\n0.5 | 1\n. | 2\n2.5 | 3\n");
  ASSERT_EQ(reader.Open(true, place.path(), OpenOptions::Pairs("variables=light").get()), 0);
  EXPECT_EQ(TextOf(reader),
            "version [version] = 4\ntitle [title] = Light\nlight:_FillValue [] = -1\n"
            "light:scale_factor [] = 0.5\nnm:units [] = nm\nx: nm (nm)\ny: light ()\n");
}

TEST(Hdf5, ReadsChromatogramsOfNetcdf4AsThoseOfTheClassicFormats) {
  const std::string file = File([](H5& made) {
    H5::Say(made.file(), "aia_template_revision", "1.0");
    H5::Say(made.file(), "sample_name", "Cider");
    H5::Say(made.file(), "retention_unit", "seconds");
    made.Data<float>("ordinate_values", {3}, {1, 2, 3});
    made.Data<float>("actual_delay_time", {}, {5});
    made.Data<float>("actual_sampling_interval", {}, {0.5});
  });
  EXPECT_EQ(Import<NetCDF4File>(file).Summary(),
            "'Primary ID' | 'Name' | 5 | 5.5 | 6\n1 | 'Cider' | 1 | 2 | 3\n");
}

hid_t Matlab(hid_t object, const char* kind) {
  H5::Say(object, "MATLAB_class", kind);
  return object;
}

TEST(Hdf5, ReadsMatlabVariablesOfEveryClass) {
  const auto mat = [](auto fill) { return File(fill, kMatlabBlock); };
  const hid_t complex = H5Tcreate(H5T_COMPOUND, 16);
  H5Tinsert(complex, "real", 0, H5T_NATIVE_DOUBLE);
  H5Tinsert(complex, "imag", 8, H5T_NATIVE_DOUBLE);
  const double numbers[] = {1, 2, 3, 4};
  const auto group = [](H5& file, const char* name, const char* kind) {
    return Matlab(H5Gcreate2(file.file(), name, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT), kind);
  };
  ExpectImports<Mat73File>({
      {"a matrix", mat([](H5& file) {
         Matlab(file.Data<double>("m", {2, 3}, {1, 2, 3, 4, 5, 6}), "double");
       }),
       "1 | 4\n2 | 5\n3 | 6\n"},
      {"complex", mat([&](H5& file) {
         Matlab(file.Data("m", {1, 2}, complex, complex, numbers), "double");
       }),
       "1 | 2\n3 | 4\n"},
      {"truth", mat([](H5& file) {
         H5::Number<int>(Matlab(file.Data<unsigned char>("m", {1, 2}, {2, 0}), "logical"),
                         "MATLAB_int_decode", 1);
       }),
       "1\n0\n"},
      {"text", mat([](H5& file) {
         Matlab(file.Data<unsigned short>("t", {3, 1}, {'a', 0x3b2, 0x80}), "char");
       }),
       "'a\xce\xb2\xc2\x80'\n"},
      {"cells", mat([&](H5& file) {
         group(file, "#refs#", "x");
         Matlab(file.Data<double>("#refs#/a", {1, 1}, {7}), "double");
         Matlab(file.Data<unsigned short>("#refs#/b", {2, 1}, {'h', 'i'}), "char");
         H5::Number<unsigned char>(
             Matlab(file.Data<unsigned long long>("#refs#/c", {2}, {0, 0}), "double"),
             "MATLAB_empty", 1);
         Matlab(file.Data<hobj_ref_t>("c", {1, 4},
                                      {file.Reference("#refs#/a"), file.Reference("#refs#/b"),
                                       file.Reference("#refs#/c"), 0}),
                "cell");
       }),
       "7\n'hi'\n.\n.\n"},
      {"a struct", mat([&](H5& file) {
         group(file, "s", "struct");
         Matlab(file.Data<double>("s/x", {1, 2}, {7, 8}), "double");
       }),
       "7\n8\n", "variables=s.x"},
      {"an array of structs", mat([&](H5& file) {
         group(file, "#refs#", "x");
         Matlab(file.Data<double>("#refs#/a", {1, 1}, {7}), "double");
         Matlab(file.Data<double>("#refs#/b", {1, 1}, {8}), "double");
         group(file, "s", "struct");
         file.Data<hobj_ref_t>("s/x", {2, 1},
                               {file.Reference("#refs#/a"), file.Reference("#refs#/b")});
       }),
       "8\n", "variables=s(2).x"},
      {"sparse", mat([&](H5& file) {
         const hid_t s = group(file, "s", "double");
         H5::Number<unsigned long long>(s, "MATLAB_sparse", 3);
         file.Data<double>("s/data", {2}, {5, 6});
         file.Data<unsigned long long>("s/ir", {2}, {0, 2});
         file.Data<unsigned long long>("s/jc", {3}, {0, 1, 2});
       }),
       "5 | 0\n0 | 0\n0 | 6\n"},
  });
}

TEST(Hdf5, SaysWhyAFileCannotBeRead) {
  const std::string whole = File([](H5& file) { file.Data<int>("v", {2}, {7, 8}); });
  const auto with = [](auto fill) {
    return File([&](H5& file) { fill(file, H5Pcreate(H5P_DATASET_CREATE)); });
  };
  const std::string none = "4422 The netCDF file does not contain any values.\n";
  const std::string damaged =
      "4434 The HDF5 file is damaged, or too large for what it holds. It cannot be read.\n";
  ExpectImports<NetCDF4File>({
      {"another format", "CDF\1", "4433 This file does not seem to be a valid HDF5 file.\n"},
      {"cut", whole.substr(0, 100), damaged},
      {"nothing", File([](H5&) {}), none},
      {"values in another file", with([&](H5& file, hid_t plan) {
         H5Pset_external(plan, "/etc/passwd", 0, 8);
         file.Data("v", {2}, H5T_NATIVE_INT, H5T_NATIVE_INT, nullptr, plan);
       }),
       none},
      {"a view of another file", with([&](H5& file, hid_t plan) {
         const hsize_t sizes[] = {2};
         const hid_t space = H5Screate_simple(1, sizes, nullptr);
         H5Pset_virtual(plan, space, "/tmp/other.h5", "v", space);
         file.Data("v", {2}, H5T_NATIVE_INT, H5T_NATIVE_INT, nullptr, plan);
       }),
       none},
      {"a link to another file", File([](H5& file) {
         H5Lcreate_external("/tmp/other.h5", "/v", file.file(), "v", H5P_DEFAULT, H5P_DEFAULT);
         H5Lcreate_soft("/v", file.file(), "w", H5P_DEFAULT, H5P_DEFAULT);
       }),
       none},
      {"values that nobody wrote", with([&](H5& file, hid_t) {
         file.Data("v", {1000, 1000, 1000}, H5T_NATIVE_INT, H5T_NATIVE_INT, nullptr,
                   Chunked({100, 100, 100}));
       }),
       none},
      {"a type without numbers",
       with([&](H5& file, hid_t) { file.Data("v", {2}, H5Tcreate(H5T_OPAQUE, 3), -1, nullptr); }),
       none},
  });
  ExpectImports<Mat73File>({
      {"not of MATLAB", whole, "4436 This HDF5 file was not written as a MATLAB 7.3 file.\n"},
      {"an object",
       File([](H5& file) { Matlab(file.Data<unsigned char>("t", {1}, {0}), "datetime"); },
            kMatlabBlock),
       "4356 The MATLAB file does not contain any matrix, text or cells that can be read. (of a "
       "class that cannot be read: t (object of class datetime))\n"},
  });
  ExpectNoFile<NetCDF4File>(
      "4432 Unable to open file.",
      "4431 Unable to read file. The file was not opened or Open File failed.", 4431);
}

// A process that is ended is a file that can't be read any more.
TEST(Hdf5, OutlivesTheProcessThatReads) {
  const MemoryFile place(File([](H5& file) { file.Data<int>("v", {2}, {7, 8}); }));
  NetCDF4File reader;
  ASSERT_EQ(reader.Open(true, place.path(), nullptr), 0);
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
    std::istringstream children(Contents(entry.path() / "children"));
    for (::pid_t child; children >> child;) ::kill(child, SIGKILL);
  }
  MemorySheet sheet;
  EXPECT_EQ(reader.GetNumRows(), 3);
  EXPECT_EQ(reader.Read(&sheet), 4424);
}

TEST(Hdf5, SamplesOfWhichAPieceIsGoneFailOrGiveTheSameCells) {
  for (const char* name : {"cellars.nc4", "stills.mat"}) {
    const std::string whole = Contents(std::filesystem::path(NVIMPORT_TEST_SAMPLES) / name);
    Obliging dialogs;
    const auto import_of = [&](const std::string& bytes) {
      return name == std::string_view("stills.mat") ? Import<Mat73File>(bytes)
                                                    : Import<NetCDF4File>(bytes);
    };
    const Outcome outcome = import_of(whole);
    ASSERT_EQ(outcome.status, 0) << outcome.text;
    const auto judge = [&](std::size_t begin, std::size_t size) {
      const Outcome damaged = import_of(std::string(whole).erase(begin, size));
      EXPECT_TRUE(damaged.status != 0 || damaged.sheet == outcome.sheet) << begin << " " << size;
    };
    for (std::size_t size = 0; size < whole.size(); size += 29) judge(size, std::string::npos);
    for (std::size_t begin = 0; begin < whole.size(); begin += 512)
      for (const std::size_t size : {16, 512}) judge(begin, size);
  }
}

TEST(Hdf5, IsKnownByItsContent) {
  const auto answers = [](const std::string& bytes) {
    const MemoryFile place(bytes);
    return std::pair(Hdf5Formats().TestFile(1, place.path()),
                     Hdf5Formats().TestFile(2, place.path()));
  };
  const std::string magic = "\x89HDF\r\n\x1a\n";
  EXPECT_EQ(answers(magic), std::pair(2, 0));
  EXPECT_EQ(answers(std::string(2048, '\0') + magic), std::pair(2, 0));
  EXPECT_EQ(answers(kMatlabBlock + magic), std::pair(0, 2));
  EXPECT_EQ(answers(std::string(100, '\0') + magic), std::pair(0, 0));
  EXPECT_EQ(answers("CDF\1"), std::pair(0, 0));
}

}  // namespace

}  // namespace nvimport

#endif
