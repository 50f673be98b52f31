# The install tree, and the CMake package `KavelinCore` with the targets Kavelin::KavelinCore (the host library),
# Kavelin::Typed (pins, buffers and properties for filters, header-only) and Kavelin::Testing (drives a filter in a test).
include(CMakePackageConfigHelpers)

set_target_properties(kavelin_typed PROPERTIES EXPORT_NAME Typed)
set_target_properties(kavelin_matrix PROPERTIES EXPORT_NAME Matrix)
set_target_properties(kavelin_testing PROPERTIES EXPORT_NAME Testing)

set(plugin_dir ${CMAKE_INSTALL_LIBDIR}/kavelin)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KavelinCore)

install(TARGETS KavelinCore kavelin_typed kavelin_matrix kavelin_testing EXPORT KavelinTargets)
install(TARGETS kavelin)
set_target_properties(kavelin PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
foreach(module KavelinPluginOrientationInternal KavelinPluginRecordingIO KavelinPluginCalibration)
  if(TARGET ${module})
    install(TARGETS ${module} LIBRARY DESTINATION ${plugin_dir})
    set_target_properties(${module} PROPERTIES INSTALL_RPATH "$ORIGIN/..")
  endif()
endforeach()

install(DIRECTORY host/include/ core/include/ core/values/ core/testing/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h")
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DATADIR}/kavelin)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs PATTERN "kavelin.1" EXCLUDE)
install(FILES README.md CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES docs/kavelin.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES cli/completion/kavelin DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

install(EXPORT KavelinTargets NAMESPACE Kavelin:: DESTINATION ${package_dir})
configure_package_config_file(cmake/KavelinCoreConfig.cmake.in ${PROJECT_BINARY_DIR}/KavelinCoreConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KavelinCoreConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KavelinCoreConfig.cmake ${PROJECT_BINARY_DIR}/KavelinCoreConfigVersion.cmake
  cmake/KavelinPlugin.cmake cmake/plugin_exports.map DESTINATION ${package_dir})
