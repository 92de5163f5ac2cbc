# Compares the shared library's dynamic symbols, demangled and sorted, with the list kept in the
# tree, so that any change to what the library exports shows as a diff. Usage:
# cmake -DLIBRARY=<file> -DNM=<nm> -DEXPECTED=<list> -DACTUAL=<file written> -P CheckExports.cmake
# (copy ACTUAL over EXPECTED when the change is meant).
execute_process(COMMAND ${NM} -D --defined-only -C ${LIBRARY}
                COMMAND sed "s/^[0-9a-f]* [A-Za-z] //"
                COMMAND env LC_ALL=C sort -u
  OUTPUT_FILE ${ACTUAL} RESULTS_VARIABLE results ERROR_VARIABLE errors)
if(NOT results MATCHES "^0;0;0$")
  message(FATAL_ERROR "listing the symbols of ${LIBRARY} failed (${results}): ${errors}")
endif()
execute_process(COMMAND diff -u ${EXPECTED} ${ACTUAL} OUTPUT_VARIABLE diff RESULT_VARIABLE same)
if(NOT same EQUAL 0)
  message(FATAL_ERROR "${LIBRARY} does not export what ${EXPECTED} lists:\n${diff}")
endif()
