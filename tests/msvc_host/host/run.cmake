# Runs a host and believes it only if it came to its closing line as well: a fault can end a program with 0.
# Called with -DHOST=<emulator;program>.
execute_process(COMMAND ${HOST} RESULT_VARIABLE code OUTPUT_VARIABLE output ERROR_VARIABLE output
  ECHO_OUTPUT_VARIABLE ECHO_ERROR_VARIABLE)
if(NOT code EQUAL 0 OR output MATCHES "FAIL |Unhandled" OR NOT output MATCHES "[1-9][0-9]* passed, 0 failed")
  message(FATAL_ERROR "${HOST} failed, or didn't come to its end: ${code}")
endif()
