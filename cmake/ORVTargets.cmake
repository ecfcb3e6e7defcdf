# Helpers that give every module, test and example of the project the same settings.

include(GoogleTest)

# Off for a project that builds this one; the presets and CI turn it on.
option(ORV_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)

function(orv_common_settings target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  # C++ only: the resource compiler of a DLL's version resource takes none of these.
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-Wall -Wextra>
      $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<BOOL:${ORV_WARNINGS_AS_ERRORS}>>:-Werror>)
  endif()
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/src/platform)
endfunction()

# orv_add_dll(<name> BUILD_DEFINE <macro> PUBLIC_HEADERS <dir> DESCRIPTION <text>
#             SOURCES <files...> [LINKS <targets...>])
#
# One DLL of the family, with a version resource (DESCRIPTION becomes its
# FileDescription) and its install rules: the DLL to bin/, the import library
# to lib/, the headers of PUBLIC_HEADERS (a file set) flat into include/ (the
# family includes them by bare name), the target into the ORVFileTargets
# export set.
#
# A module exports only what carries its export macro: --exclude-all-symbols
# keeps the linker from exporting every global symbol of a module that has no
# dllexport (ORVMem160NT today), and the statically linked libgcc, libstdc++
# and winpthread mark nothing for export. ORVFile.exports checks that this
# stays so. The two test seams of ORVFile160NT, FileCallsForTesting and
# AvailableBytesForTesting, are exported for our test programs only: their
# headers (src/seams/ORVFileSeam.h, src/seams/ORVWatcherSeam.h) are not
# installed, so no application swaps the system calls the DLL makes.
function(orv_add_dll name)
  cmake_parse_arguments(ARG "" "BUILD_DEFINE;PUBLIC_HEADERS;DESCRIPTION" "SOURCES;LINKS" ${ARGN})
  if(NOT ARG_DESCRIPTION)
    message(FATAL_ERROR "orv_add_dll(${name}): DESCRIPTION is required (the version resource's FileDescription)")
  endif()
  set(ORV_RC_MODULE ${name})
  set(ORV_RC_DESCRIPTION ${ARG_DESCRIPTION})
  set(rc ${CMAKE_CURRENT_BINARY_DIR}/${name}.rc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/ORVVersion.rc.in ${rc} @ONLY)
  add_library(${name} SHARED ${PROJECT_SOURCE_DIR}/src/platform/ModuleEntry.cpp ${ARG_SOURCES} ${rc})
  # The module names are the family's own: ORVBase160NT.dll, not libORVBase160NT.dll.
  set_target_properties(${name} PROPERTIES PREFIX "" IMPORT_PREFIX "")
  file(GLOB headers CONFIGURE_DEPENDS ${ARG_PUBLIC_HEADERS}/*.h)
  target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS ${ARG_PUBLIC_HEADERS} FILES ${headers})
  target_compile_definitions(${name} PRIVATE ${ARG_BUILD_DEFINE})
  if(ARG_LINKS)
    target_link_libraries(${name} PUBLIC ${ARG_LINKS})
  endif()
  if(NOT MSVC)
    target_link_options(${name} PRIVATE -Wl,--exclude-all-symbols)
  endif()
  orv_common_settings(${name})
  install(TARGETS ${name} EXPORT ORVFileTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endfunction()

# How this build runs its own programs (tests, examples, benchmarks):
# ORV_RUN is the command prefix, empty on Windows; cross-built, it is
# cmake/wine-run with the build tree's private Wine prefix, and it is also the
# emulator through which CTest and test discovery start the programs.
macro(orv_set_up_program_runner)
  set(ORV_RUN)
  if(CMAKE_CROSSCOMPILING AND NOT CMAKE_HOST_WIN32)
    set(ORV_WINE_PREFIX ${PROJECT_BINARY_DIR}/wineprefix)
    set(ORV_WINE_RUN ${PROJECT_SOURCE_DIR}/cmake/wine-run)
    set(ORV_RUN ${ORV_WINE_RUN} ${ORV_WINE_PREFIX})
    set(CMAKE_CROSSCOMPILING_EMULATOR ${ORV_RUN})
  endif()
endmacro()

# Boost's headers, found as CMake finds them (find_package(Boost)). A cross
# build must never have the build machine's /usr/include on the compiler's
# path, so a toolchain file that knows where the build machine keeps Boost
# names that directory in ORV_BOOST_HOST_HEADERS; the headers are then reached
# through a directory of the build tree that holds only a link to it, and
# Boost_INCLUDE_DIR names that directory. Elsewhere (MSYS2, a Boost of one's
# own) find_package(Boost) finds them unaided, or through Boost_ROOT.
macro(orv_find_boost_headers)
  if(ORV_BOOST_HOST_HEADERS AND NOT Boost_INCLUDE_DIR)
    set(ORV_BOOST_LINK_DIR ${PROJECT_BINARY_DIR}/boost-include)
    if(NOT EXISTS ${ORV_BOOST_LINK_DIR}/boost)
      file(MAKE_DIRECTORY ${ORV_BOOST_LINK_DIR})
      file(CREATE_LINK ${ORV_BOOST_HOST_HEADERS} ${ORV_BOOST_LINK_DIR}/boost SYMBOLIC)
    endif()
    set(Boost_INCLUDE_DIR ${ORV_BOOST_LINK_DIR} CACHE PATH "Directory holding Boost's headers (boost/...)")
  endif()
  if(POLICY CMP0167)
    cmake_policy(SET CMP0167 OLD)
  endif()
  # 1.76: the first Boost.Regex that stands alone, header-only.
  find_package(Boost 1.76 REQUIRED)
endmacro()

# Boost.Regex, header-only (BOOST_REGEX_STANDALONE: it needs nothing else of Boost).
function(orv_use_boost_regex target)
  target_link_libraries(${target} PRIVATE Boost::headers)
  target_compile_definitions(${target} PRIVATE BOOST_REGEX_STANDALONE)
endfunction()

# GoogleTest: from its sources when ORV_GOOGLETEST_SOURCE_DIR names them
# (the toolchain files name Debian's /usr/src/googletest), built with this
# project's compiler; otherwise an installed one (find_package(GTest), as
# MSYS2's package provides).
function(orv_add_googletest)
  if(ORV_GOOGLETEST_SOURCE_DIR)
    set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    add_subdirectory(${ORV_GOOGLETEST_SOURCE_DIR} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  else()
    find_package(GTest REQUIRED)
  endif()
endfunction()

# All test programs share one persistent wineserver: started before the first
# test, shut down after the last. Nothing to do on Windows.
function(orv_add_wine_fixture)
  if(ORV_WINE_RUN)
    add_test(NAME wine.start COMMAND ${ORV_RUN} --start)
    add_test(NAME wine.stop COMMAND ${ORV_RUN} --stop)
    set_tests_properties(wine.start PROPERTIES FIXTURES_SETUP wine TIMEOUT 300)
    set_tests_properties(wine.stop PROPERTIES FIXTURES_CLEANUP wine)
  endif()
endfunction()

set(ORV_TEST_TIMEOUT 300 CACHE STRING "Seconds one test may run before it fails as hung")

# orv_add_test(<name> SOURCES <files...> [LINKS <targets...>]): one test
# program; each of its tests becomes one CTest test, found by running the
# program with --gtest_list_tests once it is built.
#
# Under Wine a crash can end a program with exit code 0 once winedbg has
# reported it (seen when run without a terminal, as CTest runs it), so a test
# passes only on GoogleTest's summary line; a hang fails at the time-out.
function(orv_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE GTest::gtest_main ${ARG_LINKS})
  # The test seams' headers (src/seams) are not installed.
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src/seams)
  orv_common_settings(${name})
  gtest_discover_tests(${name}
    TEST_PREFIX ${name}.
    DISCOVERY_TIMEOUT 120
    PROPERTIES
      FIXTURES_REQUIRED wine
      TIMEOUT ${ORV_TEST_TIMEOUT}
      PASS_REGULAR_EXPRESSION "\\[  PASSED  \\]"
      FAIL_REGULAR_EXPRESSION "\\[  FAILED  \\]")
endfunction()
