# What the build is made of, in SPDX's JSON: nvimport.spdx.json in the build folder, by the target sbom.
# Included by the project it knows the libraries; run by that target it adds the files with their sums.
if(CMAKE_SCRIPT_MODE_FILE)
  set(separator)
  while(FILES)
    list(POP_FRONT FILES target file)
    cmake_path(GET file FILENAME name)
    file(SHA1 ${file} sha1)
    file(SHA256 ${file} sha256)
    string(APPEND files "${separator}
    {\"fileName\": \"./${name}\", \"SPDXID\": \"SPDXRef-File-${target}\", \"fileTypes\": [\"BINARY\"],
     \"checksums\": [{\"algorithm\": \"SHA1\", \"checksumValue\": \"${sha1}\"},
                   {\"algorithm\": \"SHA256\", \"checksumValue\": \"${sha256}\"}],
     \"licenseConcluded\": \"NOASSERTION\", \"copyrightText\": \"NOASSERTION\"}")
    set(separator ",")
  endwhile()
  string(SHA256 of_all "${files}")
  string(TIMESTAMP now UTC)
  configure_file(${TEMPLATE} ${OUTPUT} @ONLY)
  return()
endif()

# What is in the target or linked to it, its licence, how, where it is used, and what pkg-config calls it.
set(parts
  nvimport Expat MIT DYNAMIC_LINK NVIMPORT_PACKAGES_FOUND expat
  nvimport zlib Zlib DYNAMIC_LINK NVIMPORT_PACKAGES_FOUND zlib
  nvimport ISA-L BSD-3-Clause DYNAMIC_LINK NVIMPORT_ISAL_FOUND libisal
  nvimport Nettle "LGPL-3.0-or-later OR GPL-2.0-or-later" DYNAMIC_LINK NVIMPORT_CRYPTO_FOUND nettle
  nvimport-complete libxml2 MIT DYNAMIC_LINK NVIMPORT_XML2 libxml-2.0
  nvimport-hdf5-reader HDF5 BSD-3-Clause DYNAMIC_LINK TRUE hdf5
  nvimport-odbc unixODBC LGPL-2.1-or-later DYNAMIC_LINK TRUE odbc
  nvimport-cli CLI11 BSD-3-Clause STATIC_LINK TRUE CLI11
  nvimport-cli nlohmann-json MIT STATIC_LINK TRUE nlohmann_json
  nvimport-qt-dialogs Qt LGPL-3.0-only DYNAMIC_LINK TRUE Qt6Widgets
  nvimport-desktop Qt LGPL-3.0-only DYNAMIC_LINK TRUE Qt6Widgets
  nvimport-desktop QCustomPlot GPL-3.0-or-later DYNAMIC_LINK TRUE qcustomplot
  nvimport-draw Qt LGPL-3.0-only DYNAMIC_LINK TRUE Qt6Widgets
  nvimport-draw QCustomPlot GPL-3.0-or-later DYNAMIC_LINK TRUE qcustomplot
  nvimport-python pybind11 BSD-3-Clause STATIC_LINK TRUE pybind11)
find_program(PKG_CONFIG_EXECUTABLE pkg-config)
mark_as_advanced(PKG_CONFIG_EXECUTABLE)
set(targets)
set(names)
set(packages)
set(relationships)
while(parts)
  list(POP_FRONT parts target name licence how condition module)
  if(NOT TARGET ${target})
    continue()
  endif()
  if(NOT target IN_LIST targets)
    list(APPEND targets ${target})
    string(APPEND relationships ",
    {\"spdxElementId\": \"SPDXRef-NvImport\", \"relationshipType\": \"CONTAINS\",
     \"relatedSpdxElement\": \"SPDXRef-File-${target}\"}")
  endif()
  if(NOT ${condition})
    continue()
  endif()
  string(APPEND relationships ",
    {\"spdxElementId\": \"SPDXRef-File-${target}\", \"relationshipType\": \"${how}\",
     \"relatedSpdxElement\": \"SPDXRef-${name}\"}")
  if(name IN_LIST names)
    continue()
  endif()
  list(APPEND names ${name})
  set(version)
  if(PKG_CONFIG_EXECUTABLE AND NOT CMAKE_CROSSCOMPILING)
    execute_process(COMMAND ${PKG_CONFIG_EXECUTABLE} --modversion ${module}
      OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  endif()
  if(version)
    set(version "\"versionInfo\": \"${version}\", ")
  endif()
  string(APPEND packages ",
    {\"name\": \"${name}\", \"SPDXID\": \"SPDXRef-${name}\", ${version}\"licenseDeclared\": \"${licence}\",
     \"downloadLocation\": \"NOASSERTION\", \"filesAnalyzed\": false,
     \"licenseConcluded\": \"NOASSERTION\", \"copyrightText\": \"NOASSERTION\"}")
endwhile()
set(template ${PROJECT_BINARY_DIR}/nvimport.spdx.json.in)
file(GENERATE OUTPUT ${template} CONTENT "{
  \"spdxVersion\": \"SPDX-2.3\",
  \"dataLicense\": \"CC0-1.0\",
  \"SPDXID\": \"SPDXRef-DOCUMENT\",
  \"name\": \"nvimport-${PROJECT_VERSION}\",
  \"documentNamespace\": \"https://nvimport.invalid/spdx/nvimport-${PROJECT_VERSION}-@of_all@\",
  \"creationInfo\": {\"created\": \"@now@\", \"creators\": [\"Tool: CMake-${CMAKE_VERSION}\"]},
  \"packages\": [
    {\"name\": \"NvImport\", \"SPDXID\": \"SPDXRef-NvImport\", \"versionInfo\": \"${PROJECT_VERSION}\",
     \"downloadLocation\": \"NOASSERTION\", \"filesAnalyzed\": false, \"licenseDeclared\": \"Apache-2.0\",
     \"licenseConcluded\": \"Apache-2.0\", \"copyrightText\": \"2026 The NvImport developers\"}${packages}
  ],
  \"files\": [@files@
  ],
  \"relationships\": [
    {\"spdxElementId\": \"SPDXRef-DOCUMENT\", \"relationshipType\": \"DESCRIBES\",
     \"relatedSpdxElement\": \"SPDXRef-NvImport\"}${relationships}
  ]
}
")
list(TRANSFORM targets REPLACE "(.+)" "\\1;$<TARGET_FILE:\\1>" OUTPUT_VARIABLE files)
set(output ${PROJECT_BINARY_DIR}/nvimport.spdx.json)
add_custom_command(OUTPUT ${output} VERBATIM
  COMMAND ${CMAKE_COMMAND} "-DFILES=${files}" -DTEMPLATE=${template} -DOUTPUT=${output}
    -P ${CMAKE_CURRENT_LIST_FILE}
  DEPENDS ${targets} ${template} ${CMAKE_CURRENT_LIST_FILE})
add_custom_target(sbom DEPENDS ${output})
