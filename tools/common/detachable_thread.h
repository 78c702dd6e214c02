// A thread that may be stuck where nothing can wake it, in the system's resolver for example, when its work is not
// wanted any more.
// Not the place where it is told so: that is its owner's.
// Nothing here comes from the protocol.
#ifndef TOOLS_COMMON_DETACHABLE_THREAD_H
#define TOOLS_COMMON_DETACHABLE_THREAD_H

#include <chrono>
#include <functional>
#include <future>
#include <thread>

namespace tools {

class DetachableThread {
  public:
    // What the work uses is shared by it, as it may outlive everything else. Throws std::system_error.
    explicit DetachableThread(std::function<void()> work);
    // Waits for its end, unless that was given up before.
    ~DetachableThread();
    DetachableThread(DetachableThread&&) noexcept = default;
    DetachableThread& operator=(DetachableThread&&) = delete;

    // Waits for its end, but no longer than that: then the thread is left to itself. If it has still not ended when
    // the process does, that goes without the destructors of what the thread might be using.
    void joinBy(std::chrono::steady_clock::time_point deadline);

  private:
    std::future<void> end_;
    std::thread thread_;
};

}  // namespace tools

#endif
