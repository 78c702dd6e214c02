# The library as mutate.py builds it, in place of cmake/library.cmake: one shared library for all tests, with nothing hidden,
# that can be exchanged below them. Nothing of it is installed.

file(GLOB zolstats_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/source/*.cpp)
add_library(zolstats SHARED ${zolstats_sources})
add_library(zolstats_static ALIAS zolstats)
add_library(zolstats::zolstats ALIAS zolstats)
target_include_directories(zolstats PUBLIC ${PROJECT_SOURCE_DIR}/include)
target_compile_options(zolstats PRIVATE -fno-exceptions -fno-rtti -fsanitize=address)
target_link_options(zolstats PUBLIC -fsanitize=address)

# Programs lend the library their versions of the calls it is to see replaced, and find it by the environment only.
set(CMAKE_ENABLE_EXPORTS ON)
set(CMAKE_SKIP_BUILD_RPATH ON)
set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)
