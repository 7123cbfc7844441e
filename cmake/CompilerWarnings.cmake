# Warnings are errors everywhere in this project.
function(das_set_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wformat=2 -Werror)
endfunction()
