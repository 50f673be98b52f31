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

foreach(file share/man/man1/kavelin.1 share/bash-completion/completions/kavelin share/kavelin/scripts/turn.jsonl)
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()
