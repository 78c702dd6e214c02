# Plain characters without a sign, and a processor that reorders memory accesses.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
