# The program that renders through a built plug-in, here and for other systems.
add_executable(shell_render "${CMAKE_CURRENT_LIST_DIR}/ClapShellHost.cpp" "${CMAKE_CURRENT_LIST_DIR}/ShellRender.cpp"
  "${CMAKE_CURRENT_LIST_DIR}/Vst3ShellHost.cpp" "${PROJECT_SOURCE_DIR}/plugin/clap/ClapValues.cpp")
prismel_warnings(shell_render)
target_include_directories(shell_render SYSTEM PRIVATE "${PRISMEL_DPF}/distrho/src")
target_link_libraries(shell_render PRIVATE prismelShell prismelTools)
add_dependencies(shell_render prismelClap prismelVst3)
