# What is installed, in components: runtime (the library and NvImport Complete), development,
# command.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(header_folder ${CMAKE_INSTALL_INCLUDEDIR}/nvimport)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/NvImport)
install(TARGETS nvimport EXPORT NvImportTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${header_folder})
# Headers that show something, and those that they include. What only the library itself includes
# stays away.
set(included formats/spectra/JCAMPBlocks.h formats/spectra/JCAMPRules.h formats/text/TextInput.h
  formats/workbook/ExcelFormats.h formats/workbook/ExcelStrings.h
  formats/workbook/SheetSelection.h platform/BlockReader.h platform/ByteReader.h
  platform/COleDateTime.h platform/FileDialog.h platform/Utf16.h platform/Utf8.h)
file(GLOB headers RELATIVE ${PROJECT_SOURCE_DIR}
  framework/*.h platform/*.h formats/*.h formats/*/*.h)
foreach(header ${headers})
  file(STRINGS ${header} shown REGEX NVIMPORT_API LIMIT_COUNT 1)
  if(shown OR header IN_LIST included)
    cmake_path(GET header PARENT_PATH folder)
    install(FILES ${header} DESTINATION ${header_folder}/${folder} COMPONENT development)
  endif()
endforeach()

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

file(RELATIVE_PATH pc_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/nvimport.pc.in ${PROJECT_BINARY_DIR}/nvimport.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/nvimport.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
