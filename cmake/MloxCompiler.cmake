# SPDX-License-Identifier: MIT
# Compiler settings that every target of the tree shares.
include_guard()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

if(MLOX_SANITIZE)
  add_compile_options(-fsanitize=${MLOX_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${MLOX_SANITIZE})
  if(MLOX_SANITIZE MATCHES "undefined")
    add_compile_options(-fsanitize=float-cast-overflow -fno-sanitize-recover=all)
  endif()
endif()

# Warnings are errors here and nowhere else: they are never exported to those who build against us.
function(mlox_compile_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
endfunction()
