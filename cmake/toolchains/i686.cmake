# 32 bits. Many a kernel runs these programs itself, if they say where their loader lies.
set(CMAKE_SYSTEM_PROCESSOR i686)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)

set(loader ${root}/lib/ld-linux.so.2)
string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -Wl,--dynamic-linker=${loader}")
execute_process(COMMAND ${loader} --version RESULT_VARIABLE failure OUTPUT_QUIET ERROR_QUIET)
if(failure)
    set(CMAKE_CROSSCOMPILING_EMULATOR qemu-i386)
else()
    unset(CMAKE_CROSSCOMPILING_EMULATOR)
endif()
