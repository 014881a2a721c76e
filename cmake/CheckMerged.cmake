# cmake -DNM=nm -DOBJECT=file.o -DSYMBOL=name -P CheckMerged.cmake: stops unless `name` is all that the object defines
# for others.
execute_process(COMMAND ${NM} -g --defined-only ${OBJECT} OUTPUT_VARIABLE lines COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^ \n]+\n" symbols "${lines}")
list(TRANSFORM symbols STRIP)
if(symbols STREQUAL SYMBOL)
  return()
endif()
file(REMOVE ${OBJECT})
list(LENGTH symbols count)
list(SUBLIST symbols 0 4 symbols)
list(JOIN symbols ", " symbols)
message(FATAL_ERROR "${OBJECT} must define ${SYMBOL} and no other global symbol, but it defines ${count} (${symbols}): "
  "a program could get functions for a newer processor than its own. Was it compiled for link-time optimisation?")
