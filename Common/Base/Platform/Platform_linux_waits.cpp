#include "Base/Platform/Platform_linux_waits.h"

#include <linux/futex.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

namespace px::os {

namespace {

constexpr int64_t kNanosPerSecond = 1'000'000'000;

// A name's bytes without the terminator.
constexpr size_t kNameBytes = 15;

timespec TimeOf(int64_t nanos)
{
    timespec time = {};
    time.tv_sec = nanos / kNanosPerSecond;
    time.tv_nsec = nanos % kNanosPerSecond;
    return time;
}

}  // namespace

int WaitOnWord(const std::atomic<uint32_t>* word, uint32_t expected, int64_t timeoutNanos)
{
    // FUTEX_WAIT measures its time on the monotonic clock.
    const timespec timeout = TimeOf(std::max<int64_t>(timeoutNanos, 0));
    const long result = syscall(SYS_futex, word, FUTEX_WAIT_PRIVATE, expected,
                                timeoutNanos < 0 ? nullptr : &timeout, nullptr, 0);
    return result < 0 && errno == ETIMEDOUT ? ETIMEDOUT : 0;
}

void WakeWord(const std::atomic<uint32_t>* word, bool all)
{
    syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, all ? INT_MAX : 1, nullptr, nullptr, 0);
}

void SleepNanos(int64_t nanos)
{
    timespec left = TimeOf(std::max<int64_t>(nanos, 0));
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
}

void YieldThread()
{
    sched_yield();
}

int64_t CoarseNanos()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return int64_t{now.tv_sec} * kNanosPerSecond + now.tv_nsec;
}

int SetNiceness(int32_t niceness)
{
    errno = 0;
    const int ofProcess = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));
    if (ofProcess == -1 && errno) return errno;
    const int wanted = std::clamp(ofProcess + niceness, -20, 19);
    // Linux keeps a niceness for each thread; 0 names the calling one.
    return setpriority(PRIO_PROCESS, 0, wanted) < 0 ? errno : 0;
}

int NameThread(const char* name)
{
    char kept[kNameBytes + 1] = {};
    size_t size = strnlen(name, kNameBytes + 1);
    if (size > kNameBytes) {
        size = kNameBytes;
        while (size > 0 && (static_cast<unsigned char>(name[size]) & 0xC0) == 0x80) --size;
    }
    std::memcpy(kept, name, size);
    return pthread_setname_np(pthread_self(), kept);
}

int StackFacts(void** base, size_t* size)
{
    pthread_attr_t attributes;
    if (const int error = pthread_getattr_np(pthread_self(), &attributes)) return error;
    void* lowest = nullptr;
    const int error = pthread_attr_getstack(&attributes, &lowest, size);
    pthread_attr_destroy(&attributes);
    if (!error) *base = static_cast<char*>(lowest) + *size;
    return error;
}

}  // namespace px::os
