# Installs BUILD under WORK/prefix, builds SOURCE/consumer against it and runs what came out. The tree is moved there once it is
# installed, so what names its place in any file is found out.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGN}\nended with ${status}\n${out}${err}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK}/prefix)
file(REMOVE_RECURSE ${prefix} ${prefix}.before ${WORK}/consumer)
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix}.before)
file(RENAME ${prefix}.before ${prefix})
run(${CMAKE_COMMAND} -S ${SOURCE}/consumer -B ${WORK}/consumer -G ${GENERATOR}
  -D CMAKE_CXX_COMPILER=${COMPILER} -D CMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${WORK}/consumer)

# A program that links the host library loads the installed plugin and runs one of its filters.
run(${WORK}/consumer/consumer)
if(NOT out MATCHES "heading -1.5708")
  message(FATAL_ERROR "the consumer's program printed: ${out}")
endif()

# The same without CMake, by pkg-config.
file(GLOB_RECURSE pc ${prefix}/kavelincore.pc)
get_filename_component(pc_dir ${pc} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
run(pkg-config --cflags --libs kavelincore)
separate_arguments(flags UNIX_COMMAND "${out}")
run(pkg-config --variable=libdir kavelincore)
string(STRIP "${out}" libdir)
run(${COMPILER} -std=c++20 ${SOURCE}/consumer/consumer.cpp ${flags} -Wl,-rpath,${libdir} -o ${WORK}/consumer/by-pkg-config)
run(${WORK}/consumer/by-pkg-config)
if(NOT out MATCHES "heading -1.5708")
  message(FATAL_ERROR "the consumer's program, built by pkg-config, printed: ${out}")
endif()
run(pkg-config --variable=plugindir kavelincore)
string(STRIP "${out}" plugin_dir)
if(NOT EXISTS ${plugin_dir}/KavelinPluginOrientationInternal.so)
  message(FATAL_ERROR "plugindir of kavelincore.pc is ${plugin_dir}, where the plugins are not")
endif()

# The installed program finds its own plugins, and a plugin from outside by its path.
run(${prefix}/bin/kavelin inspect)
if(NOT out MATCHES "FilterCompass")
  message(FATAL_ERROR "the installed program does not know its filters: ${out}")
endif()
run(${prefix}/bin/kavelin inspect FilterTwice --plugin ${WORK}/consumer/TwicePlugin.so)
if(NOT out MATCHES "factor +double: default 2")
  message(FATAL_ERROR "the installed program does not see the consumer's filter: ${out}")
endif()

# The pages whose blocks make up projects are built, tested and run as they stand; the second uses the plugin of the first.
file(REMOVE_RECURSE ${WORK}/writing-a-filter ${WORK}/cpp)
run(${CMAKE_COMMAND} -E env CMAKE_PREFIX_PATH=${prefix} CMAKE_GENERATOR=${GENERATOR} CXX=${COMPILER} "CXXFLAGS=-Wall -Wextra -Werror"
  ${SOURCE}/../docs/run-pages --projects --program ${prefix}/bin/kavelin --work ${WORK}
  ${SOURCE}/../../docs/writing-a-filter.md ${SOURCE}/../../docs/cpp.md)

foreach(file share/doc/kavelin/LICENSE share/man/man1/kavelin.1 share/man/man1/kavelin-calibrate-mag.1 share/bash-completion/completions/kavelin share/kavelin/scripts/turn.jsonl)
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()
