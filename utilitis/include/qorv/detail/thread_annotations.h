// Words by which clang's -Wthread-safety checks that locks and the fields they guard go together. Other
// compilers see nothing.
#pragma once

#if defined(__clang__)
#define QORV_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define QORV_THREAD_ATTRIBUTE(x)
#endif

#define QORV_CAPABILITY(name) QORV_THREAD_ATTRIBUTE(capability(name))
#define QORV_SCOPED_CAPABILITY QORV_THREAD_ATTRIBUTE(scoped_lockable)
#define QORV_GUARDED_BY(lock) QORV_THREAD_ATTRIBUTE(guarded_by(lock))
#define QORV_REQUIRES(...) QORV_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define QORV_ACQUIRE(...) QORV_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define QORV_TRY_ACQUIRE(...) QORV_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define QORV_RELEASE(...) QORV_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define QORV_RETURN_CAPABILITY(lock) QORV_THREAD_ATTRIBUTE(lock_returned(lock))
#define QORV_NO_THREAD_SAFETY_ANALYSIS QORV_THREAD_ATTRIBUTE(no_thread_safety_analysis)
