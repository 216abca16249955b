# The few kinds of target in this project, each with the settings that every one of them shares.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")

find_program(TARNWICK_CCACHE ccache)
if(TARNWICK_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
        CCACHE_SLOPPINESS=pch_defines,time_macros ${TARNWICK_CCACHE})
endif()

if(WIN32)
    add_link_options(-static)
endif()
if(TARNWICK_SANITIZE)
    # Coverage for the fuzz targets, so that they see their way through the libraries too.
    add_compile_options(-fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()

# Warnings of the project's own code; foreign code (GoogleTest) is built without them.
add_library(tarnwick_warnings INTERFACE)
target_compile_options(tarnwick_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
    $<$<CXX_COMPILER_ID:Clang>:-Wreserved-identifier>
    # GCC 12 sees overlapping copies in the standard library's own string concatenation.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)

# tarnwick_library(NAME FOLDER folder [PURE sources...] [EDGE sources...] [LINKS libraries...]
#                  [SYSTEM system libraries...])
# A static library of the folder's sources: the pure ones in every build, the edge ones (which touch
# Windows) in the Windows build alone. Its headers are reached as "folder/Header.h" by those alone
# that link it: the include path holds one link, to this folder.
function(tarnwick_library name)
    cmake_parse_arguments(ARG "" "FOLDER" "PURE;EDGE;LINKS;SYSTEM" ${ARGN})
    set(sources ${ARG_PURE})
    if(WIN32)
        list(APPEND sources ${ARG_EDGE})
    endif()
    list(TRANSFORM sources PREPEND "${CMAKE_SOURCE_DIR}/${ARG_FOLDER}/")
    set(headers "${CMAKE_BINARY_DIR}/include/${name}")
    get_filename_component(parent "${headers}/${ARG_FOLDER}" DIRECTORY)
    file(MAKE_DIRECTORY "${parent}")
    file(CREATE_LINK "${CMAKE_SOURCE_DIR}/${ARG_FOLDER}" "${headers}/${ARG_FOLDER}" SYMBOLIC)
    if(sources)
        add_library(${name} STATIC ${sources})
        target_include_directories(${name} PUBLIC "${headers}")
        target_link_libraries(${name} PUBLIC ${ARG_LINKS} PRIVATE tarnwick_warnings)
        if(WIN32)
            target_link_libraries(${name} PUBLIC ${ARG_SYSTEM})
        endif()
    else()
        add_library(${name} INTERFACE)
        target_include_directories(${name} INTERFACE "${headers}")
        target_link_libraries(${name} INTERFACE ${ARG_LINKS})
    endif()
endfunction()

# Header-only libraries of the build machine that a cross-build may use too: one folder that holds
# links to them and nothing else of /usr/include.
set(TARNWICK_FOREIGN_INCLUDE "${CMAKE_BINARY_DIR}/foreign-include")
file(MAKE_DIRECTORY "${TARNWICK_FOREIGN_INCLUDE}")
foreach(folder CLI nlohmann)
    if(EXISTS "/usr/include/${folder}")
        file(CREATE_LINK "/usr/include/${folder}" "${TARNWICK_FOREIGN_INCLUDE}/${folder}" SYMBOLIC)
    endif()
endforeach()
add_library(foreign_headers INTERFACE)
target_include_directories(foreign_headers SYSTEM INTERFACE "${TARNWICK_FOREIGN_INCLUDE}")
