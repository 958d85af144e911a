"""A recipe for Conan 2. Checked offline: that it is Python, and the same configuration by CMake alone."""

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, get


class NvImport(ConanFile):
    name = "nvimport"
    version = "@VERSION@"
    description = "Tables and spectra from the files of spreadsheets and instruments"
    license = "Apache-2.0"
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False]}
    default_options = {"shared": True}
    requires = "expat/[>=2.5]", "zlib/[>=1.2.13]"

    def layout(self):
        cmake_layout(self, src_folder="src")

    def source(self):
        get(self, "@URL@", sha256="@SHA256@", strip_root=True)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        for part in ("CLI", "DESKTOP", "PYTHON", "R", "TESTS", "BENCH", "ISAL", "NETTLE", "XML2", "HDF5", "ODBC"):
            toolchain.cache_variables[f"NVIMPORT_{part}"] = "OFF"
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        copy(self, "*", f"{self.source_folder}/LICENSES", f"{self.package_folder}/licenses")
        CMake(self).install()

    # Users find the package by the configuration that it installs.
    def package_info(self):
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = ["lib/cmake/NvImport"]
        self.cpp_info.libs = ["nvimport"]
