# `check`: what programs can hold of the style. A build does without clang-format and clang-tidy,
# this target does not.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
find_program(CLANG_FORMAT NAMES clang-format-14 clang-format)
find_program(RUN_CLANG_TIDY NAMES run-clang-tidy-14 run-clang-tidy)

set(code_dirs bench core examples exchange fuzz generate include platform structure tests tools)
set(code_patterns)
foreach(dir IN LISTS code_dirs)
    list(APPEND code_patterns ${PROJECT_SOURCE_DIR}/${dir}/*.h ${PROJECT_SOURCE_DIR}/${dir}/*.cpp)
endforeach()
file(GLOB_RECURSE code_files CONFIGURE_DEPENDS ${code_patterns})

add_custom_target(check_format
    COMMAND ${CLANG_FORMAT} --dry-run -Werror ${code_files}
    COMMENT "clang-format" VERBATIM)
add_custom_target(format
    COMMAND ${CLANG_FORMAT} -i ${code_files}
    COMMENT "Formatting every source" VERBATIM)

# Tests are left to the compiler: GoogleTest's macros cost most of the time and give most of the
# noise.
string(REGEX REPLACE "([][+.*()^$?|\\\\])" "\\\\\\1" source_pattern "${PROJECT_SOURCE_DIR}")
cmake_host_system_information(RESULT cores QUERY NUMBER_OF_LOGICAL_CORES)
# check_tidy: the library, what every change has to pass. check_tools: the command line, whose
# headers of other projects take longer than all of the library.
function(nccnet_add_tidy target folders)
    add_custom_target(${target}
        COMMAND ${CMAKE_COMMAND} -DFROM=${PROJECT_BINARY_DIR} -DTO=${PROJECT_BINARY_DIR}/tidy
                -P ${PROJECT_SOURCE_DIR}/cmake/tidy_commands.cmake
        COMMAND ${RUN_CLANG_TIDY} -quiet -p ${PROJECT_BINARY_DIR}/tidy -j ${cores}
                -extra-arg=-Wno-unknown-warning-option "^${source_pattern}/(${folders})/"
        COMMENT "clang-tidy: ${folders}" VERBATIM)
endfunction()
nccnet_add_tidy(check_tidy "core|structure|generate|exchange|platform")
nccnet_add_tidy(check_tools "tools")

add_custom_target(check_style
    COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/tests/style_test.py ${PROJECT_SOURCE_DIR}
    COMMENT "House rules" VERBATIM)

add_custom_target(check)
add_dependencies(check check_format check_style check_tidy)
