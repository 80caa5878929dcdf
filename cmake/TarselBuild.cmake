# Compiler settings that every target shares, and the two words by which targets are made.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(TARSEL_SANITIZE "" CACHE STRING "Sanitizers to build with, as in -fsanitize=")

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
endif()

add_library(tarsel-build-options INTERFACE)
target_compile_options(tarsel-build-options INTERFACE -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual)
target_compile_definitions(tarsel-build-options INTERFACE BOOST_BIND_GLOBAL_PLACEHOLDERS)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  # Thread annotations are checked by clang alone; g++ sees empty macros.
  target_compile_options(tarsel-build-options INTERFACE -Wthread-safety)
endif()
if(TARSEL_SANITIZE)
  target_compile_options(tarsel-build-options INTERFACE "-fsanitize=${TARSEL_SANITIZE}" -fno-omit-frame-pointer
                                                        -fno-sanitize-recover=all)
  target_link_options(tarsel-build-options INTERFACE "-fsanitize=${TARSEL_SANITIZE}")
endif()

# tarsel_library(NAME [SHARED|OBJECT] SOURCES ... HEADERS ... [HEADER_DIRS ...]): one of the project's libraries.
# Headers stand in a file set, so that each is compiled alone by the header check and installed with the library.
function(tarsel_library name kind)
  cmake_parse_arguments(arg "" "" "SOURCES;HEADERS" ${ARGN})
  add_library(${name} ${kind} ${arg_SOURCES})
  target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${arg_HEADERS})
  target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:tarsel-build-options>)
  if(kind STREQUAL "SHARED")
    set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                                             INSTALL_RPATH "$ORIGIN")
    target_link_options(${name} PRIVATE -Wl,--exclude-libs,ALL)
    if(NOT TARSEL_SANITIZE)
      target_link_options(${name} PRIVATE -Wl,--no-undefined)
    endif()
  endif()
endfunction()
