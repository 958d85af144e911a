# What is installed, in components: runtime (the library and NvImport Complete), development,
# command, hdf5, odbc.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/NvImport)
set(libraries nvimport)
if(NOT NVIMPORT_SHARED)
  list(APPEND libraries nvimport-complete)
endif()
if(WIN32)
  install(FILES LICENSES/Apache-2.0.txt RENAME LICENSE.txt DESTINATION . COMPONENT runtime)
endif()
install(TARGETS ${libraries} EXPORT NvImportTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT runtime NAMELINK_COMPONENT development)
install(EXPORT NvImportTargets NAMESPACE NvImport:: DESTINATION ${package_folder}
  COMPONENT development)
configure_package_config_file(cmake/NvImportConfig.cmake.in
  ${PROJECT_BINARY_DIR}/NvImportConfig.cmake
  INSTALL_DESTINATION ${package_folder} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/NvImportConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/NvImportConfig.cmake
  ${PROJECT_BINARY_DIR}/NvImportConfigVersion.cmake cmake/NvImportPlugin.cmake
  DESTINATION ${package_folder} COMPONENT development)

# What a program that is linked to the static library needs besides.
set(pc_requires)
set(pc_libs)
set(pc_cflags)
if(NOT NVIMPORT_SHARED)
  set(pc_cflags -DNVIMPORT_STATIC)
  set(pc_libs "-lstdc++ -lm")
  if(NVIMPORT_PACKAGES_FOUND)
    set(pc_requires "expat zlib")
  endif()
  if(NVIMPORT_ISAL_FOUND)
    string(APPEND pc_requires " libisal")
  endif()
  if(NVIMPORT_CRYPTO_FOUND)
    string(APPEND pc_requires " nettle")
  endif()
endif()
file(RELATIVE_PATH pc_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/nvimport.pc.in ${PROJECT_BINARY_DIR}/nvimport.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/nvimport.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
