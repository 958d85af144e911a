# An overlay port of vcpkg: --overlay-ports=packaging/vcpkg. Checked offline: the same configuration
# by CMake alone, static.
vcpkg_download_distfile(archive URLS "@URL@" FILENAME nvimport-@VERSION@.tar.gz SHA512 @SHA512@)
vcpkg_extract_source_archive(source ARCHIVE "${archive}")
vcpkg_cmake_configure(SOURCE_PATH "${source}" OPTIONS -DNVIMPORT_CLI=OFF -DNVIMPORT_DESKTOP=OFF
  -DNVIMPORT_PYTHON=OFF -DNVIMPORT_R=OFF -DNVIMPORT_TESTS=OFF -DNVIMPORT_BENCH=OFF
  -DNVIMPORT_ISAL=OFF -DNVIMPORT_XML2=OFF -DNVIMPORT_HDF5=OFF -DNVIMPORT_ODBC=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME NvImport CONFIG_PATH lib/cmake/NvImport)
vcpkg_fixup_pkgconfig()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include")
vcpkg_install_copyright(FILE_LIST "${source}/LICENSES/Apache-2.0.txt")
