#pragma once

/* PXThread: threads, mutexes, conditions and the process-wide thread pool.
 *
 * Handles are counted: Create gives one reference, Release gives it back. Functions on a null
 * handle do nothing but log kPXErrBadArgument; those that return a value return the neutral one,
 * those that return a status return kPXErrBadArgument.
 *
 * Threads: everything may be called from any thread, also at first use. After fork() the child has
 * none of the threads: it may call exec or _exit, but no function of this header. */

#include <stddef.h>
#include <stdint.h>

#include "PXCore/PXExport.h"
#include "PXCore/PXStatus.h"

#ifndef __cplusplus
#include <stdbool.h>
#endif

PX_EXTERN_C_BEGIN

/* A thread of execution. Not joinable. */
typedef struct __PXThread* PXThread;
typedef void (*PXThreadFunction)(void* argument);

PX_API PXThread PXThreadCreate(void) PX_NOEXCEPT; /* null when memory runs out */
/* Returns its argument. */
PX_API PXThread PXThreadRetain(PXThread thread) PX_NOEXCEPT;
/* Gives a reference back. */
PX_API void PXThreadRelease(PXThread thread) PX_NOEXCEPT;

/* Runs `function` on a new thread of the lowest priority, which holds a reference to `thread` until
 * the function returns. A C++ exception that leaves it is logged and ends the thread, not the
 * process; the thread must not be ended in other ways. Returns 0; kPXErrBadArgument while an
 * earlier start of the same object still runs; otherwise the system's error number (EAGAIN) when it
 * gives no thread, logged as kPXErrCreate. */
PX_API int PXThreadStart(PXThread thread, PXThreadFunction function, void* argument) PX_NOEXCEPT;

/* The calling thread. */

/* At least as long. */
PX_API void PXThreadSleep(uint32_t milliseconds) PX_NOEXCEPT;

/* Priority levels. Linux: a level is two steps of niceness, relative to the process's first thread
 * (lowest +4, highest -4). A system that refuses to raise a thread leaves its niceness as it is;
 * the level is remembered all the same. */
enum {
    kPXThreadPriorityLowest = 0,
    kPXThreadPriorityBelowNormal = 1,
    kPXThreadPriorityNormal = 2,
    kPXThreadPriorityAboveNormal = 3,
    kPXThreadPriorityHighest = 4
};
/* Sets the level, any other number meaning normal, and returns the one before: the level that was
 * set last on this thread, normal when none was. */
PX_API int PXThreadSetPriority(int level) PX_NOEXCEPT;

/* What debuggers show, in UTF-8. Nothing happens for null and for what is not UTF-8. Linux keeps
 * the first 15 bytes. */
PX_API void PXThreadSetCurrentThreadName(const char* utf8) PX_NOEXCEPT;

/* The system's id of the calling thread; never 0. */
PX_API uint32_t PXThreadGetCurrentThreadID(void) PX_NOEXCEPT;

/* The highest address of the stack, where it begins, and its size in bytes; null and 0 when the
 * system does not tell. */
PX_API void* PXThreadGetCurrentThreadBaseAddress(void) PX_NOEXCEPT;
PX_API size_t PXThreadGetCurrentThreadStackSize(void) PX_NOEXCEPT;

/* A mutex. The thread that holds it may lock it again and then unlocks it as often; unlocking one
 * that the thread does not hold is refused with kPXErrBadArgument in the log. */
typedef struct __PXMutex* PXMutex;

PX_API PXMutex PXMutexCreate(void) PX_NOEXCEPT; /* null when memory runs out */
/* Waits until the mutex is free or the calling thread's. */
PX_API void PXMutexLock(PXMutex mutex) PX_NOEXCEPT;
PX_API bool PXMutexTryLock(PXMutex mutex) PX_NOEXCEPT; /* true when acquired */
/* Gives one lock back. */
PX_API void PXMutexUnlock(PXMutex mutex) PX_NOEXCEPT;
/* Returns its argument. */
PX_API PXMutex PXMutexRetain(PXMutex mutex) PX_NOEXCEPT;
/* Gives a reference back. */
PX_API void PXMutexRelease(PXMutex mutex) PX_NOEXCEPT;
PX_API int32_t PXMutexRefCount(PXMutex mutex) PX_NOEXCEPT;

/* A condition: an event that wakes every thread that waits at the moment of the signal; later
 * waiters wait for the next one.
 *
 * A wait leaves the mutex, which the caller has locked once, and has locked it again when it
 * returns. Lock the mutex for the signal, too, or at least between changing what the waiters check
 * and signalling; such a signal is never missed. Waiters check their predicate in a loop. */
typedef struct __PXCondition* PXCondition;

/* The time was over before a signal came. */
enum { kPXWaitTimeout = 258 };
/* As milliseconds: no limit. */
#define PX_WAIT_FOREVER UINT32_MAX

PX_API PXCondition PXConditionCreate(void) PX_NOEXCEPT; /* null when memory runs out */
/* 0 when signalled; kPXErrBadArgument, at once, when the caller does not hold the mutex. */
PX_API PXStatus PXConditionWait(PXCondition condition, PXMutex mutex) PX_NOEXCEPT;
/* The same, or kPXWaitTimeout. Measured on the monotonic clock. */
PX_API PXStatus PXConditionTimedWait(PXCondition condition, PXMutex mutex,
                                     uint32_t milliseconds) PX_NOEXCEPT;
/* Wakes every thread that waits now. */
PX_API void PXConditionSignal(PXCondition condition) PX_NOEXCEPT;
/* Returns its argument. */
PX_API PXCondition PXConditionRetain(PXCondition condition) PX_NOEXCEPT;
/* Gives a reference back. */
PX_API void PXConditionRelease(PXCondition condition) PX_NOEXCEPT;
PX_API int32_t PXConditionRefCount(PXCondition condition) PX_NOEXCEPT;

/* The process-wide pool. It is made on the first push, grows a worker thread whenever none is free
 * (there is no upper bound), and retires workers that have been idle for more than 20 seconds,
 * looked for every 30 seconds while any is idle. All its threads have the lowest priority.
 *
 * A process may end at any time, with work in flight: nothing waits and nothing is torn down. The
 * library stays loaded once it was, so that closing a handle of it does not pull it from under the
 * pool's threads; but functions of the host's that are pushed must stay, too. */

/* Calls `function` with `argument` on some pool thread later; items begin in the order of their
 * pushes. An item may block, others do not wait for it. A C++ exception that leaves the function is
 * logged (kPXErrBadArgument) and ends the item only. Returns 0; kPXErrBadArgument without a
 * function. */
PX_API int PXThreadPoolPush(PXThreadFunction function, void* argument) PX_NOEXCEPT;

/* Waits until all pushed items have ended and ends every thread of the pool; for hosts that unload
 * what their items call. The next push makes the pool again. Refused with
 * kPXErrBadArgument on a thread of the pool, which would wait for itself. */
PX_API PXStatus PXThreadPoolShutdown(void) PX_NOEXCEPT;

/* Figures of the pool; the sums are those of the process. */
typedef struct PXThreadPoolStatistics {
    uint32_t workers;          /* worker threads */
    uint32_t idle;             /* those that sleep */
    uint64_t pushed;           /* items */
    uint64_t completed;        /* items that have ended */
    double longestWaitSeconds; /* from push to start, to the system's tick (4 to 16 ms) */
} PXThreadPoolStatistics;
/* kPXErrBadArgument for null. */
PX_API PXStatus PXThreadPoolGetStatistics(PXThreadPoolStatistics* outStatistics) PX_NOEXCEPT;

PX_EXTERN_C_END
