# Three Debian packages, and those of the window and its dialogs, for Python, for R and of the formats that are HDF5 where these are built, made by cpack in a build
# of the preset "package".
set(NVIMPORT_MAINTAINER "The NvImport developers <developers@nvimport.invalid>" CACHE STRING
  "Who answers for the Debian packages")
set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL runtime development command)
if(TARGET nvimport-qt-dialogs)
  list(APPEND CPACK_COMPONENTS_ALL dialogs dialogs-development)
endif()
if(TARGET nvimport-desktop)
  list(APPEND CPACK_COMPONENTS_ALL desktop)
endif()
if(TARGET nvimport-odbc)
  list(APPEND CPACK_COMPONENTS_ALL odbc)
endif()
if(TARGET nvimport-hdf5)
  list(APPEND CPACK_COMPONENTS_ALL hdf5)
endif()
if(TARGET nvimport-python)
  list(APPEND CPACK_COMPONENTS_ALL python)
endif()
if(TARGET nvimport-r)
  list(APPEND CPACK_COMPONENTS_ALL r)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_PACKAGE_SOURCE nvimport)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${NVIMPORT_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# Each package has a first line of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")

set(full_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(library_package libnvimport${PROJECT_VERSION_MAJOR})
set(what "NvImport reads the tables and spectra that spreadsheets, near-infrared and
infrared spectrometers, chromatographs and process tools leave behind, and
hands over each file as one sheet of cells: numbers, texts, missing.

")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "import of tables and spectra from many file formats
${what}This package holds the library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libnvimport-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} (= ${full_version})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "import of tables and spectra - development files
${what}This package holds what programs and plug-ins are built with: headers, a CMake
package, a pkg-config file, and examples.")

set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME nvimport)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION science)
set(CPACK_DEBIAN_COMMAND_PACKAGE_DEPENDS "${library_package} (= ${full_version})")
set(CPACK_DEBIAN_COMMAND_DESCRIPTION "converts files of tables and spectra to CSV and JSON
${what}This package holds the command, which lists, shows, checks and converts files.")

set(dialogs_package libnvimport-qt-dialogs${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_DIALOGS_PACKAGE_NAME ${dialogs_package})
set(CPACK_DEBIAN_DIALOGS_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DIALOGS_PACKAGE_DEPENDS "${library_package} (= ${full_version})")
set(CPACK_DEBIAN_DIALOGS_DESCRIPTION "import of tables and spectra - dialogs for Qt applications
${what}This package holds the dialogs in which an application asks what an import
has to be told.")

set(CPACK_DEBIAN_DIALOGS-DEVELOPMENT_PACKAGE_NAME libnvimport-qt-dialogs-dev)
set(CPACK_DEBIAN_DIALOGS-DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DIALOGS-DEVELOPMENT_PACKAGE_DEPENDS
  "${dialogs_package} (= ${full_version}), libnvimport-dev (= ${full_version}), qt6-base-dev")
set(CPACK_DEBIAN_DIALOGS-DEVELOPMENT_DESCRIPTION "dialogs of imports for Qt - development files
${what}This package holds the headers and the CMake package of the dialogs.")

set(CPACK_DEBIAN_DESKTOP_PACKAGE_NAME nvimport-desktop)
set(CPACK_DEBIAN_DESKTOP_PACKAGE_SECTION science)
set(CPACK_DEBIAN_DESKTOP_PACKAGE_DEPENDS
  "${library_package} (= ${full_version}), ${dialogs_package} (= ${full_version})")
set(CPACK_DEBIAN_DESKTOP_DESCRIPTION "shows and plots files of tables and spectra
${what}This package holds the window, and what draws the pictures of \"nvimport plot\".")

set(CPACK_DEBIAN_HDF5_PACKAGE_NAME nvimport-hdf5)
set(CPACK_DEBIAN_HDF5_PACKAGE_SECTION science)
set(CPACK_DEBIAN_HDF5_PACKAGE_DEPENDS "${library_package} (= ${full_version})")
set(CPACK_DEBIAN_HDF5_DESCRIPTION "import of netCDF-4, HDF5 and MATLAB 7.3 files
${what}This package holds the plug-in for formats that are HDF5.")

set(CPACK_DEBIAN_ODBC_PACKAGE_NAME nvimport-odbc)
set(CPACK_DEBIAN_ODBC_PACKAGE_SECTION science)
set(CPACK_DEBIAN_ODBC_PACKAGE_DEPENDS "${library_package} (= ${full_version})")
set(CPACK_DEBIAN_ODBC_DESCRIPTION "import of database queries
${what}This package holds the plug-in for queries of ODBC data sources.")

# The compiled part is of one version of Python, and scripts are compiled where they are installed.
if(TARGET nvimport-python)
  math(EXPR next_minor "${Python_VERSION_MINOR} + 1")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-nvimport)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  string(JOIN ", " CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
    "${library_package} (= ${full_version})"
    "python3 (>= ${Python_VERSION_MAJOR}.${Python_VERSION_MINOR}~)"
    "python3 (<< ${Python_VERSION_MAJOR}.${next_minor})"
    "python3-numpy")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS python3-pandas)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-dask, python3-distributed, python3-xarray")
  set(CPACK_DEBIAN_PYTHON_DESCRIPTION "tables and spectra from many file formats in Python
${what}This package holds the Python package, which gives sheets as NumPy arrays and
pandas data frames.")
  set(scripts ${PROJECT_BINARY_DIR}/debian/python)
  file(CONFIGURE OUTPUT ${scripts}/postinst @ONLY CONTENT [[#!/bin/sh
set -e
if [ "$1" = configure ] && command -v py3compile >/dev/null; then py3compile -p python3-nvimport; fi
]])
  file(CONFIGURE OUTPUT ${scripts}/prerm @ONLY CONTENT [[#!/bin/sh
set -e
if command -v py3clean >/dev/null; then py3clean -p python3-nvimport; fi
]])
  file(CHMOD ${scripts}/postinst ${scripts}/prerm PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
    GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${scripts}/postinst ${scripts}/prerm)
endif()

# R has made it by its own flags.
if(TARGET nvimport-r)
  set(CPACK_DEBIAN_R_PACKAGE_NAME r-cran-nvimport)
  set(CPACK_DEBIAN_R_PACKAGE_SECTION gnu-r)
  set(CPACK_DEBIAN_R_PACKAGE_DEPENDS
    "${library_package} (= ${full_version}), r-api-4.0, r-base-core (>= 4.1.0)")
  set(CPACK_DEBIAN_R_PACKAGE_RECOMMENDS r-cran-tibble)
  set(CPACK_DEBIAN_R_PACKAGE_SUGGESTS r-cran-pls)
  set(CPACK_DEBIAN_R_DESCRIPTION "tables and spectra from many file formats in R
${what}This package holds the R package, which gives sheets as data frames and spectra
as matrices.")
endif()

# What programs that use the library depend on, and the loader's list of libraries brought up to date.
# The scripts that cpack would add for the latter are kept away by naming ones that do not exist.
set(control ${PROJECT_BINARY_DIR}/debian)
file(WRITE ${control}/shlibs
  "libnvimport ${PROJECT_VERSION_MAJOR} ${library_package} (>= ${PROJECT_VERSION})\n")
file(WRITE ${control}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  ${control}/shlibs ${control}/triggers ${control}/postinst ${control}/postrm)

# The same for the dialogs.
file(WRITE ${control}/dialogs/shlibs "libnvimport-qt-dialogs ${PROJECT_VERSION_MAJOR} ${dialogs_package} (>= ${PROJECT_VERSION})\n")
file(WRITE ${control}/dialogs/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_DIALOGS_PACKAGE_CONTROL_EXTRA ${control}/dialogs/shlibs
  ${control}/dialogs/triggers ${control}/dialogs/postinst ${control}/dialogs/postrm)

configure_file(debian/changelog ${control}/changelog.Debian COPYONLY)
configure_file(CHANGELOG.md ${control}/changelog COPYONLY)
execute_process(COMMAND gzip -9nf changelog.Debian changelog
  WORKING_DIRECTORY ${control} COMMAND_ERROR_IS_FATAL ANY)
foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} upper)
  install(FILES ${control}/changelog.Debian.gz ${control}/changelog.gz debian/copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}
    COMPONENT ${component})
endforeach()
set(examples ${CMAKE_INSTALL_DATADIR}/doc/libnvimport-dev/examples)
install(DIRECTORY examples/host DESTINATION ${examples} COMPONENT development)
install(DIRECTORY plugins/example/ DESTINATION ${examples}/plugin COMPONENT development)
# Manual pages, installed by now, are compressed.
set(compress [[
  file(GLOB pages $ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/share/man/man1/*.1)
  if(pages)
    execute_process(COMMAND gzip -9nf ${pages} COMMAND_ERROR_IS_FATAL ANY)
  endif()
]])
install(CODE "${compress}" COMPONENT command)
install(CODE "${compress}" COMPONENT desktop)

include(CPack)
