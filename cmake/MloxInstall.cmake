# SPDX-License-Identifier: MIT
# What is installed, in four components: runtime (the library), development (headers, CMake package, pkg-config file), tools
# (the command) and tracing (the tracing library, which diagnostics/quiltrace/CMakeLists.txt installs if it is built). Headers lie under include/mlox-1/ and are included by the same paths as in the tree.
include_guard()
include(CMakePackageConfigHelpers)

# Only what is installed need be built before.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

set(mlox_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/mlox-${PROJECT_VERSION_MAJOR})
set(mlox_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/mlox)

install(TARGETS mlox EXPORT mlox-targets
  RUNTIME COMPONENT runtime
  LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development)
target_include_directories(mlox INTERFACE $<INSTALL_INTERFACE:${mlox_include_dir}>)
target_compile_features(mlox INTERFACE cxx_std_20)

# The library's modules, and of platform/ the three doors that an application may use: the interfaces of the ports, the
# management of the studio, and pairs of ports inside the process.
set(mlox_public_modules cmn diagnostics mdid mdi midixml mlox mlox/mlox_directmidi mlox/mlox_directmusic)
foreach(module IN LISTS mlox_public_modules)
  file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${module}/*.h)
  install(FILES ${headers} DESTINATION ${mlox_include_dir}/${module} COMPONENT development)
endforeach()
file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/platform/directmusic/windows_*.h)
list(APPEND headers ${PROJECT_SOURCE_DIR}/platform/directmusic/directmusic.h)
install(FILES ${headers} DESTINATION ${mlox_include_dir}/platform/directmusic COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/platform/directmusic/loopback/loopbackports.h
  DESTINATION ${mlox_include_dir}/platform/directmusic/loopback COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/platform/studio/studiomanagement.h ${PROJECT_SOURCE_DIR}/platform/studio/studiobank.h
  DESTINATION ${mlox_include_dir}/platform/studio COMPONENT development)

install(EXPORT mlox-targets NAMESPACE mlox:: DESTINATION ${mlox_package_dir} COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/packaging/mlox-config.cmake.in ${PROJECT_BINARY_DIR}/mlox-config.cmake
  INSTALL_DESTINATION ${mlox_package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/mlox-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/mlox-config.cmake ${PROJECT_BINARY_DIR}/mlox-config-version.cmake
  DESTINATION ${mlox_package_dir} COMPONENT development)

# The way up from the file's own folder, so that an installation can be moved.
file(RELATIVE_PATH mlox_pc_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${PROJECT_SOURCE_DIR}/packaging/mlox.pc.in ${PROJECT_BINARY_DIR}/mlox.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/mlox.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

if(MLOX_BUILD_TOOLS)
  install(TARGETS mlox_tool RUNTIME COMPONENT tools)
  set(tool_build ${PROJECT_BINARY_DIR}/tools/mlox)
  install(FILES ${tool_build}/mlox.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES ${tool_build}/mlox.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME mlox COMPONENT tools)
  # Debian's zsh looks for what packages bring elsewhere than for what an administrator has put under /usr/local. The prefix
  # is known when it is installed, not before; packages have theirs in a root of their own.
  install(CODE [[
    set(mlox_zsh_folder site-functions)
    if(CMAKE_INSTALL_PREFIX MATCHES "/usr$")
      set(mlox_zsh_folder vendor-completions)
    endif()
  ]] COMPONENT tools)
  install(FILES ${tool_build}/_mlox DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/\${mlox_zsh_folder} COMPONENT tools)
endif()
