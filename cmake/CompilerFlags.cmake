# Flags that every target of the project shares. Same bits on every machine: no fast-math, no contraction.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -ffp-contract=off -fno-omit-frame-pointer)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Unique symbols would pin a plugin in memory after it was unloaded.
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
endif()
if(KAVELIN_WERROR)
  add_compile_options(-Werror)
endif()
if(KAVELIN_SANITIZE)
  add_compile_options(-fsanitize=${KAVELIN_SANITIZE} -fno-sanitize-recover=all -g)
  add_link_options(-fsanitize=${KAVELIN_SANITIZE})
endif()
