# The install tree and the CMake package a consumer finds with
# find_package(ORVFile CONFIG): bin/ (DLLs), lib/ (import libraries and
# lib/cmake/ORVFile), include/ (every public header, flat). orv_add_dll
# supplies each module's own install rules; this file adds the package files.
# A project that adds this one with add_subdirectory links the same names.

include(CMakePackageConfigHelpers)

# Consumers link ORVFile::ORVFile; the siblings keep their module names.
set_target_properties(ORVFile160NT PROPERTIES EXPORT_NAME ORVFile)
add_library(ORVFile::ORVFile ALIAS ORVFile160NT)
foreach(sibling ORVBase160NT ORV160NT ORVThread160NT ORVCharset160NT ORVMem160NT)
  add_library(ORVFile::${sibling} ALIAS ${sibling})
endforeach()

set(ORV_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ORVFile)
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
