# A plug-in with functions of its own over the library's readers, where plug-ins are found unasked:
# nvimport_add_served_plugin(NAME FORMATS COMPONENT [OBJECT...]) makes NAME of the ServedFormats.cpp
# that lies there, of the library FORMATS, and of those objects of the library that it does not show.
function(nvimport_add_served_plugin name formats component)
  set(objects framework/NvImport platform/[a-z]+/LibraryLock ${ARGN})
  list(JOIN objects "|" objects)
  add_library(${name} MODULE ServedFormats.cpp
    "$<FILTER:$<TARGET_OBJECTS:nvimport-objects>,INCLUDE,/(${objects})[.]cpp>")
  target_link_libraries(${name} PRIVATE nvimport nvimport-flags ${formats})
  set(exports ${PROJECT_SOURCE_DIR}/plugins/complete/exports.map)
  target_link_options(${name} PRIVATE
    LINKER:--version-script=${exports} LINKER:-Bsymbolic ${NVIMPORT_WHOLE})
  set(folder nvimport/plugins)
  set_target_properties(${name} PROPERTIES
    PREFIX "" SUFFIX "${CMAKE_SHARED_MODULE_SUFFIX}"
    LINK_DEPENDS ${exports}
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/${folder}
    BUILD_RPATH "$ORIGIN/../.."
    INSTALL_RPATH "$ORIGIN/../..")
  if(NVIMPORT_INSTALL)
    install(TARGETS ${name}
      LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/${folder} COMPONENT ${component})
  endif()
endfunction()
