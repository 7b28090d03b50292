# Runs PROGRAM with ARGUMENT on the installation HOME; fails unless it succeeds and prints EXPECTED.
set(ENV{KQEXEC_HOME} "${HOME}")
execute_process(COMMAND "${PROGRAM}" ${ARGUMENT}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors)
message("${output}${errors}")
if(NOT result STREQUAL "0")
    message(FATAL_ERROR "exit code ${result}")
endif()
string(FIND "${output}" "${EXPECTED}" position)
if(position EQUAL -1)
    message(FATAL_ERROR "not printed: ${EXPECTED}")
endif()
