# GoogleTest from the distribution's sources, so that one version serves both builds.
set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
add_subdirectory(/usr/src/googletest "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
include(GoogleTest)

# One precompiled header serves all test programs: GoogleTest is most of what they compile.
file(WRITE "${CMAKE_BINARY_DIR}/TestHeaders.cpp" "")
add_library(test_headers OBJECT "${CMAKE_BINARY_DIR}/TestHeaders.cpp")
target_precompile_headers(test_headers PRIVATE <gtest/gtest.h> <string> <string_view> <vector>)
target_link_libraries(test_headers PRIVATE gtest tarnwick_warnings)
target_compile_options(test_headers PRIVATE -O0)

# tarnwick_test(NAME [PURE sources...] [EDGE sources...] [LINKS libraries...])
# A test program of the sources in the calling folder; every test runs in a process of its own.
# In the native build a program without pure sources does not exist.
function(tarnwick_test name)
    cmake_parse_arguments(ARG "" "" "PURE;EDGE;LINKS" ${ARGN})
    set(sources ${ARG_PURE})
    if(WIN32)
        list(APPEND sources ${ARG_EDGE})
    endif()
    if(NOT sources)
        return()
    endif()
    add_executable(${name} ${sources})
    target_link_libraries(${name} PRIVATE ${ARG_LINKS} gtest_main gtest tarnwick_warnings)
    target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}")
    target_compile_options(${name} PRIVATE -O0)
    target_compile_definitions(${name} PRIVATE
        TARNWICK_SOURCE_DIR="${CMAKE_SOURCE_DIR}" TARNWICK_BINARY_DIR="${CMAKE_BINARY_DIR}")
    target_precompile_headers(${name} REUSE_FROM test_headers)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT 120)
endfunction()
