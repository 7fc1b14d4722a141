#pragma once

// Mutex — the lock of internally locked classes, known to clang's thread-safety analysis.
//
// Not recursive. The order in which locks may be taken is listed in doc/architecture.md.

#include <mutex>

#include "Base/PXThreadSafety.h"

namespace px {

class PX_CAPABILITY("mutex") Mutex {
public:
    void lock() PX_ACQUIRES() { mutex_.lock(); }
    void unlock() PX_RELEASES() { mutex_.unlock(); }
    bool try_lock() PX_THREAD_ATTRIBUTE(try_acquire_capability(true)) { return mutex_.try_lock(); }

private:
    std::mutex mutex_;
};

// Holds a mutex for a scope.
class PX_SCOPED_CAPABILITY MutexLocker {
public:
    explicit MutexLocker(Mutex& mutex) PX_ACQUIRES(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~MutexLocker() PX_RELEASES() { mutex_.unlock(); }
    MutexLocker(const MutexLocker&) = delete;
    MutexLocker& operator=(const MutexLocker&) = delete;

private:
    Mutex& mutex_;
};

}  // namespace px
