# Installs the library into a fresh folder, moves it, and builds and runs the client from there:
# once through the CMake package, once with the flags of pkg-config.
set(scratch ${BINARY_DIR}/embed_test)
file(REMOVE_RECURSE ${scratch})
file(MAKE_DIRECTORY ${scratch})

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output
                    ERROR_VARIABLE output WORKING_DIRECTORY ${scratch})
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${ARGN}\n${output}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

# The client makes its database on the first run and meets it again on the second.
function(run_client program)
    foreach(repetition RANGE 1)
        run(${program} ${program}_database)
        if(NOT output MATCHES "Harbour \\(0001\\)\n  Crane \\(0002\\)\n  Customs \\(0003\\)\n$")
            message(FATAL_ERROR "${program} said:\n${output}")
        endif()
    endforeach()
endfunction()

run(${CMAKE_COMMAND} --install ${BINARY_DIR} --prefix ${scratch}/first)
file(RENAME ${scratch}/first ${scratch}/prefix)

run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B build -DCMAKE_PREFIX_PATH=${scratch}/prefix
    -DCMAKE_CXX_COMPILER=${COMPILER})
run(${CMAKE_COMMAND} --build build)
run_client(${scratch}/build/embed)

set(ENV{PKG_CONFIG_PATH} ${scratch}/prefix/${LIBDIR}/pkgconfig)
run(pkg-config --cflags --libs nccnet)
separate_arguments(flags UNIX_COMMAND "${output}")
run(${COMPILER} -std=c++20 ${SOURCE_DIR}/main.cpp -o by_flags ${flags})
set(ENV{LD_LIBRARY_PATH} ${scratch}/prefix/${LIBDIR})
run_client(${scratch}/by_flags)
