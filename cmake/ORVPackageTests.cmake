# Tests that check the libraries from outside, as another project sees them.

# tests/consumer built twice: against the installed tree alone (find_package),
# and with this source tree added through add_subdirectory, where none of our
# test programs may be built. Each run under Wine with the DLLs beside it.
foreach(mode installed subdirectory)
  add_test(NAME ORVFile.consumer.${mode}
    COMMAND ${CMAKE_COMMAND}
      -DMODE=${mode}
      -DBUILD_DIR=${PROJECT_BINARY_DIR}
      -DCONFIG=$<CONFIG>
      -DPROJECT_DIR=${PROJECT_SOURCE_DIR}
      -DTOOLCHAIN=${CMAKE_TOOLCHAIN_FILE}
      "-DRUN=${ORV_RUN}"
      -P ${PROJECT_SOURCE_DIR}/cmake/ORVConsumerTest.cmake)
  set_tests_properties(ORVFile.consumer.${mode} PROPERTIES FIXTURES_REQUIRED wine TIMEOUT 900
    PASS_REGULAR_EXPRESSION "all checks held")
endforeach()

# No module may export what a statically linked runtime library defines.
set(modules ORVFile160NT ORVBase160NT ORV160NT ORVThread160NT ORVCharset160NT ORVMem160NT)
set(files)
foreach(module IN LISTS modules)
  list(APPEND files $<TARGET_FILE:${module}>)
endforeach()
add_test(NAME ORVFile.exports
  COMMAND ${CMAKE_COMMAND} -DOBJDUMP=${CMAKE_OBJDUMP} "-DMODULES=${files}"
    -P ${PROJECT_SOURCE_DIR}/cmake/ORVExportCheck.cmake)
