# SPDX-License-Identifier: MIT
# Runs an example and compares what it prints with what it should: -DPROGRAM=... -DEXPECTED=...
execute_process(COMMAND ${PROGRAM} OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE result TIMEOUT 600)
file(READ ${EXPECTED} expected)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} ended with ${result}: ${errors}")
endif()
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "printed:\n${output}instead of:\n${expected}")
endif()
if(NOT errors STREQUAL "")
  message(FATAL_ERROR "wrote to standard error:\n${errors}")
endif()
