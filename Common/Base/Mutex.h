#pragma once

// Mutex — the lock of internally locked classes, known to clang's thread-safety analysis.
//
// Not recursive. The order in which locks may be taken is listed in doc/architecture.md.

#include <mutex>

#if defined(__clang__)
#define PX_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define PX_THREAD_ATTRIBUTE(x)
#endif

#define PX_CAPABILITY(name) PX_THREAD_ATTRIBUTE(capability(name))
#define PX_SCOPED_CAPABILITY PX_THREAD_ATTRIBUTE(scoped_lockable)
#define PX_GUARDED_BY(mutex) PX_THREAD_ATTRIBUTE(guarded_by(mutex))
#define PX_REQUIRES_LOCK(...) PX_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define PX_ACQUIRES(...) PX_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define PX_RELEASES(...) PX_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define PX_EXCLUDES_LOCK(...) PX_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define PX_NO_THREAD_ANALYSIS PX_THREAD_ATTRIBUTE(no_thread_safety_analysis)

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
