# How a test starts one of the project's programs itself (by popen, execv or execute_process)
# rather than through ctest: in a cross build (armhf) the program cannot run directly, so the
# test is handed a small generated script that runs it through CMAKE_CROSSCOMPILING_EMULATOR
# (qemu-arm); natively it is handed the program itself.
#
#   das_target_launcher(DAS_SIM_LAUNCHER das-sim)
#   target_compile_definitions(SomeTest PRIVATE DAS_SIM_PATH="${DAS_SIM_LAUNCHER}")
function(das_target_launcher out target)
    if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
        set(${out} "$<TARGET_FILE:${target}>" PARENT_SCOPE)
        return()
    endif()
    set(launcher "${PROJECT_BINARY_DIR}/launchers/${target}")
    set(command "")
    foreach(word IN LISTS CMAKE_CROSSCOMPILING_EMULATOR)
        string(APPEND command "'${word}' ")
    endforeach()
    # exec: the emulator takes the program's place, so signals sent to it reach the program.
    file(GENERATE OUTPUT "${launcher}"
        CONTENT "#!/bin/sh\nexec ${command}'$<TARGET_FILE:${target}>' \"$@\"\n"
        FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    set(${out} "${launcher}" PARENT_SCOPE)
endfunction()
