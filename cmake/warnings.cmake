# One list of warnings for everything that is built here; errors unless the caller decides otherwise
# (cmake --compile-no-warning-as-error).
if(NOT DEFINED CMAKE_COMPILE_WARNING_AS_ERROR)
    set(CMAKE_COMPILE_WARNING_AS_ERROR ON)
endif()

add_library(nccnet_warnings INTERFACE)
target_compile_options(nccnet_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wformat=2
    -Wimplicit-fallthrough -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast
    -Wcast-align -Wundef -Werror=format-security)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(nccnet_warnings INTERFACE -Wduplicated-cond -Wlogical-op)
    # GCC 12 reports overlaps inside std::string's operator+ that cannot happen (its bug 105651).
    if(CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        target_compile_options(nccnet_warnings INTERFACE -Wno-restrict)
    endif()
endif()
