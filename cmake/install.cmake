include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

install(TARGETS nvimport EXPORT NvImportTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY framework platform DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/nvimport
  FILES_MATCHING PATTERN "*.h")
install(FILES formats/text/TextFile.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/nvimport/formats/text)
install(EXPORT NvImportTargets NAMESPACE NvImport::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/NvImport FILE NvImportConfig.cmake)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/NvImportConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/NvImportConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/NvImport)
configure_file(cmake/nvimport.pc.in ${CMAKE_BINARY_DIR}/nvimport.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/nvimport.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
