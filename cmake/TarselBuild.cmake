# Compiler settings that every target shares, and the words by which libraries and programs are made.

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
set(TARSEL_TEST_OPTIMIZATION "" CACHE STRING "How the tests' own code is optimised, when not as the rest")

# Looked for once per build folder: a ccache that is installed later would change every command, and so rebuild all.
if(NOT DEFINED CACHE{CCACHE_PROGRAM})
  find_program(CCACHE_PROGRAM ccache)
endif()
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Precompiled headers hit the cache only with these three; a changed header still misses, by its content.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime "${CCACHE_PROGRAM}")
endif()

add_library(tarsel-build-options INTERFACE)
target_compile_options(tarsel-build-options INTERFACE -Wall -Wextra -Wnon-virtual-dtor -Woverloaded-virtual
  $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local> $<$<CXX_COMPILER_ID:Clang>:-Wshadow>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # At -O3 this compiler sees overflows inside std::string and std::vector that aren't there. The address sanitizer looks instead.
  target_compile_options(tarsel-build-options INTERFACE -Wno-array-bounds -Wno-stringop-overflow
                                                         -Wno-stringop-overread -Wno-restrict)
endif()
if(CMAKE_UNITY_BUILD)
  # Several sources of a target compile as one, which takes half the time: most of what they include, they have in common. What
  # stands in their unnamed namespaces meets there, so two neighbours can't use one name for two things. Builds for daily work
  # compile each source alone, so that its own includes suffice.
  set(CMAKE_UNITY_BUILD_BATCH_SIZE 8)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Takes a source for a header, as it is included here.
    target_compile_options(tarsel-build-options INTERFACE -Wno-subobject-linkage)
  endif()
endif()
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

# What the libraries are compiled with beyond the options of all: with fuzz targets they count edges, without which the fuzzer
# is blind outside its own source file. The tests' own code does without, which is a quarter of its time of compiling.
add_library(tarsel-library-options INTERFACE)
target_link_libraries(tarsel-library-options INTERFACE tarsel-build-options)
if(TARSEL_BUILD_FUZZERS)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "TARSEL_BUILD_FUZZERS needs clang: use the preset 'asan'")
  endif()
  target_compile_options(tarsel-library-options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# What the tests' own code is compiled with. It is much code and not what is looked at: optimising it takes longer than it
# saves.
add_library(tarsel-test-options INTERFACE)
target_link_libraries(tarsel-test-options INTERFACE tarsel-build-options)
target_compile_options(tarsel-test-options INTERFACE ${TARSEL_TEST_OPTIMIZATION})

# The header check: each header of a library compiles alone. Most are what the source of their name begins with, so that a
# build without the precompiled header has checked them; this target, no part of "all", compiles the others.
if(PROJECT_IS_TOP_LEVEL)
  add_custom_target(tarsel-verify-headers)
endif()

# tarsel_library(NAME SHARED|OBJECT SOURCES ... [HEADERS ...] [PRIVATE_HEADERS ...] [MAP file]): one of the project's libraries.
# HEADERS stand in a file set: they are installed with the library, and each compiles alone. So do PRIVATE_HEADERS, which stay
# at home. MAP is a linker map that alone says what the library exports.
function(tarsel_library name kind)
  cmake_parse_arguments(arg "" "MAP" "SOURCES;HEADERS;PRIVATE_HEADERS" ${ARGN})
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "tarsel_library(${name}): unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  add_library(${name} ${kind} ${arg_SOURCES})
  target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${arg_HEADERS})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:tarsel-library-options>)
  tarsel_use_pch(${name} tarsel-pch)
  if(PROJECT_IS_TOP_LEVEL)
    tarsel_verify_headers(${name} SOURCES ${arg_SOURCES} HEADERS ${arg_HEADERS} ${arg_PRIVATE_HEADERS})
  endif()
  if(kind STREQUAL "SHARED")
    set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                                             INSTALL_RPATH "$ORIGIN")
    target_link_options(${name} PRIVATE -Wl,--exclude-libs,ALL)
    if(NOT TARSEL_SANITIZE)
      # clang links the sanitizer's runtime into programs only.
      target_link_options(${name} PRIVATE -Wl,--no-undefined)
    endif()
  endif()
  if(arg_MAP)
    get_filename_component(map "${arg_MAP}" ABSOLUTE BASE_DIR "${PROJECT_SOURCE_DIR}")
    target_link_options(${name} PRIVATE "-Wl,--version-script=${map}")
    set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS "${map}")
  endif()
endfunction()

# tarsel_verify_headers(LIBRARY SOURCES ... HEADERS ...): compiles each header alone, as the library's sources are compiled,
# but for those that come first in one of SOURCES.
function(tarsel_verify_headers library)
  cmake_parse_arguments(arg "" "" "SOURCES;HEADERS" ${ARGN})
  list(FILTER arg_SOURCES INCLUDE REGEX "[.]cpp$")
  foreach(source IN LISTS arg_SOURCES)
    file(STRINGS "${source}" first REGEX "^#include" LIMIT_COUNT 1)
    list(APPEND begun "${first}")
  endforeach()
  foreach(header IN LISTS arg_HEADERS)
    file(REAL_PATH "${header}" path)
    file(RELATIVE_PATH fromRoot "${PROJECT_SOURCE_DIR}" "${path}")
    if("#include \"${fromRoot}\"" IN_LIST begun)
      continue()
    endif()
    set(alone "${CMAKE_CURRENT_BINARY_DIR}/${library}-verify/${fromRoot}.cpp")
    file(CONFIGURE OUTPUT "${alone}" CONTENT "#include \"${fromRoot}\"\n" @ONLY)
    list(APPEND sources "${alone}")
  endforeach()
  if(NOT sources)
    return()
  endif()
  add_library(${library}-verify-headers OBJECT EXCLUDE_FROM_ALL ${sources})
  set_target_properties(${library}-verify-headers PROPERTIES UNITY_BUILD OFF)
  target_include_directories(${library}-verify-headers PRIVATE $<TARGET_PROPERTY:${library},INCLUDE_DIRECTORIES>)
  target_compile_definitions(${library}-verify-headers PRIVATE $<TARGET_PROPERTY:${library},COMPILE_DEFINITIONS>)
  target_link_libraries(${library}-verify-headers PRIVATE tarsel-build-options)
  add_dependencies(tarsel-verify-headers ${library}-verify-headers)
endfunction()

# tarsel_program(NAME SOURCES ... LIBS ...): a program that is installed beside the libraries it needs.
function(tarsel_program name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${name} PRIVATE tarsel-library-options ${arg_LIBS})
  tarsel_share_library_pch(${name} tarsel-pch)
  file(RELATIVE_PATH toLibraries "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
  set_target_properties(${name} PROPERTIES INSTALL_RPATH "$ORIGIN/${toLibraries}")
endfunction()
