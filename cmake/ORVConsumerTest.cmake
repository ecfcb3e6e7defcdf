# cmake -DMODE=installed|subdirectory -DBUILD_DIR=<build> -DCONFIG=<config> -DPROJECT_DIR=<source>
#       -DTOOLCHAIN=<file> -DRUN=<command prefix, empty on Windows> -P ORVConsumerTest.cmake
#
# Builds tests/consumer as another project would use this one and runs it:
#   installed     installs the build into BUILD_DIR/consumer-install and
#                 builds against that tree alone (find_package);
#   subdirectory  adds the source tree with add_subdirectory, and checks that
#                 none of our tests, examples, benchmarks or GoogleTest is
#                 even a target of that build.

set(build ${BUILD_DIR}/consumer-${MODE})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    string(REPLACE ";" " " command "${ARGN}")
    message(FATAL_ERROR "failed (${rc}): ${command}")
  endif()
endfunction()

# The consumer builds as Release whatever the library's build: against a
# Checked install it takes the one configuration the package has. (Unoptimised,
# Clang's out-of-line std::type_info::operator== clashes with libstdc++'s.)
set(configure -S ${PROJECT_DIR}/tests/consumer -B ${build} -DCMAKE_BUILD_TYPE=Release)
if(TOOLCHAIN)
  list(APPEND configure -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
endif()

# A fresh tree each time, so that a header or module no longer installed or
# a target no longer defined cannot linger and hide the loss.
file(REMOVE_RECURSE ${build})
if(MODE STREQUAL "installed")
  set(install ${BUILD_DIR}/consumer-install)
  file(REMOVE_RECURSE ${install})
  run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${install} --config ${CONFIG})
  # The toolchain keeps find_package inside the MinGW-w64 root, where a
  # CMAKE_PREFIX_PATH would be looked for too, so the package is named outright.
  run(${CMAKE_COMMAND} ${configure} -DORVFile_DIR=${install}/lib/cmake/ORVFile)
else()
  run(${CMAKE_COMMAND} ${configure} -DORVFILE_SOURCE_DIR=${PROJECT_DIR})
  execute_process(COMMAND ${CMAKE_COMMAND} --build ${build} --target help OUTPUT_VARIABLE targets)
  string(REGEX MATCHALL "[A-Za-z0-9_.]*(_test|_bench|_tour|gtest|demo)[A-Za-z0-9_.]*" ours "${targets}")
  if(ours)
    message(FATAL_ERROR "the consumer's build has targets of ours it should not: ${ours}")
  endif()
  message(STATUS "no test, example or benchmark target of ORVFile in the consumer's build")
endif()
run(${CMAKE_COMMAND} --build ${build} --parallel 2)
run(${RUN} ${build}/consumer.exe)
