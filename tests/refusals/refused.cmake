# Whether the compiler accepts a source, and with more options refuses it with the expected message.
#   cmake -DSOURCE=... "-DCOMMAND=compiler;options" "-DMORE=options" "-DMESSAGE=text" -P refused.cmake
execute_process(COMMAND ${COMMAND} -fsyntax-only ${SOURCE} RESULT_VARIABLE status ERROR_VARIABLE message)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${SOURCE} does not compile, whatever is to be refused:\n${message}")
endif()
execute_process(COMMAND ${COMMAND} ${MORE} -fsyntax-only ${SOURCE} RESULT_VARIABLE status ERROR_VARIABLE message)
if(status EQUAL 0)
  message(FATAL_ERROR "${SOURCE} compiles with ${MORE}")
endif()
string(FIND "${message}" "${MESSAGE}" place)
if(place EQUAL -1)
  message(FATAL_ERROR "${SOURCE} is refused for another reason:\n${message}")
endif()
