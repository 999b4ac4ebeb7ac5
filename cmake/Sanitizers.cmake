# PRISMEL_SANITIZE: "address,undefined,float-cast-overflow" or "thread", for every target of the build. The first finding
# ends a program, so that a test can't pass over one. Debug information is lines alone: names enough for a report, and
# the build takes a fifth less.
set(PRISMEL_SANITIZE "" CACHE STRING "Sanitizers for the whole build")
if(PRISMEL_SANITIZE)
  add_compile_options(-fsanitize=${PRISMEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    # GCC 12 sees uninitialised variables in instrumented code that the plain build knows to be set.
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
  add_link_options(-fsanitize=${PRISMEL_SANITIZE})
endif()

# A shared library without open symbols; clang's sanitizers leave theirs to the program.
set(PRISMEL_NO_UNDEFINED LINKER:--no-undefined)
if(PRISMEL_SANITIZE AND NOT CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  set(PRISMEL_NO_UNDEFINED "")
endif()
