# Installs into a fresh folder, moves it, runs the tool there, and builds and runs the client with
# it: once through the CMake package, once with the flags of pkg-config alone.
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

set(database ${scratch}/city)
unset(ENV{LD_LIBRARY_PATH})
set(nccadm ${scratch}/prefix/bin/nccadm -q --db ${database})

# Users at all nodes, of which one is deleted then, at one of them, and at none.
function(make_database)
    foreach(command "init --network 7" "server add Center" "ap add Center Desk"
            "ap add Center Cabin" "group add Hall" "group add-node Hall Center"
            "group add-node Hall Desk" "group add-node Hall Cabin" "dep add Watch"
            "group add-dep Hall Watch" "user add Ivanov" "user join Ivanov Watch --memberships"
            "user add Petrov" "user join Petrov Watch" "user memberships Petrov Watch --add Desk"
            "user add Сидоров" "ap delete Cabin --yes")
        separate_arguments(arguments UNIX_COMMAND "${command}")
        run(${nccadm} ${arguments})
    endforeach()
endfunction()

function(run_client program)
    run(${program} ${database})
    if(NOT output STREQUAL "Ivanov\n  at Center for Watch, primary\n  at Desk for Watch\n\
Petrov\n  at Desk for Watch\nСидоров: nowhere\n")
        message(FATAL_ERROR "${program} said:\n${output}")
    endif()
    run(${program} ${database} Сидоров)
    execute_process(COMMAND ${program} ${database} Ωmega RESULT_VARIABLE result
                    ERROR_VARIABLE error)
    if(NOT result EQUAL 1 OR NOT error MATCHES "Ωmega.*code page 1251")
        message(FATAL_ERROR "${program} said of what no name can be:\n${error}")
    endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BINARY_DIR} --prefix ${scratch}/first)
file(RENAME ${scratch}/first ${scratch}/prefix)

make_database()
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B build -DCMAKE_PREFIX_PATH=${scratch}/prefix
    -DCMAKE_CXX_COMPILER=${COMPILER})
run(${CMAKE_COMMAND} --build build)
run_client(${scratch}/build/embed)

set(ENV{PKG_CONFIG_PATH} ${scratch}/prefix/${LIBDIR}/pkgconfig)
run(pkg-config --cflags --libs nccnet)
separate_arguments(flags UNIX_COMMAND "${output}")
run(${COMPILER} ${SOURCE_DIR}/main.cpp -o by_flags ${flags})
# A library with another interface is not taken by accident.
run(readelf -d by_flags)
if(NOT output MATCHES "\\[libnccnet\\.so\\.${INTERFACE}\\]")
    message(FATAL_ERROR "by_flags wants:\n${output}")
endif()
set(ENV{LD_LIBRARY_PATH} ${scratch}/prefix/${LIBDIR})
run_client(${scratch}/by_flags)
