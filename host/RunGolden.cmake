# Runs one das-sim script and compares its output with the expected file byte for byte.
# Arguments: DAS_SIM, SCRIPT, SOURCE_DIR. A first line "# args: ..." gives das-sim options.
file(STRINGS ${SCRIPT} first_line LIMIT_COUNT 1)
set(arguments "")
if(first_line MATCHES "^# args: (.*)$")
    separate_arguments(arguments UNIX_COMMAND "${CMAKE_MATCH_1}")
endif()
get_filename_component(directory ${SCRIPT} DIRECTORY)
get_filename_component(name ${SCRIPT} NAME_WE)
set(expected ${directory}/${name}.expected)
if(NOT EXISTS ${expected})
    message(FATAL_ERROR "no expected output ${expected}")
endif()
execute_process(COMMAND ${DAS_SIM} ${arguments} ${SCRIPT}
    WORKING_DIRECTORY ${SOURCE_DIR}
    OUTPUT_VARIABLE output
    ERROR_VARIABLE errors
    RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "das-sim ${name}.das exited with ${status}:\n${errors}")
endif()
file(READ ${expected} wanted)
if(NOT output STREQUAL wanted)
    string(RANDOM LENGTH 8 suffix)
    set(actual_file $ENV{TMPDIR})
    if(NOT actual_file)
        set(actual_file /tmp)
    endif()
    set(actual_file ${actual_file}/${name}.${suffix}.actual)
    file(WRITE ${actual_file} "${output}")
    execute_process(COMMAND diff -u ${expected} ${actual_file})
    message(FATAL_ERROR "das-sim output of ${name}.das differs from ${name}.expected (actual output in ${actual_file})")
endif()
