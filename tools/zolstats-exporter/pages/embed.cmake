# Puts the files of this folder into the program: writes a C++ source with their bytes, in the order of their names.
# Run as a script: cmake -DSOURCES=<folder> -DOUTPUT=<file> -P embed.cmake. Not the place where they are served (pages.cpp).
# Names only, no folders, go into the source: it is the same wherever it is made.
file(GLOB names RELATIVE ${SOURCES} ${SOURCES}/*.html ${SOURCES}/*.css ${SOURCES}/*.js ${SOURCES}/*.svg)
list(SORT names COMPARE STRING)

set(entries)
foreach(name ${names})
    file(READ ${SOURCES}/${name} bytes HEX)
    string(REGEX REPLACE "(..)" "\\\\x\\1" bytes "${bytes}")
    string(APPEND entries "    {\"${name}\", \"${bytes}\"sv},\n")
endforeach()

file(WRITE ${OUTPUT} "// Made from the files in pages/.
#include \"page_files.h\"

namespace tools::exporter {

using namespace std::string_view_literals;

const std::map<std::string_view, std::string_view> PAGE_FILES{
${entries}};

}  // namespace tools::exporter
")
