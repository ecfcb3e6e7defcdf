# The install tree and the CMake package a consumer finds with
# find_package(ORVFile CONFIG): bin/ (DLLs), lib/ (import libraries and
# lib/cmake/ORVFile), include/ (every public header, flat). orv_add_dll
# supplies each module's own install rules; this file adds the package files
# and the tests that check the installed tree from outside.

include(CMakePackageConfigHelpers)

# Consumers link ORVFile::ORVFile; the siblings keep their module names.
set_target_properties(ORVFile160NT PROPERTIES EXPORT_NAME ORVFile)
add_library(ORVFile::ORVFile ALIAS ORVFile160NT)

set(ORV_PACKAGE_DIR lib/cmake/ORVFile)
install(EXPORT ORVFileTargets NAMESPACE ORVFile:: DESTINATION ${ORV_PACKAGE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ORVFileConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ORVFileConfig.cmake
  INSTALL_DESTINATION ${ORV_PACKAGE_DIR})
# The major version is in every module's name (the "16" of ORVFile160NT), so
# only the same major version can stand in for another.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ORVFileConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ORVFileConfig.cmake ${PROJECT_BINARY_DIR}/ORVFileConfigVersion.cmake
  DESTINATION ${ORV_PACKAGE_DIR})

# Installs the build, builds tests/consumer against the installed tree alone
# and runs it under Wine.
add_test(NAME ORVFile.consumer
  COMMAND ${CMAKE_COMMAND}
    -DBUILD_DIR=${PROJECT_BINARY_DIR}
    -DCONFIG=$<CONFIG>
    -DSOURCE_DIR=${PROJECT_SOURCE_DIR}/tests/consumer
    -DTOOLCHAIN=${CMAKE_TOOLCHAIN_FILE}
    -DWINE_RUN=${ORV_WINE_RUN}
    -DWINE_PREFIX=${ORV_WINE_PREFIX}
    -P ${PROJECT_SOURCE_DIR}/cmake/ORVConsumerTest.cmake)
set_tests_properties(ORVFile.consumer PROPERTIES FIXTURES_REQUIRED wine TIMEOUT 300
  PASS_REGULAR_EXPRESSION "all checks held")

# No module may export what a statically linked runtime library defines.
set(modules ORVFile160NT ORVBase160NT ORV160NT ORVThread160NT ORVCharset160NT ORVMem160NT)
set(files)
foreach(module IN LISTS modules)
  list(APPEND files $<TARGET_FILE:${module}>)
endforeach()
add_test(NAME ORVFile.exports
  COMMAND ${CMAKE_COMMAND} -DOBJDUMP=${CMAKE_OBJDUMP} "-DMODULES=${files}"
    -P ${PROJECT_SOURCE_DIR}/cmake/ORVExportCheck.cmake)
