# The library, shared and static. It is compiled without exceptions and run-time type information and linked by the C
# compiler driver, so that a C program can use it and never meets a C++ runtime.

set(ZOLSTATS_MODULES diag gwycon gwytok impl lock resultsetbuffer socketcomms statcomms statquery)
list(TRANSFORM ZOLSTATS_MODULES PREPEND ${PROJECT_SOURCE_DIR}/source/stapi_zol_ OUTPUT_VARIABLE zolstats_sources)
list(TRANSFORM zolstats_sources APPEND .cpp)

add_library(zolstats_objects OBJECT ${zolstats_sources})
target_include_directories(zolstats_objects PUBLIC ${PROJECT_SOURCE_DIR}/include)
target_compile_options(zolstats_objects PRIVATE -fno-exceptions -fno-rtti -fno-semantic-interposition
                                                ${ZOLSTATS_NO_PATHS})

# Where files would end at 2 GiB a trace may outgrow that, too.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_compile_definitions(zolstats_objects PRIVATE _FILE_OFFSET_BITS=64)
endif()

function(zolstats_add_library name kind)
    add_library(${name} ${kind} $<TARGET_OBJECTS:zolstats_objects>)
    add_library(zolstats::${name} ALIAS ${name})
    target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                              $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    set_target_properties(${name} PROPERTIES OUTPUT_NAME zolstats LINKER_LANGUAGE C)
endfunction()

zolstats_add_library(zolstats_static STATIC)

# Names such as `flow` may well exist in an application: the library binds its own references to itself.
zolstats_add_library(zolstats SHARED)
set_target_properties(zolstats PROPERTIES SOVERSION ${PROJECT_VERSION_MAJOR} VERSION ${PROJECT_VERSION}
                      LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/zolstats.map)
target_link_options(zolstats PRIVATE -Wl,-Bsymbolic -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/zolstats.map
                                     -Wl,-z,relro -Wl,-z,now)
if(NOT ZOLSTATS_SANITIZE)
    target_link_options(zolstats PRIVATE -Wl,-z,defs)
endif()
