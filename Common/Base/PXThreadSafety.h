#pragma once

/* PXThreadSafety: annotations for clang's thread-safety analysis; nothing for other compilers. */

#if defined(__clang__) && defined(__cplusplus)
#define PX_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define PX_THREAD_ATTRIBUTE(x)
#endif

#define PX_CAPABILITY(name) PX_THREAD_ATTRIBUTE(capability(name))
#define PX_SCOPED_CAPABILITY PX_THREAD_ATTRIBUTE(scoped_lockable)
#define PX_GUARDED_BY(mutex) PX_THREAD_ATTRIBUTE(guarded_by(mutex))
#define PX_REQUIRES_LOCK(...) PX_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define PX_ACQUIRES(...) PX_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define PX_TRY_ACQUIRES(...) PX_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define PX_RELEASES(...) PX_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define PX_EXCLUDES_LOCK(...) PX_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define PX_NO_THREAD_ANALYSIS PX_THREAD_ATTRIBUTE(no_thread_safety_analysis)
