// Thread ids, events and waiting.

#include "Base/Platform/Platform_linux_process.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace px::os {

uint32_t CurrentThreadId()
{
    return static_cast<uint32_t>(gettid());
}

int DetachThread(Thread thread)
{
    return pthread_detach(thread);
}

int MakeEvent(File* event)
{
    const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor < 0) return errno;
    *event = descriptor;
    return 0;
}

int SignalEvent(File event)
{
    // EAGAIN: the counter is full, so that the event is more than signalled.
    const int result = eventfd_write(static_cast<int>(event), 1);
    return result < 0 && errno != EAGAIN ? errno : 0;
}

int ClearEvent(File event)
{
    eventfd_t signals = 0;
    const int result = eventfd_read(static_cast<int>(event), &signals);
    return result < 0 && errno != EAGAIN ? errno : 0;
}

int WaitForFiles(const File* files, bool* ready, size_t count, int timeoutMs)
{
    std::vector<pollfd> entries(count);
    for (size_t i = 0; i < count; ++i)
        entries[i] = {.fd = static_cast<int>(files[i]), .events = POLLIN, .revents = 0};
    const int64_t begin = Os().monotonicNanos();
    int left = timeoutMs;
    while (poll(entries.data(), count, left) < 0) {
        if (errno != EINTR) return errno;
        if (timeoutMs < 0) continue;
        const int64_t passedMs = (Os().monotonicNanos() - begin) / 1'000'000;
        left = static_cast<int>(std::max<int64_t>(0, timeoutMs - passedMs));
    }
    for (size_t i = 0; i < count; ++i) ready[i] = entries[i].revents != 0;
    return 0;
}

}  // namespace px::os
