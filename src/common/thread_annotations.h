#pragma once
// Clang's thread-safety attributes, in LevelDB's spelling. Under clang with
// -Wthread-safety the compiler checks that each field marked GUARDED_BY(mu)
// is touched only with mu held; other compilers see empty macros.

#if defined(__clang__)
#define QDX_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define QDX_THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(x) QDX_THREAD_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY QDX_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) QDX_THREAD_ANNOTATION(guarded_by(x))
#define PT_GUARDED_BY(x) QDX_THREAD_ANNOTATION(pt_guarded_by(x))
#define ACQUIRED_AFTER(...) QDX_THREAD_ANNOTATION(acquired_after(__VA_ARGS__))
#define ACQUIRED_BEFORE(...) QDX_THREAD_ANNOTATION(acquired_before(__VA_ARGS__))
#define REQUIRES(...) QDX_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) QDX_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) QDX_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) QDX_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) QDX_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define ASSERT_CAPABILITY(x) QDX_THREAD_ANNOTATION(assert_capability(x))
#define RETURN_CAPABILITY(x) QDX_THREAD_ANNOTATION(lock_returned(x))
#define NO_THREAD_SAFETY_ANALYSIS QDX_THREAD_ANNOTATION(no_thread_safety_analysis)
