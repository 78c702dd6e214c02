# What `cmake --install` lays down: header, libraries, and the files by which pkg-config and CMake find them.

include(CMakePackageConfigHelpers)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/zolstats DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS zolstats zolstats_static EXPORT zolstatsTargets)
install(EXPORT zolstatsTargets NAMESPACE zolstats:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zolstats)

# The prefix is told from where the file lies, so that an installation may be moved as a whole.
file(RELATIVE_PATH ZOLSTATS_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${CMAKE_CURRENT_LIST_DIR}/zolstats.pc.in ${PROJECT_BINARY_DIR}/zolstats.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zolstats.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/zolstatsConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/zolstatsConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zolstats)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zolstatsConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zolstatsConfig.cmake ${PROJECT_BINARY_DIR}/zolstatsConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zolstats)
