# The target `dist` makes the source archive of what is committed.
if(EXISTS ${PROJECT_SOURCE_DIR}/.git)
  add_custom_target(dist VERBATIM COMMAND ${PROJECT_SOURCE_DIR}/cmake/packages/make-source-archive
    ${PROJECT_SOURCE_DIR} kavelin-${PROJECT_VERSION} ${PROJECT_BINARY_DIR})
endif()

# Debian packages, one for each component of the install tree (Install.cmake): `cpack` in the build folder makes them, and so does
# the target `package`. What the tree lacks of a package, packages/stage.cmake adds.
if(NOT EXISTS /etc/debian_version)
  return()
endif()
set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/packages/stage.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/packages/finish.cmake)
set(CPACK_KAVELIN_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_KAVELIN_LIBDIR ${CMAKE_INSTALL_LIBDIR})
set(CPACK_KAVELIN_ARCHITECTURE ${CMAKE_LIBRARY_ARCHITECTURE})
get_directory_property(CPACK_KAVELIN_JAVASCRIPT DIRECTORY cli DEFINITION javascript_installed)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SOURCE kavelin)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Kavelin contributors <contributors@kavelin.invalid>")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

set(library_package libkavelincore${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})  # as its SONAME
set(this_version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
# libmatio is loaded by its name (cmake/Matio.cmake), so no tool finds that it is needed.
string(REGEX REPLACE "\\.so\\.([0-9]+)$" "\\1" matio_package ${matio_name})

# kavelin_package(<component> <package> SECTION <section> TITLE <line> TEXT <lines> [SHLIBDEPS] [<field> <value>...]):
# the package of a component. Fields are those of a control file; SHLIBDEPS adds the libraries that its binaries need to DEPENDS.
macro(kavelin_package component package)
  cmake_parse_arguments(of "SHLIBDEPS" "SECTION;TITLE;TEXT;ARCHITECTURE;DEPENDS;RECOMMENDS;SUGGESTS" "" ${ARGN})
  string(TOUPPER ${component} key)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${of_TITLE}\n${of_TEXT}")
  set(CPACK_DEBIAN_${key}_PACKAGE_SHLIBDEPS ${of_SHLIBDEPS})
  foreach(field SECTION ARCHITECTURE DEPENDS RECOMMENDS SUGGESTS)
    if(of_${field})
      set(CPACK_DEBIAN_${key}_PACKAGE_${field} "${of_${field}}")
    endif()
  endforeach()
endmacro()

set(CPACK_COMPONENTS_ALL)
kavelin_package(program kavelin SHLIBDEPS SECTION science
  TITLE "orientation from inertial and magnetic sensors"
  TEXT "The program kavelin turns recordings of accelerometers, gyroscopes and
magnetometers into orientation, calibrates such sensors, and runs layouts of
filters. With it come the plugins of filters, settings and examples."
  DEPENDS "${library_package} ${this_version}, libjs-three, libjs-dygraphs"
  RECOMMENDS "gnuplot-nox, ${matio_package}"
  SUGGESTS "graphviz, kavelin-doc, bash-completion")
kavelin_package(library ${library_package} SHLIBDEPS SECTION libs
  TITLE "host library of orientation filters"
  TEXT "KavelinCore loads plugins of filters, connects the pins of filters, and runs
them as layouts.")
# For packages of other people's programs and plugins: what dpkg-shlibdeps makes of a need for the library.
file(WRITE ${PROJECT_BINARY_DIR}/shlibs
  "libKavelinCore ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR} ${library_package} (>= ${PROJECT_VERSION})\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/packages/triggers ${PROJECT_BINARY_DIR}/shlibs)
kavelin_package(dev libkavelincore-dev SECTION libdevel
  TITLE "host library of orientation filters: development files"
  TEXT "Headers, the CMake package KavelinCore and the pkg-config file kavelincore, for
programs and plugins of your own."
  DEPENDS "${library_package} ${this_version}, libpoco-dev, libeigen3-dev, libcereal-dev"
  SUGGESTS "kavelin, kavelin-doc, cmake, pkg-config")
if(TARGET kavelin_python)
  get_directory_property(python_minor DIRECTORY python DEFINITION Python_VERSION_MINOR)
  math(EXPR python_next "${python_minor} + 1")
  # The module and the plugins share classes that no other version has.
  kavelin_package(python python3-kavelin SHLIBDEPS SECTION python
    TITLE "orientation from inertial and magnetic sensors: Python module"
    TEXT "The module kavelin reads recordings, turns them into orientation, and drives
single filters and layouts, with NumPy arrays in and out."
    DEPENDS "kavelin ${this_version}, ${library_package} ${this_version}, python3 (>= 3.${python_minor}), python3 (<< 3.${python_next}), python3-numpy"
    SUGGESTS "python3-pandas, python3-matplotlib")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/cmake/packages/python/postinst ${PROJECT_SOURCE_DIR}/cmake/packages/python/prerm)
endif()
kavelin_package(doc kavelin-doc SECTION doc ARCHITECTURE all
  TITLE "orientation from inertial and magnetic sensors: documents"
  TEXT "What each filter does, which to choose, how to calibrate, how to write layouts,
filters and programs.")

include(CPack)
# As a source archive cpack would pack whatever lies in the folder: the target `dist` makes it.
file(REMOVE ${PROJECT_BINARY_DIR}/CPackSourceConfig.cmake)
