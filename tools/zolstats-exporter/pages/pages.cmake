# What the program serves to browsers becomes a part of it. Included where the library of the parts is made: a generated
# source belongs to the folder of its target.
set(page_files_source ${CMAKE_CURRENT_BINARY_DIR}/page_files.cpp)
file(GLOB page_files CONFIGURE_DEPENDS pages/*.html pages/*.css pages/*.js pages/*.svg)
add_custom_command(
    OUTPUT ${page_files_source}
    COMMAND ${CMAKE_COMMAND} -DSOURCES=${CMAKE_CURRENT_SOURCE_DIR}/pages -DOUTPUT=${page_files_source}
            -P ${CMAKE_CURRENT_SOURCE_DIR}/pages/embed.cmake
    DEPENDS ${page_files} pages/embed.cmake
    COMMENT "Putting the pages into the exporter"
    VERBATIM)
target_sources(exporter_parts PRIVATE ${page_files_source})
