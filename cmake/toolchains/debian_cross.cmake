# What the machines in this folder share: Debian's cross compilers, and QEMU for the programs they make. The file of a
# machine sets CMAKE_SYSTEM_PROCESSOR, as the compilers and QEMU call it, and includes this.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu-g++)
set(root /usr/${CMAKE_SYSTEM_PROCESSOR}-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR} -L ${root})

# Programs take the libraries they were made with, even where others for that machine are installed.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,--disable-new-dtags,-rpath,${root}/lib")

# A library found outside would be this machine's. Packages of headers alone are the same everywhere.
set(CMAKE_FIND_ROOT_PATH ${root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
