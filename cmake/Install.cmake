# cmake --install: the processor library and the command, the libraries and their headers under include/prismel, a CMake
# package and a pkg-config file. cmake/Targets.cmake lists what the package offers.
include(CMakePackageConfigHelpers)

set(headers ${CMAKE_INSTALL_INCLUDEDIR}/prismel)

add_library(prismelInterface INTERFACE)
add_library(Prismel::interface ALIAS prismelInterface)
add_library(Prismel::processor ALIAS prismelProcessor)
set_target_properties(prismelInterface PROPERTIES EXPORT_NAME interface)
set_target_properties(prismelProcessor PROPERTIES EXPORT_NAME processor)
target_compile_features(prismelInterface INTERFACE cxx_std_20)
target_include_directories(prismelInterface INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${headers}>)

install(TARGETS prismelInterface prismelCurves prismelEffect prismelTools prismelConvolution prismelHost prismelFiles
  prismelLoading prismelOffline prismelOfflineModules prismelProcessor EXPORT PrismelTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS prismel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY presets/ DESTINATION ${CMAKE_INSTALL_DATADIR}/prismel/presets FILES_MATCHING PATTERN "*.json")
install(DIRECTORY basictools dsp engine host offline processor tools DESTINATION ${headers} FILES_MATCHING PATTERN "*.h")
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/Prismel)
install(EXPORT PrismelTargets NAMESPACE Prismel:: DESTINATION ${package})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/PrismelConfig.cmake.in
  ${CMAKE_BINARY_DIR}/PrismelConfig.cmake INSTALL_DESTINATION ${package})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/PrismelConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/PrismelConfig.cmake ${CMAKE_BINARY_DIR}/PrismelConfigVersion.cmake
  DESTINATION ${package})

# Relative, so that the file holds for whatever --prefix says.
file(RELATIVE_PATH prefixFromPackage /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${CMAKE_CURRENT_LIST_DIR}/prismel.pc.in ${CMAKE_BINARY_DIR}/prismel.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/prismel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
