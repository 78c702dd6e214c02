# What `cpack` makes: Debian packages, one for each component of what is installed. CPack lays the components down, and
# Debian's own tools make packages of them: packaging/debian says what goes with each, packaging/make_debs.sh how.

if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    message(FATAL_ERROR "Packages are for /usr: configure with the preset `packages`.")
endif()

# A package's version is the project's with the revision of the packaging behind it.
execute_process(COMMAND dpkg-parsechangelog -l${PROJECT_SOURCE_DIR}/packaging/debian/changelog -SVersion
                OUTPUT_VARIABLE zolstats_packaged_version OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "-[^-]*$" "" zolstats_packaged_version "${zolstats_packaged_version}")
if(NOT zolstats_packaged_version STREQUAL PROJECT_VERSION)
    message(FATAL_ERROR "packaging/debian/changelog tells of ${zolstats_packaged_version}, this is ${PROJECT_VERSION}.")
endif()

set(CPACK_GENERATOR External)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_COMPONENTS_ALL runtime development tools exporter)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_EXTERNAL_ENABLE_STAGING ON)
set(CPACK_EXTERNAL_PACKAGE_SCRIPT ${PROJECT_SOURCE_DIR}/packaging/make_debs.cmake)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)
