// Clang's thread-safety annotations under the project's own names; other compilers see nothing.
// With them "the caller holds the lock" is checked by the compiler instead of promised by a
// comment (Hutchins, Ballman and Sutherland, "C/C++ Thread Safety Analysis", SCAM 2014).
#pragma once

#if defined(__clang__)
#define TVN_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define TVN_THREAD_ATTRIBUTE(x)
#endif

#define TVN_CAPABILITY(name) TVN_THREAD_ATTRIBUTE(capability(name))
#define TVN_SCOPED_CAPABILITY TVN_THREAD_ATTRIBUTE(scoped_lockable)
#define TVN_GUARDED_BY(mutex) TVN_THREAD_ATTRIBUTE(guarded_by(mutex))
#define TVN_REQUIRES(...) TVN_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define TVN_EXCLUDES(...) TVN_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define TVN_ACQUIRE(...) TVN_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define TVN_RELEASE(...) TVN_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
