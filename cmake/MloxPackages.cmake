# SPDX-License-Identifier: MIT
# Debian packages, one a component of the installation: cpack -G DEB.
include_guard()

set(CPACK_PACKAGE_NAME mlox)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The mlox developers <mlox@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development)
if(MLOX_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
# What the programs and the library are linked with becomes what the packages need.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})

set(mlox_runtime_package libmlox${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${mlox_runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# Packages of applications learn from it what to depend on, and the loader's cache is renewed by dpkg's trigger.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/triggers)
# A title, then the lines of the description: CPack indents them.
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "MIDI services library
One shared library that an audio workstation or plug-in host loads to reach
every MIDI source and destination through one object model.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libmlox-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${mlox_runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "MIDI services library: development files
The headers of the library, its CMake package and its pkg-config file.
Programs that include the headers are compiled as C++20.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME mlox-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${mlox_runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "timgm6mb-soundfont")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "MIDI services: the command mlox
Lists, watches and plays MIDI ports, renders songs through a plug-in's node,
keeps the studio of external instruments and checks name documents.")

# What Debian wants beside each package's files: the licence in its own layout, and a list of changes, packed.
file(READ ${PROJECT_SOURCE_DIR}/LICENSE licence)
string(REGEX MATCH "Copyright \\(c\\) ([^\n]+)" _ "${licence}")
set(licence_holder ${CMAKE_MATCH_1})
string(REGEX REPLACE "^.*${licence_holder}\n+" "" licence "${licence}")
string(STRIP "${licence}" licence)
string(REPLACE "\n" "\n " licence "${licence}")
string(REPLACE "\n \n" "\n .\n" licence "${licence}")
file(CONFIGURE OUTPUT debian/copyright @ONLY CONTENT
"Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: mlox

Files: *
Copyright: @licence_holder@
License: Expat
 @licence@
")
# Honours SOURCE_DATE_EPOCH.
string(TIMESTAMP changed_on "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${PROJECT_BINARY_DIR}/debian/changelog
"mlox (${PROJECT_VERSION}) unstable; urgency=medium

  * ${PROJECT_VERSION}, as its sources tell.

 -- ${CPACK_PACKAGE_CONTACT}  ${changed_on}
")
execute_process(COMMAND ${GZIP_PROGRAM} -9nf ${PROJECT_BINARY_DIR}/debian/changelog COMMAND_ERROR_IS_FATAL ANY)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} name)
  install(FILES ${PROJECT_BINARY_DIR}/debian/copyright ${PROJECT_BINARY_DIR}/debian/changelog.gz COMPONENT ${component}
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${name}_PACKAGE_NAME})
endforeach()
include(CPack)
