# prismel_warnings(TARGET [STRICT]): warnings are errors everywhere; STRICT adds the ones that guard float against
# double, which the signal code needs and tests don't.
# The floating-point flags are part of the sound (the two with -fno change no result: nobody reads errno or the exception
# flags, and without them GCC makes selects out of branches): formulas are rounded where they are written, never fused or
# reordered, and -ffast-math would change the host's denormal mode when the shared library is loaded.
function(prismel_warnings target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "STRICT" "" "")
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Werror
    -fno-math-errno -fno-trapping-math -ffp-contract=off)
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(${target} PRIVATE -Wno-restrict)  # false alarms on text + std::string, GCC bug 105651
  endif()
  if(arg_STRICT)
    target_compile_options(${target} PRIVATE -Wdouble-promotion -Wfloat-conversion -Woverloaded-virtual)
  endif()
endfunction()

# Code that waits for files and people instead of samples: compiled in two thirds of the time. What GCC calls uninitialised
# at this level is inside std::optional, and known to be set at the full one.
set(PRISMEL_LIGHT_OPTIONS "$<$<CONFIG:Release>:-O1>")
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  list(APPEND PRISMEL_LIGHT_OPTIONS -Wno-maybe-uninitialized)
endif()

string(REPLACE "-O2" "-O3" CMAKE_CXX_FLAGS_RELWITHDEBINFO "${CMAKE_CXX_FLAGS_RELWITHDEBINFO}")
