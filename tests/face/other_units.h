// The face as other translation units see it: one of the same program, and one of a shared library that hides its
// symbols. Both are other_unit.cpp, compiled twice. What the face promises stands in zolstats.hpp.
#ifndef ZOLSTATS_TESTS_FACE_OTHER_UNITS_H
#define ZOLSTATS_TESTS_FACE_OTHER_UNITS_H

#include <cstddef>
#include <system_error>

#include "zolstats/zolstats.hpp"

namespace other_units {

const std::error_category& categoryInTheProgram();
void failInTheProgram();  // with ZOLSTATS_BAD_PORT
void beStaleInTheProgram();
std::size_t countInTheProgram(const zolstats::Statistics& answer);

const std::error_category& categoryInASharedLibrary();
void failInASharedLibrary();
void beStaleInASharedLibrary();
std::size_t countInASharedLibrary(const zolstats::Statistics& answer);

}  // namespace other_units

#endif
