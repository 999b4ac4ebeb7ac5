# What makes a mistake in reading hostile input a refusal to go on in place of a way in. scripts/hardening looks at the
# built binaries.
#
# Everything is linked with read-only relocations, bound at load time, on a stack that can't be executed; programs are
# position independent. prismel_hardened(TARGET) and prismel_hardened_sources(TARGET FILE...) add stack guards, stack probes and
# the C library's checked calls to what parses files, texts and states. The audio path goes without: it reads samples and
# positions alone, and the guards would cost there.
include(CheckPIESupported)
check_pie_supported()

set(PRISMEL_HARDENING "")
if(NOT EMSCRIPTEN AND NOT WIN32 AND NOT PRISMEL_SANITIZE)
  add_link_options(LINKER:-z,relro,-z,now,-z,noexecstack)
  set(PRISMEL_HARDENING -fstack-protector-strong -fstack-clash-protection
    "$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>" "$<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>")
endif()

function(prismel_hardened target)
  target_compile_options(${target} PRIVATE ${PRISMEL_HARDENING})
endfunction()

function(prismel_hardened_sources target)
  set_property(SOURCE ${ARGN} TARGET_DIRECTORY ${target} APPEND PROPERTY COMPILE_OPTIONS ${PRISMEL_HARDENING})
  # A header that was compiled without the checks doesn't fit these.
  set_property(SOURCE ${ARGN} TARGET_DIRECTORY ${target} PROPERTY SKIP_PRECOMPILE_HEADERS ON)
endfunction()
