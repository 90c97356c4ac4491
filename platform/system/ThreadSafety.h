// What clang's -Wthread-safety checks of locks, in its own words. Other compilers read past it.
#pragma once

#if defined(__clang__)
#define BRANNOW_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define BRANNOW_THREAD_SAFETY(attribute)
#endif

// A class whose objects are locks, and one whose objects hold a lock for a scope.
#define CAPABILITY(kind) BRANNOW_THREAD_SAFETY(capability(kind))
#define SCOPED_CAPABILITY BRANNOW_THREAD_SAFETY(scoped_lockable)

// A field, and what a field points to, that are only used while the lock is held.
#define GUARDED_BY(lock) BRANNOW_THREAD_SAFETY(guarded_by(lock))
#define PT_GUARDED_BY(lock) BRANNOW_THREAD_SAFETY(pt_guarded_by(lock))

// A lock that is taken before, or after, those others by whoever takes both.
#define ACQUIRED_BEFORE(...) BRANNOW_THREAD_SAFETY(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) BRANNOW_THREAD_SAFETY(acquired_after(__VA_ARGS__))

// A function that is only called with the locks held, or only without them.
#define REQUIRES(...) BRANNOW_THREAD_SAFETY(requires_capability(__VA_ARGS__))
#define REQUIRES_SHARED(...) BRANNOW_THREAD_SAFETY(requires_shared_capability(__VA_ARGS__))
#define EXCLUDES(...) BRANNOW_THREAD_SAFETY(locks_excluded(__VA_ARGS__))

// A function that takes the locks, or lets go of them; without any, its object's own.
#define ACQUIRE(...) BRANNOW_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define ACQUIRE_SHARED(...) BRANNOW_THREAD_SAFETY(acquire_shared_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) BRANNOW_THREAD_SAFETY(try_acquire_capability(__VA_ARGS__))
#define RELEASE(...) BRANNOW_THREAD_SAFETY(release_capability(__VA_ARGS__))
#define RELEASE_GENERIC(...) BRANNOW_THREAD_SAFETY(release_generic_capability(__VA_ARGS__))

// A function that is not looked into; each says why.
#define NO_THREAD_SAFETY_ANALYSIS BRANNOW_THREAD_SAFETY(no_thread_safety_analysis)
