# The most significant byte first; plain characters without a sign.
set(CMAKE_SYSTEM_PROCESSOR s390x)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
