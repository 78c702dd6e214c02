# What `cmake --install` lays down: header, libraries, and the files by which pkg-config and CMake find them.
# Each file belongs to one of four components: `runtime` is what programs need that were built with the library,
# `development` what building them needs, `tools` the programs of this project with their manual pages, `exporter` the
# one that is a service, with what belongs to it.

include(CMakePackageConfigHelpers)

set(zolstats_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zolstats)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/zolstats DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(TARGETS zolstats zolstats_static EXPORT zolstatsTargets
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
        ARCHIVE COMPONENT development)
install(EXPORT zolstatsTargets NAMESPACE zolstats:: DESTINATION ${zolstats_package_dir} COMPONENT development)

# The prefix is told from where the file lies, so that an installation may be moved as a whole.
file(RELATIVE_PATH ZOLSTATS_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${CMAKE_CURRENT_LIST_DIR}/zolstats.pc.in ${PROJECT_BINARY_DIR}/zolstats.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zolstats.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/zolstatsConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/zolstatsConfig.cmake
                              INSTALL_DESTINATION ${zolstats_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zolstatsConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zolstatsConfig.cmake ${PROJECT_BINARY_DIR}/zolstatsConfigVersion.cmake
        DESTINATION ${zolstats_package_dir} COMPONENT development)
