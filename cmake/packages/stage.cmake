# Run by cpack on the installed files of each component before they are packed: what Debian asks of a package, and an install tree
# below any prefix has otherwise.
if(NOT CPACK_KAVELIN_LIBDIR STREQUAL "lib/${CPACK_KAVELIN_ARCHITECTURE}")
  message(FATAL_ERROR "Packages put libraries into /usr/lib/${CPACK_KAVELIN_ARCHITECTURE}, but this build into /usr/${CPACK_KAVELIN_LIBDIR}: "
    "configure it again with -U CMAKE_INSTALL_LIBDIR")
endif()

function(compress)
  execute_process(COMMAND gzip -9n ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# The licence, the changes of the program, and those of the package, in the folder of a package's documents.
function(add_papers folder)
  file(MAKE_DIRECTORY ${folder})
  file(READ ${CPACK_KAVELIN_SOURCE_DIR}/LICENSE licence)
  string(REGEX MATCH "Copyright \\(c\\) ([^\n]*)\n+(.*)$" found "${licence}")
  set(holder "${CMAKE_MATCH_1}")
  string(REPLACE "\n\n" "\n.\n" terms "${CMAKE_MATCH_2}")
  string(REGEX REPLACE "\n(.)" "\n \\1" terms "${terms}")
  file(WRITE ${folder}/copyright "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: Kavelin

Files: *
Copyright: ${holder}
License: Expat
 ${terms}")
  configure_file(${CPACK_KAVELIN_SOURCE_DIR}/CHANGELOG.md ${folder}/changelog COPYONLY)
  string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  file(WRITE ${folder}/changelog.Debian "kavelin (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * Version ${CPACK_PACKAGE_VERSION}: see changelog.gz.

 -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${date}
")
  compress(${folder}/changelog ${folder}/changelog.Debian)
endfunction()

# The system finds libraries of /usr by itself, and nobody runs them.
function(settle_binaries root)
  file(GLOB_RECURSE binaries ${root}/bin/* ${root}/lib/*.so ${root}/lib/*.so.*)
  foreach(binary ${binaries})
    if(IS_SYMLINK ${binary})
      continue()
    endif()
    file(RPATH_REMOVE FILE ${binary})
    if(binary MATCHES "\\.so")
      file(CHMOD ${binary} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    endif()
  endforeach()
endfunction()

# Libraries of the page that Debian has become links to them.
function(link_javascript folder)
  foreach(library ${CPACK_KAVELIN_JAVASCRIPT})
    get_filename_component(name ${library} NAME)
    file(REMOVE ${folder}/${name})
    file(CREATE_LINK ../../../javascript/${library} ${folder}/${name} SYMBOLIC)
  endforeach()
endfunction()

foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} key)
  set(root ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)
  add_papers(${root}/share/doc/${CPACK_DEBIAN_${key}_PACKAGE_NAME})
  settle_binaries(${root})
  file(GLOB pages ${root}/share/man/man*/*.[1-9])
  if(pages)
    compress(${pages})
  endif()
  # Whatever the rights of the sources are, and those that new files and folders get here.
  execute_process(COMMAND find ${root} -type d -exec chmod 755 {} + COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND find ${root}/share/doc -type f -exec chmod 644 {} + COMMAND_ERROR_IS_FATAL ANY)
endforeach()
link_javascript(${CPACK_TEMPORARY_DIRECTORY}/program/usr/share/kavelin/view/lib)
