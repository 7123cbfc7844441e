# nlohmann/json and CLI11 for the browser build. Both are header-only, but their Debian
# packages put their headers in /usr/include, whose other headers (the C library's) must not
# reach emscripten's compiler. A directory in the build tree holds links to just their two
# folders, and two imported targets stand for the packages as find_package gives them natively.
set(DAS_HEADER_LIBRARIES_DIR ${CMAKE_BINARY_DIR}/header-libraries)
file(MAKE_DIRECTORY ${DAS_HEADER_LIBRARIES_DIR})
foreach(folder nlohmann CLI)
    if(NOT EXISTS /usr/include/${folder})
        message(FATAL_ERROR "/usr/include/${folder} is missing: install nlohmann-json3-dev and libcli11-dev (./dev web does)")
    endif()
    file(CREATE_LINK /usr/include/${folder} ${DAS_HEADER_LIBRARIES_DIR}/${folder} SYMBOLIC)
endforeach()
foreach(target nlohmann_json::nlohmann_json CLI11::CLI11)
    add_library(${target} INTERFACE IMPORTED)
    set_target_properties(${target} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${DAS_HEADER_LIBRARIES_DIR})
endforeach()
