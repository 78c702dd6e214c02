// Lets system calls of the library fail in tests: memory, and making a mutex. The programs that use it are
// linked with
// --wrap for these calls; whatever is not told to fail goes to the real ones.
// Which failures the library reports, and how, is written down in docs/return-codes.md.
#ifndef ZOLSTATS_TESTS_FAILING_CALLS_H
#define ZOLSTATS_TESTS_FAILING_CALLS_H

namespace testing_support {

// While it lives, one call of a kind fails in its thread: the count-th from now on, counted from 1.
template <class Kind>
class FailingCall {
  public:
    explicit FailingCall(int count) { left_ = count; }
    ~FailingCall() { left_ = 0; }
    FailingCall(const FailingCall&) = delete;
    FailingCall& operator=(const FailingCall&) = delete;

    // To be asked once for each call.
    static bool isNow() { return left_ > 0 && --left_ == 0; }
    // Whether the call that was to fail has been made.
    static bool hasHappened() { return left_ == 0; }

  private:
    static inline thread_local int left_ = 0;
};

using FailingAllocation = FailingCall<struct MemoryKind>;
using FailingMutexInit = FailingCall<struct MutexKind>;

}  // namespace testing_support

#endif
