# Checks the dynamic symbol table of the shared library:
#  - every name in exports_c.txt is exported unmangled (C linkage);
#  - every name in exports_cxx.txt is exported as a C++ symbol (the listed
#    text is matched against the demangled table);
#  - nothing internal leaks (private namespaces, standard-library template
#    instances).
find_program(NM nm REQUIRED)
execute_process(COMMAND ${NM} -D --defined-only ${LIB} OUTPUT_VARIABLE raw RESULT_VARIABLE rc1)
execute_process(COMMAND ${NM} -DC --defined-only ${LIB} OUTPUT_VARIABLE demangled RESULT_VARIABLE rc2)
if(NOT rc1 EQUAL 0 OR NOT rc2 EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIB}")
endif()

set(failures "")
# One list per area: exports_c.txt / exports_cxx.txt for the foundations,
# exports_c_<area>.txt / exports_cxx_<area>.txt for the rest.
file(GLOB clists ${CMAKE_CURRENT_LIST_DIR}/exports_c.txt ${CMAKE_CURRENT_LIST_DIR}/exports_c_*.txt)
file(GLOB cxxlists ${CMAKE_CURRENT_LIST_DIR}/exports_cxx.txt ${CMAKE_CURRENT_LIST_DIR}/exports_cxx_*.txt)
set(cnames "")
foreach(list IN LISTS clists)
  file(STRINGS ${list} more REGEX "^[^#]")
  list(APPEND cnames ${more})
endforeach()
foreach(name IN LISTS cnames)
  string(STRIP "${name}" name)
  if(NOT raw MATCHES "[ \n][A-Za-z] ${name}\n")
    string(APPEND failures "missing unmangled symbol: ${name}\n")
  endif()
endforeach()
set(cxxnames "")
foreach(list IN LISTS cxxlists)
  file(STRINGS ${list} more REGEX "^[^#]")
  list(APPEND cxxnames ${more})
endforeach()
foreach(name IN LISTS cxxnames)
  string(STRIP "${name}" name)
  string(FIND "${demangled}" " ${name}" at)
  if(at EQUAL -1)
    string(APPEND failures "missing C++ symbol: ${name}\n")
  endif()
endforeach()
# C names must not also appear mangled, i.e. the listed C operations are
# really extern "C".
foreach(name IN LISTS cnames)
  string(STRIP "${name}" name)
  string(LENGTH "${name}" len)
  if(raw MATCHES " _Z${len}${name}[A-Za-z]")
    string(APPEND failures "C operation exported with C++ linkage: ${name}\n")
  endif()
endforeach()

string(REPLACE "\n" ";" lines "${demangled}")
foreach(line IN LISTS lines)
  # A symbol is internal when it lives in a private namespace or is itself a
  # standard-library entity (operators taking std::ostream& are fine).
  if(line MATCHES "slrt_detail|anonymous namespace|_pvt| [A-Za-z] (std|__gnu_cxx)::| for (std|__gnu_cxx)::")
    string(APPEND failures "internal symbol exported: ${line}\n")
  endif()
endforeach()

if(failures)
  message(FATAL_ERROR "${failures}")
endif()
message(STATUS "export table ok")
