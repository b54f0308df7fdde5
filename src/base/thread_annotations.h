#pragma once

// Clang's thread-safety analysis: members say which lock guards them, functions say which lock
// they need, and the clang build (-Wthread-safety) checks every access. Other compilers ignore
// the annotations.

#if defined(__clang__)
#define BRINDLEMAR_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define BRINDLEMAR_THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(x) BRINDLEMAR_THREAD_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY BRINDLEMAR_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) BRINDLEMAR_THREAD_ANNOTATION(guarded_by(x))
#define PT_GUARDED_BY(x) BRINDLEMAR_THREAD_ANNOTATION(pt_guarded_by(x))
#define REQUIRES(...) BRINDLEMAR_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) BRINDLEMAR_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) BRINDLEMAR_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) BRINDLEMAR_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) BRINDLEMAR_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define RETURN_CAPABILITY(x) BRINDLEMAR_THREAD_ANNOTATION(lock_returned(x))
#define NO_THREAD_SAFETY_ANALYSIS BRINDLEMAR_THREAD_ANNOTATION(no_thread_safety_analysis)
