# Flags that every target of the project shares. Same bits on every machine: no fast-math, no contraction.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -ffp-contract=off -fno-omit-frame-pointer)
# Mathematical functions need not set errno, which nothing here reads; square roots are then one instruction.
add_compile_options(-fno-math-errno)
# As the typed layer requires of its users (core/CMakeLists.txt), also for targets built without it.
add_compile_definitions(EIGEN_MAX_ALIGN_BYTES=16)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Unique symbols would pin a plugin in memory after it was unloaded.
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
endif()
if(KAVELIN_WERROR)
  add_compile_options(-Werror)
endif()
if(KAVELIN_SANITIZE MATCHES "undefined")
  # The checks of every single pointer double the time to compile Eigen and find what the address sanitizer and Eigen's
  # own assertions find too; vptr reports classes that a plugin and its host both define with hidden visibility.
  set(KAVELIN_SANITIZE_EXCEPT -fno-sanitize=null,alignment,object-size,vptr)
endif()
if(KAVELIN_SANITIZE)
  add_compile_options(-fsanitize=${KAVELIN_SANITIZE} ${KAVELIN_SANITIZE_EXCEPT} -fno-sanitize-recover=all -g1)
  add_link_options(-fsanitize=${KAVELIN_SANITIZE})
endif()
