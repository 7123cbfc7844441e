#pragma once
// Clang thread-safety analysis attributes; empty for other compilers.

#if defined(__clang__)
#define DAS_TSA(x) __attribute__((x))
#else
#define DAS_TSA(x)
#endif

#define DAS_CAPABILITY(name) DAS_TSA(capability(name))
#define DAS_SCOPED_CAPABILITY DAS_TSA(scoped_lockable)
#define DAS_GUARDED_BY(lock) DAS_TSA(guarded_by(lock))
#define DAS_PT_GUARDED_BY(lock) DAS_TSA(pt_guarded_by(lock))
#define DAS_ACQUIRE(...) DAS_TSA(acquire_capability(__VA_ARGS__))
#define DAS_RELEASE(...) DAS_TSA(release_capability(__VA_ARGS__))
#define DAS_TRY_ACQUIRE(...) DAS_TSA(try_acquire_capability(__VA_ARGS__))
#define DAS_REQUIRES(...) DAS_TSA(requires_capability(__VA_ARGS__))
#define DAS_EXCLUDES(...) DAS_TSA(locks_excluded(__VA_ARGS__))
#define DAS_NO_THREAD_SAFETY_ANALYSIS DAS_TSA(no_thread_safety_analysis)
