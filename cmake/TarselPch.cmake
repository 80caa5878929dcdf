# The private precompiled header: one for libraries, and one for tests, which adds the test framework. Both are compiled once
# and shared by all targets of their kind. A source never needs them to compile; TARSEL_USE_PCH=OFF builds without, and
# TARSEL_USE_PCH=TESTS only the libraries and programs: such a build finds includes that are missing there.

if(TARSEL_USE_PCH AND CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND CCACHE_PROGRAM)
  # A time stamp inside the precompiled header would make every compilation after it a miss of the cache.
  target_compile_options(tarsel-build-options INTERFACE "SHELL:-Xclang -fno-pch-timestamp")
endif()

# tarsel_pch_owner(NAME HEADER OPTIONS [LIBS...]): a target that does nothing but hold the precompiled header. Compilers refuse it to
# sources whose command line differs in a macro that it saw, so LIBS has a package only if every user of the header has it.
# OPTIONS is the target with the options that its users are compiled with.
function(tarsel_pch_owner name header options)
  if(NOT EXISTS "${PROJECT_BINARY_DIR}/pch/${name}.cpp")
    file(WRITE "${PROJECT_BINARY_DIR}/pch/${name}.cpp" "// holds the precompiled header of this build\n")
  endif()
  add_library(${name} OBJECT EXCLUDE_FROM_ALL "${PROJECT_BINARY_DIR}/pch/${name}.cpp")
  target_link_libraries(${name} PRIVATE ${options} ${ARGN})
  target_precompile_headers(${name} PRIVATE "${PROJECT_SOURCE_DIR}/cmake/${header}")
endfunction()

if(TARSEL_USE_PCH AND NOT TARSEL_USE_PCH STREQUAL "TESTS")
  tarsel_pch_owner(tarsel-pch pch.h tarsel-library-options)
endif()

# tarsel_use_pch(TARGET OWNER): compiles a target's sources with the owner's precompiled header, where this build has it.
function(tarsel_use_pch target owner)
  if(TARGET ${owner})
    target_precompile_headers(${target} REUSE_FROM ${owner})
  endif()
endfunction()

# tarsel_share_library_pch(PROGRAM OWNER): the same for a program. The header was compiled as position-independent code of a
# library (-fPIC); a program's own -fPIE would make it invalid.
function(tarsel_share_library_pch program owner)
  if(TARGET ${owner})
    set_target_properties(${program} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
    target_compile_options(${program} PRIVATE -fPIC)
    tarsel_use_pch(${program} ${owner})
  endif()
endfunction()
