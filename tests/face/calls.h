// The calls of the face to the library that tests count or step into. A program that links calls.cpp is linked with
// --wrap for these calls, so that they come by here on their way to the library. Nothing is decided here. What each
// call promises stands in zolstats.h.
#ifndef ZOLSTATS_TESTS_FACE_CALLS_H
#define ZOLSTATS_TESTS_FACE_CALLS_H

#include <atomic>
#include <functional>

namespace face {

// How often closeGatewayConnection() was called.
inline std::atomic<int> closeCalls{0};

// Runs once, when the next getStats() of this thread has its answer but has not given it back.
inline thread_local std::function<void()> afterTheAnswer;

}  // namespace face

#endif
