# Flags for every target: what the code relies on, hardening, sanitizers.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# NAME is probed once; a compiler without the flag builds without it.
function(nccnet_add_flag name)
    string(MAKE_C_IDENTIFIER "NCCNET_HAS${name}" known)
    check_cxx_compiler_flag(${name} ${known})
    if(${known})
        add_compile_options(${name})
    endif()
endfunction()

# Constructors of the records leave storage bytes as they were: the compiler may neither drop
# earlier stores nor fill variables (-ftrivial-auto-var-init).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-fno-lifetime-dse)
endif()

# The same sources give the same bytes wherever they stand.
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)

add_compile_definitions(_GLIBCXX_ASSERTIONS)
foreach(flag IN ITEMS -fstack-protector-strong -fstack-clash-protection -fcf-protection=full
                      -fno-delete-null-pointer-checks -fno-strict-overflow -fno-strict-aliasing)
    nccnet_add_flag(${flag})
endforeach()

if(NCCNET_SANITIZE)
    add_compile_options(-fsanitize=${NCCNET_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${NCCNET_SANITIZE})
else()
    # Fortified functions need optimisation, and hide overruns from the sanitizers.
    add_compile_options($<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
                        $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=3>)
    add_link_options(LINKER:-z,noexecstack LINKER:-z,relro LINKER:-z,now LINKER:--as-needed)
endif()
