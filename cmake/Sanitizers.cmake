# PRISMEL_SANITIZE: "address,undefined" or "thread", for every target of the build.
set(PRISMEL_SANITIZE "" CACHE STRING "Sanitizers for the whole build")
if(PRISMEL_SANITIZE)
  # GCC 12 sees uninitialised variables in instrumented code that the plain build knows to be set.
  add_compile_options(-fsanitize=${PRISMEL_SANITIZE} -fno-omit-frame-pointer -g -Wno-maybe-uninitialized)
  add_link_options(-fsanitize=${PRISMEL_SANITIZE})
endif()
