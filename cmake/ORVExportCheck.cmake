# cmake -DOBJDUMP=<objdump> -DMODULES=<dll;...> -P ORVExportCheck.cmake
#
# Fails when a module exports something that is not the family's own: a C
# symbol (libgcc, winpthread, the C runtime), or a C++ entity of std::,
# __gnu_cxx:: or __cxxabiv1:: (libstdc++, or one of its templates instantiated
# on our types and marked for export with them). Every export of the family is
# a mangled name that mentions ORV, for ORV:: or ORVFile::.

# Mangled names whose outermost scope is the runtime's: std (St, and the
# abbreviations Sa Sb Ss Si So Sd), __gnu_cxx, __cxxabiv1, with or without a
# vtable/typeinfo/guard prefix; and the global operators new and delete.
set(runtime "^_Z(T[VIST]|G[VR])?N?[KVr]*(S[tabsiod]|9__gnu_cxx|10__cxxabiv1)|^_Z(nw|na|dl|da)")

set(failures "")
foreach(module IN LISTS MODULES)
  execute_process(COMMAND ${OBJDUMP} -p ${module} OUTPUT_VARIABLE dump RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${OBJDUMP} -p ${module} failed (${rc})")
  endif()
  # The export names follow "[Ordinal/Name Pointer] Table", one "\t[ n] name"
  # line each, up to the next empty line.
  string(FIND "${dump}" "[Ordinal/Name Pointer] Table\n" at)
  if(at EQUAL -1)
    continue()
  endif()
  string(SUBSTRING "${dump}" ${at} -1 dump)
  string(FIND "${dump}" "\n\n" end)
  string(SUBSTRING "${dump}" 0 ${end} dump)
  string(REGEX MATCHALL "\t\\[ *[0-9]+\\] [^\n]+" lines "${dump}")
  list(LENGTH lines count)
  set(bad 0)
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "^\t\\[ *[0-9]+\\] " "" name "${line}")
    if(NOT name MATCHES "^_Z" OR name MATCHES "${runtime}" OR NOT name MATCHES "ORV")
      string(APPEND failures "  ${module}: ${name}\n")
      math(EXPR bad "${bad} + 1")
    endif()
  endforeach()
  get_filename_component(file ${module} NAME)
  message(STATUS "${file}: ${count} exports, ${bad} not the family's")
endforeach()

if(failures)
  message(FATAL_ERROR "Exports that are not the family's own (see ORVTargets.cmake, orv_add_dll):\n${failures}")
endif()
