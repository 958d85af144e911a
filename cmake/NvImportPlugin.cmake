# nvimport_add_plugin(NAME SOURCE...): a plug-in library NAME.so (or .dll) that exports the twelve functions of
# nvimport/framework/NvImport.h. It finds libraries that lie beside it, and shows nothing else.
function(nvimport_add_plugin name)
  add_library(${name} MODULE ${ARGN})
  target_include_directories(${name} PRIVATE
    $<TARGET_PROPERTY:NvImport::nvimport,INTERFACE_INCLUDE_DIRECTORIES>)
  if(WIN32)
    # There the header decides what is shown.
    target_compile_definitions(${name} PRIVATE NVIMPORT_BUILDING)
  endif()
  set_target_properties(${name} PROPERTIES
    PREFIX "" SUFFIX "${CMAKE_SHARED_MODULE_SUFFIX}"
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    C_VISIBILITY_PRESET hidden
    BUILD_RPATH "$ORIGIN"
    INSTALL_RPATH "$ORIGIN")
endfunction()
