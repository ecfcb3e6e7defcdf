# Helpers that give every module, test and example of the project the same settings.

option(ORV_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" ON)

function(orv_common_settings target)
  # C++ only: the resource compiler of a DLL's version resource takes none of these.
  target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-Wall> $<$<COMPILE_LANGUAGE:CXX>:-Wextra>
    $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<BOOL:${ORV_WARNINGS_AS_ERRORS}>>:-Werror>)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/src/platform)
endfunction()

# orv_add_dll(<name> BUILD_DEFINE <macro> PUBLIC_HEADERS <dir> DESCRIPTION <text>
#             SOURCES <files...> [LINKS <targets...>])
#
# One DLL of the family, with a version resource (DESCRIPTION becomes its
# FileDescription) and its install rules: the DLL to bin/, the import library
# to lib/, the headers of PUBLIC_HEADERS flat into include/ (the family
# includes them by bare name), the target into the ORVFileTargets export set.
#
# A module exports only what carries its export macro: --exclude-all-symbols
# keeps ld from exporting every global symbol of a module that has no
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
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${ARG_PUBLIC_HEADERS}> $<INSTALL_INTERFACE:include>)
  target_compile_definitions(${name} PRIVATE ${ARG_BUILD_DEFINE})
  if(ARG_LINKS)
    target_link_libraries(${name} PUBLIC ${ARG_LINKS})
  endif()
  target_link_options(${name} PRIVATE -Wl,--exclude-all-symbols)
  orv_common_settings(${name})
  install(TARGETS ${name} EXPORT ORVFileTargets
    RUNTIME DESTINATION bin
    ARCHIVE DESTINATION lib)
  install(DIRECTORY ${ARG_PUBLIC_HEADERS}/ DESTINATION include FILES_MATCHING PATTERN "*.h")
endfunction()

# GoogleTest, built from Debian's sources with the cross compiler.
function(orv_add_googletest)
  set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
endfunction()

# All test programs share one persistent wineserver: started before the first
# test, shut down after the last.
function(orv_add_wine_fixture)
  add_test(NAME wine.start COMMAND ${ORV_WINE_RUN} ${ORV_WINE_PREFIX} --start)
  add_test(NAME wine.stop COMMAND ${ORV_WINE_RUN} ${ORV_WINE_PREFIX} --stop)
  set_tests_properties(wine.start PROPERTIES FIXTURES_SETUP wine TIMEOUT 300)
  set_tests_properties(wine.stop PROPERTIES FIXTURES_CLEANUP wine)
endfunction()

# orv_add_test(<name> SOURCES <files...> [LINKS <targets...>]): one test
# program, registered as one CTest test that runs under Wine.
function(orv_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE GTest::gtest_main ${ARG_LINKS})
  orv_common_settings(${name})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src/seams)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES FIXTURES_REQUIRED wine)
endfunction()

# Boost.Regex, header-only (BOOST_REGEX_STANDALONE: it needs nothing else of
# Boost). The cross compiler sees a directory that holds only a link to
# Debian's boost headers, never the rest of /usr/include.
function(orv_use_boost_regex target)
  set(dir ${CMAKE_BINARY_DIR}/boost-include)
  if(NOT EXISTS ${dir}/boost)
    file(MAKE_DIRECTORY ${dir})
    file(CREATE_LINK /usr/include/boost ${dir}/boost SYMBOLIC)
  endif()
  target_include_directories(${target} SYSTEM PRIVATE ${dir})
  target_compile_definitions(${target} PRIVATE BOOST_REGEX_STANDALONE)
endfunction()
