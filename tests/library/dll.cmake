# cmake -DOBJDUMP=... -DEXPORTS=exports.txt -DDLL=... -DDEF=... -P dll.cmake: a DLL must export the listed names and no
# other, its .def file too, and it must need nothing that Windows does not have.
file(STRINGS ${EXPORTS} expected)
list(SORT expected)

execute_process(COMMAND ${OBJDUMP} -p ${DLL} OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE ".*Name Pointer\\] Table" "" names "${headers}")
string(REGEX MATCHALL "\\[ *[0-9]+\\] [^ \n]+\n" exported "${names}")
list(TRANSFORM exported REPLACE "^.*\\] (.*)\n" "\\1")
list(SORT exported)
if(NOT exported STREQUAL expected)
  message(SEND_ERROR "${DLL} exports: ${exported}")
endif()

file(STRINGS ${DEF} defined REGEX "@")
list(TRANSFORM defined REPLACE "^ *([^ ]+) .*" "\\1")
list(SORT defined)
if(NOT defined STREQUAL expected)
  message(SEND_ERROR "${DEF} lists: ${defined}")
endif()

string(REGEX MATCHALL "DLL Name: [^\n]+" needed "${headers}")
foreach(library IN LISTS needed)
  if(NOT library MATCHES "KERNEL32|msvcrt|libmoxcore-")
    message(SEND_ERROR "${DLL} needs ${library}")
  endif()
endforeach()
