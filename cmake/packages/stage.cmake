# Run by cpack on the installed files of each component before they are packed: what Debian asks of a package and an install tree
# below any prefix has otherwise. Run paths go, since the system finds libraries of /usr by itself; man pages are compressed;
# each package tells its licence and its changes; libraries that Debian has are links to them.
if(NOT CPACK_KAVELIN_LIBDIR STREQUAL "lib/${CPACK_KAVELIN_ARCHITECTURE}")
  message(FATAL_ERROR "Packages put libraries into /usr/lib/${CPACK_KAVELIN_ARCHITECTURE}, but this build into /usr/${CPACK_KAVELIN_LIBDIR}: "
    "configure it again with -U CMAKE_INSTALL_LIBDIR")
endif()

function(compress file)
  execute_process(COMMAND gzip -9n ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(READ ${CPACK_KAVELIN_SOURCE_DIR}/LICENSE licence)
string(REGEX MATCH "Copyright[^\n]*" copyright "${licence}")
string(REGEX REPLACE "^.*${copyright}\n+" "" licence "${licence}")
string(REGEX REPLACE "\n\n" "\n.\n" licence "${licence}")
string(REGEX REPLACE "\n(.)" "\n \\1" licence "${licence}")
string(REGEX REPLACE "^Copyright \\(c\\) " "" copyright "${copyright}")

foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} key)
  set(root ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)
  set(own ${root}/share/doc/${CPACK_DEBIAN_${key}_PACKAGE_NAME})
  file(MAKE_DIRECTORY ${own})
  file(WRITE ${own}/copyright "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: Kavelin

Files: *
Copyright: ${copyright}
License: Expat
 ${licence}")
  configure_file(${CPACK_KAVELIN_SOURCE_DIR}/CHANGELOG.md ${own}/changelog COPYONLY)
  file(WRITE ${own}/changelog.Debian "kavelin (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * Version ${CPACK_PACKAGE_VERSION}: see changelog.gz.

 -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${date}
")
  compress(${own}/changelog)
  compress(${own}/changelog.Debian)
  # Whatever the rights of the sources are, and those that new files and folders get here.
  execute_process(COMMAND find ${root} -type d -exec chmod 755 {} + COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND find ${root}/share/doc -type f -exec chmod 644 {} + COMMAND_ERROR_IS_FATAL ANY)

  file(GLOB pages ${root}/share/man/man*/*.[1-9])
  foreach(page ${pages})
    compress(${page})
  endforeach()
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
endforeach()

set(root ${CPACK_TEMPORARY_DIRECTORY}/program/usr/share)
foreach(library ${CPACK_KAVELIN_JAVASCRIPT})
  get_filename_component(name ${library} NAME)
  file(REMOVE ${root}/kavelin/view/lib/${name})
  file(CREATE_LINK ../../../javascript/${library} ${root}/kavelin/view/lib/${name} SYMBOLIC)
endforeach()
