# Installs BUILD under WORK/prefix, builds SOURCE/consumer against it and runs what came out.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGN}\nended with ${status}\n${out}${err}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK}/prefix)
file(REMOVE_RECURSE ${prefix} ${WORK}/consumer)
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${SOURCE}/consumer -B ${WORK}/consumer -G ${GENERATOR}
  -D CMAKE_CXX_COMPILER=${COMPILER} -D CMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${WORK}/consumer)

# A program that links the host library loads the installed plugin and runs one of its filters.
run(${WORK}/consumer/consumer)
if(NOT out MATCHES "heading -1.5708")
  message(FATAL_ERROR "the consumer's program printed: ${out}")
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

# What the pages tell a reader to write is built, tested and run as they stand; the second uses the plugin of the first.
foreach(page writing-a-filter cpp)
  set(folder ${WORK}/${page})
  file(REMOVE_RECURSE ${folder})
  run(${SOURCE}/extract-code ${prefix}/share/doc/Kavelin/docs/${page}.md ${folder})
  run(${CMAKE_COMMAND} -S ${folder} -B ${folder}/build -G ${GENERATOR}
    -D CMAKE_CXX_COMPILER=${COMPILER} -D CMAKE_PREFIX_PATH=${prefix} -D CMAKE_CXX_FLAGS=-Wall\ -Wextra\ -Werror)
  run(${CMAKE_COMMAND} --build ${folder}/build)
endforeach()
run(${CMAKE_CTEST_COMMAND} --test-dir ${WORK}/writing-a-filter/build --no-tests=error --output-on-failure)
run(${SOURCE}/../cli/run-examples ${prefix}/bin/kavelin ${prefix}/share/doc/Kavelin/docs/writing-a-filter.md ${WORK}/writing-a-filter)
run(${WORK}/cpp/build/one_filter)
if(NOT out STREQUAL "0.00 s: tilt 30.0 degrees\n0.50 s: tilt 30.0 degrees\n1.00 s: tilt 30.0 degrees\n")
  message(FATAL_ERROR "one_filter of cpp.md printed: ${out}")
endif()
file(WRITE ${WORK}/turn.csv "t,gx,gy,gz\n0,0,0,1\n0.5,0,0,1\n1.5,0,0,2\n")
run(${WORK}/cpp/build/recording ${WORK}/turn.csv ${WORK}/writing-a-filter/build/MyPlugin.so)
if(NOT out STREQUAL "turned by 2.500 rad in 1.50 s\n")
  message(FATAL_ERROR "recording of cpp.md printed: ${out}")
endif()

foreach(file share/doc/Kavelin/LICENSE share/man/man1/kavelin.1 share/bash-completion/completions/kavelin share/kavelin/scripts/turn.jsonl)
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()
