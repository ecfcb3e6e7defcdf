# cmake -DBUILD_DIR=<build> -DCONFIG=<config> -DSOURCE_DIR=<tests/consumer>
#       -DTOOLCHAIN=<file> -DWINE_RUN=<wine-run> -DWINE_PREFIX=<prefix> -P ORVConsumerTest.cmake
#
# Installs the build into BUILD_DIR/consumer-install, builds the consumer
# project against that tree alone and runs it under Wine with the installed
# DLLs beside it, as a user's program would run.

set(install ${BUILD_DIR}/consumer-install)
set(build ${BUILD_DIR}/consumer-build)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    string(REPLACE ";" " " command "${ARGN}")
    message(FATAL_ERROR "failed (${rc}): ${command}")
  endif()
endfunction()

# A fresh tree each time, so that a header or module no longer installed
# cannot linger and hide the loss.
file(REMOVE_RECURSE ${install})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${install} --config ${CONFIG})

# The consumer builds as Release whatever the library's build: against a
# Checked install it takes the one configuration the package has. The
# toolchain keeps find_package inside the MinGW-w64 root, where a
# CMAKE_PREFIX_PATH would be looked for too, so the package directory is
# named outright.
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${build} -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} -DCMAKE_BUILD_TYPE=Release
    -DORVFile_DIR=${install}/lib/cmake/ORVFile)
run(${CMAKE_COMMAND} --build ${build})

file(GLOB dlls ${install}/bin/*.dll)
file(COPY ${dlls} DESTINATION ${build})
run(${WINE_RUN} ${WINE_PREFIX} ${build}/consumer.exe)
