# The words by which tests, fuzz targets and benchmarks are made.

# The media that tests make are the same for every build, and take minutes: the presets share a folder.
cmake_path(GET PROJECT_BINARY_DIR PARENT_PATH tarselBuilds)
if(tarselBuilds STREQUAL "${PROJECT_SOURCE_DIR}/build")
  set(TARSEL_TEST_MEDIA "${tarselBuilds}/test-media")
else()
  set(TARSEL_TEST_MEDIA "${PROJECT_BINARY_DIR}/test-media")
endif()

if(TARSEL_BUILD_TESTS)
  find_package(GTest REQUIRED)
  include(GoogleTest)
  # The tests that the thread sanitizer runs, to be built without the rest.
  add_custom_target(tarsel-thread-tests)
  if(TARSEL_USE_PCH)
    tarsel_pch_owner(tarsel-pch-tests pch-tests.h tarsel-test-options GTest::gtest GTest::gmock)
    target_include_directories(tarsel-pch-tests PRIVATE "${PROJECT_SOURCE_DIR}")
  endif()
endif()
if(TARSEL_BUILD_BENCHMARKS)
  find_package(benchmark REQUIRED)
endif()

# tarsel_test(NAME LABELS unit|threads|media... SOURCES ... [ALONE ...] [LIBS ...] [TIMEOUT seconds] [SHARDS n]): a test program.
# Each of its tests is a test of ctest under the given labels; TIMEOUT is the limit of a single one, 120 seconds when none is
# given. Where the tests run many in a process, the program runs as SHARDS processes side by side, 1 when not given. ALONE are
# sources, too, whose helpers have names that others use: they never compile as one with others.
function(tarsel_test name)
  cmake_parse_arguments(arg "" "TIMEOUT;SHARDS" "LABELS;SOURCES;ALONE;LIBS" ${ARGN})
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "tarsel_test(${name}): unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT arg_LABELS)
    message(FATAL_ERROR "tarsel_test(${name}): LABELS is missing")
  endif()
  foreach(label IN LISTS arg_LABELS)
    if(NOT label MATCHES "^(unit|threads|media|fuzz-seeds)$")
      message(FATAL_ERROR "tarsel_test(${name}): unknown label '${label}'")
    endif()
  endforeach()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  add_executable(${name} ${arg_SOURCES} ${arg_ALONE})
  set_target_properties(${name} PROPERTIES UNITY_BUILD_BATCH_SIZE 6)
  set_source_files_properties(${arg_ALONE} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${name} PRIVATE tarsel-test-options ${arg_LIBS} GTest::gtest GTest::gmock GTest::gmock_main)
  tarsel_share_library_pch(${name} tarsel-pch-tests)
  # Programs are asked for their tests when ctest runs: a sanitized program need not run during the build.
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 NO_PRETTY_VALUES
                       PROPERTIES TIMEOUT ${arg_TIMEOUT})
  # A list of several labels does not survive the way through PROPERTIES, so a file of its own gives them.
  set(labelFile "${CMAKE_CURRENT_BINARY_DIR}/${name}-labels.cmake")
  file(WRITE "${labelFile}" "if(${name}_TESTS)\n"
       "  set_tests_properties(\${${name}_TESTS} PROPERTIES LABELS \"${arg_LABELS}\")\nendif()\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${labelFile}")
  if("threads" IN_LIST arg_LABELS)
    add_dependencies(tarsel-thread-tests ${name})
  endif()
  tarsel_whole_tests(${name} "${arg_LABELS}" ${arg_TIMEOUT} "${arg_SHARDS}")
endfunction()

# tarsel_whole_tests(PROGRAM LABELS TIMEOUT SHARDS): the same tests once more, many in a process, which saves the start of
# thousands of processes. Their labels are of their own, by which the test presets take either these or those.
function(tarsel_whole_tests program labels timeout shards)
  if(NOT shards)
    set(shards 1)
  endif()
  set(wholeLabels whole)
  if("threads" IN_LIST labels)
    list(APPEND wholeLabels whole-threads)
  endif()
  math(EXPR last "${shards} - 1")
  foreach(shard RANGE ${last})
    set(test "whole-${program}-${shard}")
    add_test(NAME ${test} COMMAND "${PROJECT_SOURCE_DIR}/scripts/run-test-program" $<TARGET_FILE:${program}> ${shard} ${shards}
                                  ${timeout} "${PROJECT_BINARY_DIR}/whole/${program}-${shard}")
    # The program in many shards takes longest, so it begins first. Single tests have limits of their own.
    set_tests_properties(${test} PROPERTIES LABELS "${wholeLabels}" COST ${shards} TIMEOUT 3600)
  endforeach()
endfunction()

# tarsel_fuzz_target(NAME SOURCES ... [LIBS ...]): one LLVMFuzzerTestOneInput with its seeds in fuzz/corpus/NAME, and a test
# that runs it over every seed. With TARSEL_BUILD_FUZZERS it is a libFuzzer program fuzz-NAME.
function(tarsel_fuzz_target name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBS" ${ARGN})
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "tarsel_fuzz_target(${name}): unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  set(corpus "${PROJECT_SOURCE_DIR}/fuzz/corpus/${name}")
  file(GLOB seeds LIST_DIRECTORIES false "${corpus}/*")
  if(NOT seeds)
    message(FATAL_ERROR "tarsel_fuzz_target(${name}): fuzz/corpus/${name} is missing or holds no seed")
  endif()
  add_executable(fuzz-${name} ${arg_SOURCES})
  target_include_directories(fuzz-${name} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_link_libraries(fuzz-${name} PRIVATE tarsel-library-options ${arg_LIBS})
  if(TARSEL_BUILD_FUZZERS)
    target_link_options(fuzz-${name} PRIVATE -fsanitize=fuzzer)
    file(APPEND "${PROJECT_BINARY_DIR}/fuzz-targets.txt" "${name}\n")
    add_dependencies(tarsel-fuzz-targets fuzz-${name})
    set(seedArguments -runs=0)
  else()
    target_sources(fuzz-${name} PRIVATE "${PROJECT_SOURCE_DIR}/fuzz/ReplayMain.cpp")
  endif()
  if(TARSEL_BUILD_TESTS)
    add_test(NAME fuzz-seeds-${name} COMMAND fuzz-${name} ${seedArguments} "${corpus}")
    set_tests_properties(fuzz-seeds-${name} PROPERTIES LABELS fuzz-seeds TIMEOUT 120)
  endif()
endfunction()

# tarsel_benchmark(NAME SOURCES ... [LIBS ...]): a program on Google Benchmark. Not a test: it is run by hand.
function(tarsel_benchmark name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBS" ${ARGN})
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "tarsel_benchmark(${name}): unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${name} PRIVATE tarsel-build-options ${arg_LIBS} benchmark::benchmark benchmark::benchmark_main)
endfunction()
