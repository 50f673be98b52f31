# The install tree, and the CMake package `KavelinCore` with the targets Kavelin::KavelinCore (the host library),
# Kavelin::Typed (pins, buffers and properties for filters, header-only) and Kavelin::Testing (drives a filter in a test).
# Each file belongs to a component: program, library, dev, doc, or python (python/). A component is a package (Packages.cmake).
include(CMakePackageConfigHelpers)

set(plugin_dir ${CMAKE_INSTALL_LIBDIR}/kavelin)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KavelinCore)

# The program with its plugins
install(TARGETS kavelin COMPONENT program)
set_target_properties(kavelin PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
foreach(module KavelinPluginOrientationInternal KavelinPluginRecordingIO KavelinPluginCalibration)
  if(TARGET ${module})
    install(TARGETS ${module} LIBRARY DESTINATION ${plugin_dir} COMPONENT program)
    set_target_properties(${module} PROPERTIES INSTALL_RPATH "$ORIGIN/..")
  endif()
endforeach()
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DATADIR}/kavelin COMPONENT program PATTERN "*.sh" EXCLUDE)
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DATADIR}/kavelin COMPONENT program
  FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE
  FILES_MATCHING PATTERN "*.sh")
install(DIRECTORY ${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_MANDIR}/man1 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT program)
install(FILES cli/completion/kavelin DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT program)

# The host library, and what programs and plugins of one's own are built with
set_target_properties(kavelin_typed PROPERTIES EXPORT_NAME Typed)
set_target_properties(kavelin_matrix PROPERTIES EXPORT_NAME Matrix)
set_target_properties(kavelin_testing PROPERTIES EXPORT_NAME Testing)
install(TARGETS KavelinCore kavelin_typed kavelin_matrix kavelin_testing EXPORT KavelinTargets
  LIBRARY COMPONENT library NAMELINK_COMPONENT dev)
install(DIRECTORY host/include/ core/include/ core/values/ core/testing/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT dev FILES_MATCHING PATTERN "*.h")
install(EXPORT KavelinTargets NAMESPACE Kavelin:: DESTINATION ${package_dir} COMPONENT dev)
configure_package_config_file(cmake/KavelinCoreConfig.cmake.in ${PROJECT_BINARY_DIR}/KavelinCoreConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KavelinCoreConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KavelinCoreConfig.cmake ${PROJECT_BINARY_DIR}/KavelinCoreConfigVersion.cmake
  cmake/KavelinPlugin.cmake cmake/plugin_exports.map DESTINATION ${package_dir} COMPONENT dev)

# For builds without CMake. The way from its folder to the prefix keeps the tree movable.
file(RELATIVE_PATH prefix_from_pkgconfig /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig ${prefix_from_pkgconfig})
configure_file(cmake/kavelincore.pc.in ${PROJECT_BINARY_DIR}/kavelincore.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kavelincore.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT doc)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT doc)
