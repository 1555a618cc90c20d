# SPDX-License-Identifier: MIT
# Debian packages, one a component of the installation: cpack -G DEB.
include_guard()

set(CPACK_PACKAGE_NAME mlox)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The mlox developers <mlox@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "MIDI services library")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
# What the programs and the library are linked with becomes what the packages need.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})

set(mlox_runtime_package libmlox${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${mlox_runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "MIDI services library
 One shared library that an audio workstation or plug-in host loads to reach
 every MIDI source and destination through one object model.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libmlox-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${mlox_runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "MIDI services library: headers, CMake package and pkg-config file")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME mlox-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${mlox_runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "timgm6mb-soundfont")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "MIDI services: the command mlox
 Lists, watches and plays MIDI ports, renders songs through a plug-in's node,
 keeps the studio of external instruments and checks name documents.")
include(CPack)
