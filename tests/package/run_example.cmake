# Runs the example PROGRAM in the working folder and looks at what it prints.
file(REMOVE first.dat)
execute_process(COMMAND ${PROGRAM} first.dat RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors)
if(NOT result EQUAL 0 OR NOT output STREQUAL "4096 channels, 13285 counts in 600 s\n")
  message(FATAL_ERROR "${PROGRAM} ended with ${result}:\n${output}${errors}")
endif()
# A second run finds the file there and must not touch it.
execute_process(COMMAND ${PROGRAM} first.dat RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors)
if(result EQUAL 0 OR NOT errors MATCHES "failed with code 0xE061003A")
  message(FATAL_ERROR "${PROGRAM} on an existing file ended with ${result}:\n${output}${errors}")
endif()
