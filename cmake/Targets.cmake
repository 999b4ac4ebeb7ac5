# prismel_library(NAME): a static library Prismel::<name>, installed under that name.
#
#   Prismel::interface    what a shell needs to load the processor library: headers alone
#   Prismel::curves       curves between knob positions and values
#   Prismel::effect       the whole effect, linked: no threads of its own, no files, no dynamic loader
#   Prismel::processor    the same as the shared library that shells load at run time
#   Prismel::tools        log, resources, the platform's calls
#   Prismel::convolution  the convolution reverb: worker threads, impulse files
#   Prismel::host         the shell's side of the interface: parameters, texts, blocks, presets as text, automation, tempo
#   Prismel::files        presets, automation and tempo maps as files
#   Prismel::loading      processors out of the shared library
#   Prismel::offline      offline renders of the effect: streams with tail, lined up to the sample
#   Prismel::offlineModules  the same for the plate, the noise and the convolution reverb
#
# What a library doesn't need it doesn't link; scripts/layers holds the same for includes.
function(prismel_library name)
  string(SUBSTRING ${name} 0 1 first)
  string(TOUPPER ${first} first)
  string(SUBSTRING ${name} 1 -1 rest)
  set(target prismel${first}${rest})
  add_library(${target} STATIC)
  add_library(Prismel::${name} ALIAS ${target})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>"
    "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/prismel>")
  prismel_warnings(${target} STRICT)
endfunction()
