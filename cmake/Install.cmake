# cmake --install: the processor library and the command, the headers under include/prismel, a CMake package and a
# pkg-config file.
#
#   Prismel::interface  what a shell needs to load the processor library: headers alone
#   Prismel::processor  the processor library itself; shells open it at run time rather than link it
#   Prismel::core       the modules as a C++ library (static)
#   Prismel::host       the shell's side of the interface (static)
include(CMakePackageConfigHelpers)

set(headers ${CMAKE_INSTALL_INCLUDEDIR}/prismel)

add_library(prismelInterface INTERFACE)
add_library(Prismel::interface ALIAS prismelInterface)
add_library(Prismel::core ALIAS prismelCore)
add_library(Prismel::processor ALIAS prismelProcessor)
foreach(target interface core host processor)
  string(SUBSTRING ${target} 0 1 first)
  string(TOUPPER ${first} first)
  string(SUBSTRING ${target} 1 -1 rest)
  set_target_properties(prismel${first}${rest} PROPERTIES EXPORT_NAME ${target})
endforeach()
target_include_directories(prismelInterface INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${headers}>)
foreach(target prismelCore prismelHost)
  target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${headers}>)
endforeach()

install(TARGETS prismelInterface prismelCore prismelHost prismelProcessor EXPORT PrismelTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS prismel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY presets/ DESTINATION ${CMAKE_INSTALL_DATADIR}/prismel/presets FILES_MATCHING PATTERN "*.json")
install(DIRECTORY processor/interface DESTINATION ${headers}/processor FILES_MATCHING PATTERN "*.h")
install(DIRECTORY basictools dsp engine host tools DESTINATION ${headers} FILES_MATCHING PATTERN "*.h")
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/Prismel)
install(EXPORT PrismelTargets NAMESPACE Prismel:: DESTINATION ${package})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/PrismelConfig.cmake.in
  ${CMAKE_BINARY_DIR}/PrismelConfig.cmake INSTALL_DESTINATION ${package})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/PrismelConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/PrismelConfig.cmake ${CMAKE_BINARY_DIR}/PrismelConfigVersion.cmake
  DESTINATION ${package})

configure_file(${CMAKE_CURRENT_LIST_DIR}/prismel.pc.in ${CMAKE_BINARY_DIR}/prismel.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/prismel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
