# kavelin_add_plugin(<name> <sources...>): a module that the host can load. It exports the three entry points
# dllStartPlugin, dllStopPlugin and dllGetKavelinVersion and nothing else: visibility alone would also export some
# symbols of the standard library.
set(KAVELIN_PLUGIN_EXPORTS ${CMAKE_CURRENT_LIST_DIR}/plugin_exports.map)

function(kavelin_add_plugin name)
  add_library(${name} MODULE ${ARGN})
  target_link_libraries(${name} PRIVATE Kavelin::Typed)
  set_target_properties(${name} PROPERTIES
    PREFIX "" CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    LINK_DEPENDS ${KAVELIN_PLUGIN_EXPORTS})
  target_link_options(${name} PRIVATE -Wl,--version-script=${KAVELIN_PLUGIN_EXPORTS})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Unique symbols would keep the module in memory after it was unloaded.
    target_compile_options(${name} PRIVATE -fno-gnu-unique)
  endif()
endfunction()
