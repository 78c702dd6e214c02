# Run by cpack when it has laid down the components: hands over to the script that makes packages of them.
execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/make_debs.sh ${CPACK_TEMPORARY_DIRECTORY} ${CPACK_TOPLEVEL_DIRECTORY}
                COMMAND_ERROR_IS_FATAL ANY)
file(GLOB CPACK_EXTERNAL_BUILT_PACKAGES ${CPACK_TOPLEVEL_DIRECTORY}/*.deb)
