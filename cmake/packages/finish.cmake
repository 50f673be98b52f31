# Run by cpack on the packages that it has made. A library's package must leave ldconfig to its trigger, as Debian's policy has it: the
# scripts that cpack added to call it go.
foreach(package ${CPACK_PACKAGE_FILES})
  execute_process(COMMAND dpkg-deb --info ${package} postinst RESULT_VARIABLE has_none OUTPUT_VARIABLE script ERROR_QUIET)
  if(has_none OR NOT script MATCHES "ldconfig")
    continue()
  endif()
  set(tree ${package}.tree)
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${tree} COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE ${tree}/DEBIAN/postinst ${tree}/DEBIAN/postrm)
  execute_process(COMMAND dpkg-deb --root-owner-group -Zxz --build ${tree} ${package} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE ${tree})
endforeach()
