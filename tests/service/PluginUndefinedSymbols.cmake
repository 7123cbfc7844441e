# The platform symbols the plug-in needs, against the list kept in the repository, so that a
# new dependency on the phone's platform library is a conscious change.
#
# A symbol is a platform dependency when the plug-in imports it (nm -D --undefined-only) and
# the platform library exports it (nm -D --defined-only). Everything else the plug-in imports
# comes from the C and C++ runtime (libc, libm, libstdc++, libgcc_s): the plug-in is linked
# with --no-undefined against the platform library and the runtime only.
#
#   cmake -DNM=nm -DPLUGIN=libDigitAnalysisService.so -DPLATFORM=libdasplatform.so
#         -DLIST=tests/data/plugin-undefined-symbols.txt [-DMODE=update] -P PluginUndefinedSymbols.cmake
# MODE=update rewrites LIST instead of checking it.

cmake_minimum_required(VERSION 3.25)

foreach(input NM PLUGIN PLATFORM LIST)
    if(NOT DEFINED ${input})
        message(FATAL_ERROR "PluginUndefinedSymbols: ${input} is not set")
    endif()
endforeach()

# The symbol names of one nm listing, without their version suffixes.
function(dynamic_symbols out file which)
    execute_process(COMMAND ${NM} -D ${which} ${file}
        OUTPUT_VARIABLE listing RESULT_VARIABLE status ERROR_VARIABLE errors)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${NM} -D ${which} ${file} failed: ${errors}")
    endif()
    string(REGEX MATCHALL "[^\n]+" lines "${listing}")
    set(symbols "")
    foreach(line IN LISTS lines)
        string(REGEX REPLACE "^.* " "" symbol "${line}")
        string(REGEX REPLACE "@.*$" "" symbol "${symbol}")
        list(APPEND symbols "${symbol}")
    endforeach()
    list(REMOVE_DUPLICATES symbols)
    list(SORT symbols)
    set(${out} "${symbols}" PARENT_SCOPE)
endfunction()

dynamic_symbols(imported "${PLUGIN}" --undefined-only)
dynamic_symbols(exported "${PLATFORM}" --defined-only)
set(needed "")
foreach(symbol IN LISTS imported)
    if(symbol IN_LIST exported)
        list(APPEND needed "${symbol}")
    endif()
endforeach()

set(regenerate "cmake --build --preset default --target update-plugin-undefined-symbols")
if(MODE STREQUAL "update")
    string(REPLACE ";" "\n" body "${needed}")
    file(WRITE "${LIST}"
        "# Symbols libDigitAnalysisService.so imports from the platform library (libdasplatform.so),\n"
        "# mangled, sorted. Checked by the PluginUndefinedSymbols test; regenerate with\n"
        "#   ${regenerate}\n"
        "${body}\n")
    list(LENGTH needed count)
    message(STATUS "Wrote ${count} platform symbols to ${LIST}")
    return()
endif()

file(STRINGS "${LIST}" listed REGEX "^[^#]")
list(SORT listed)
set(added "${needed}")
list(REMOVE_ITEM added ${listed})
set(removed "${listed}")
list(REMOVE_ITEM removed ${needed})
if(added OR removed)
    string(REPLACE ";" "\n  " added "${added}")
    string(REPLACE ";" "\n  " removed "${removed}")
    message(FATAL_ERROR
        "The plug-in's platform symbols differ from ${LIST}.\n"
        "Newly needed:\n  ${added}\nNo longer needed:\n  ${removed}\n"
        "If the change is intended, regenerate the list:\n  ${regenerate}")
endif()
list(LENGTH needed count)
message(STATUS "The plug-in needs the ${count} listed platform symbols and no other")
