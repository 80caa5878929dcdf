# What `cmake --install` gives: headers under include/tarsel, the libraries, the program, and the files by which others find
# them. Nothing in the installed tree names its own place, so it can be moved.

set(tarselInclude "${CMAKE_INSTALL_INCLUDEDIR}/tarsel")
set(tarselPackage "${CMAKE_INSTALL_LIBDIR}/cmake/Tarsel")
set(tarselPkgConfig "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

# tarsel_install_library(TARGET NAME DESCRIPTION [REQUIRES ...]): installs a library as Tarsel::NAME and as a pkg-config package of
# the target's name. REQUIRES are the pkg-config packages that its headers need.
function(tarsel_install_library target name description)
  cmake_parse_arguments(arg "" "" "REQUIRES" ${ARGN})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  if(NOT TARGET Tarsel::${name})
    add_library(Tarsel::${name} ALIAS ${target})
  endif()
  install(TARGETS ${target} EXPORT TarselTargets
          RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
          LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
          FILE_SET HEADERS DESTINATION "${tarselInclude}"
          INCLUDES DESTINATION "${tarselInclude}")

  file(RELATIVE_PATH prefix "${CMAKE_INSTALL_PREFIX}/${tarselPkgConfig}" "${CMAKE_INSTALL_PREFIX}")
  string(REGEX REPLACE "/$" "" prefix "${prefix}")
  set(library "${target}")
  list(JOIN arg_REQUIRES ", " requires)
  configure_file("${PROJECT_SOURCE_DIR}/cmake/tarsel.pc.in" "${PROJECT_BINARY_DIR}/pkgconfig/${target}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/pkgconfig/${target}.pc" DESTINATION "${tarselPkgConfig}")
endfunction()

if(TARGET tarsel-contracts)
  tarsel_install_library(tarsel-contracts Contracts "Contracts of pull-model media filters")
endif()
if(TARGET tarsel-filters)
  tarsel_install_library(tarsel-filters Filters "Pull-model media filters" REQUIRES tarsel-contracts)
endif()
if(TARGET tarsel-host)
  tarsel_install_library(tarsel-host Host "Files, codecs and graphs around the filters" REQUIRES tarsel-contracts)
endif()
if(TARGET tarsel)
  install(TARGETS tarsel RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()

if(TARGET tarsel-contracts)
  install(EXPORT TarselTargets NAMESPACE Tarsel:: DESTINATION "${tarselPackage}")
  configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/TarselConfig.cmake.in"
                                "${PROJECT_BINARY_DIR}/TarselConfig.cmake" INSTALL_DESTINATION "${tarselPackage}")
  write_basic_package_version_file("${PROJECT_BINARY_DIR}/TarselConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
  install(FILES "${PROJECT_BINARY_DIR}/TarselConfig.cmake" "${PROJECT_BINARY_DIR}/TarselConfigVersion.cmake"
          DESTINATION "${tarselPackage}")
endif()
