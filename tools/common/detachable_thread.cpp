// A thread that may be stuck where nothing can wake it, when its work is not wanted any more.
// Not the place where it is told so: that is its owner's.
// Nothing here comes from the protocol.
#include "detachable_thread.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace tools {
namespace {

// Those that are left to themselves.
class Strays {
  public:
    // False if there is no memory for it.
    bool add(std::future<void> end) {
        const std::lock_guard lock(mutex_);
        std::erase_if(ends_, hasCome);
        try {
            ends_.push_back(std::move(end));
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
    bool areThereAny() {
        const std::lock_guard lock(mutex_);
        std::erase_if(ends_, hasCome);
        return !ends_.empty();
    }

  private:
    static bool hasCome(const std::future<void>& end) {
        return end.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }

    std::mutex mutex_;
    std::vector<std::future<void>> ends_;
};

void endWithoutDestructors(int exitCode, void* strays) {
    if (static_cast<Strays*>(strays)->areThereAny()) {
        std::fflush(nullptr);
        _exit(exitCode);
    }
}

// Made after most of what is taken apart when the process ends, and asked before.
Strays& strays() {
    static Strays all;
    static const int isPrepared = on_exit(endWithoutDestructors, &all);
    static_cast<void>(isPrepared);
    return all;
}

}  // namespace

DetachableThread::DetachableThread(std::function<void()> work) {
    std::packaged_task<void()> task(std::move(work));
    end_ = task.get_future();
    thread_ = std::thread(std::move(task));
}

DetachableThread::~DetachableThread() {
    if (thread_.joinable()) {
        thread_.join();
    }
}

void DetachableThread::joinBy(std::chrono::steady_clock::time_point deadline) {
    if (end_.wait_until(deadline) != std::future_status::ready && strays().add(std::move(end_))) {
        thread_.detach();
    } else {
        thread_.join();
    }
}

}  // namespace tools
