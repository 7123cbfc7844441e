# A manual page against its program's --help: every long option the program lists must be
# described in the page (as \-\-name), and the page must describe no option the program lacks.
# Examples (between .nf and .fi) may show other programs' options and are not read.
#   cmake -DPROGRAM=build/default/host/dasd -DPAGE=packaging/man/dasd.1 -P ManPageOptions.cmake
cmake_minimum_required(VERSION 3.25)

foreach(input PROGRAM PAGE)
    if(NOT DEFINED ${input})
        message(FATAL_ERROR "ManPageOptions: ${input} is not set")
    endif()
endforeach()

execute_process(COMMAND ${PROGRAM} --help OUTPUT_VARIABLE help RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "${PROGRAM} --help failed with ${status}")
endif()
file(STRINGS ${PAGE} lines)
set(page "")
set(in_example FALSE)
foreach(line IN LISTS lines)
    if(line STREQUAL ".nf")
        set(in_example TRUE)
    elseif(line STREQUAL ".fi")
        set(in_example FALSE)
    elseif(NOT in_example)
        string(APPEND page "${line}\n")
    endif()
endforeach()

string(REGEX MATCHALL "--[a-z][a-z-]*" listed "${help}")
list(REMOVE_DUPLICATES listed)
string(REGEX MATCHALL "\\\\-\\\\-[a-z]([a-z]|\\\\-)*" described "${page}")
string(REPLACE "\\-" "-" described "${described}")
list(REMOVE_DUPLICATES described)

set(missing "${listed}")
list(REMOVE_ITEM missing ${described})
set(stale "${described}")
list(REMOVE_ITEM stale ${listed})
if(missing OR stale)
    message(FATAL_ERROR "${PAGE} and ${PROGRAM} --help differ.\n"
        "Options the page does not describe: ${missing}\n"
        "Options the page describes that the program does not have: ${stale}")
endif()
list(LENGTH listed count)
message(STATUS "${PAGE} describes the ${count} options of ${PROGRAM} --help")
