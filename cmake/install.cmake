include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

install(TARGETS nvimport EXPORT NvImportTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY framework platform DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/nvimport
  FILES_MATCHING PATTERN "*.h")
install(DIRECTORY formats DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/nvimport
  FILES_MATCHING PATTERN "*File.h" PATTERN "JCAMPBlocks.h")
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/NvImport)
install(EXPORT NvImportTargets NAMESPACE NvImport:: DESTINATION ${package_folder})
configure_package_config_file(cmake/NvImportConfig.cmake.in ${CMAKE_BINARY_DIR}/NvImportConfig.cmake
  INSTALL_DESTINATION ${package_folder} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/NvImportConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/NvImportConfig.cmake
  ${CMAKE_BINARY_DIR}/NvImportConfigVersion.cmake cmake/NvImportPlugin.cmake
  DESTINATION ${package_folder})
file(RELATIVE_PATH pc_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/nvimport.pc.in ${CMAKE_BINARY_DIR}/nvimport.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/nvimport.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
