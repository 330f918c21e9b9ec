#ifndef VIREON_CORE_THREAD_ANNOTATIONS_H
#define VIREON_CORE_THREAD_ANNOTATIONS_H

// What is said of locks so that a compiler can check it: Clang does, and refuses what breaks it;
// others read nothing here. The check looks at one function at a time, lambdas too, and not at the
// bodies of constructors and destructors. It takes a lock for one that is locked once: where a
// recursive one is locked again, that is in another function.
//
//   CAPABILITY(kind)        a class of locks; kind is the word in the compiler's reports
//   SCOPED_CAPABILITY       a class that holds a lock from its constructor to its destructor
//   GUARDED_BY(lock)        a field or variable that is only touched with the lock held
//   REQUIRES(lock)          a function whose callers hold the lock
//   EXCLUDES(lock)          a function whose callers do not
//   ACQUIRED_BEFORE(lock)   the order of locks, told of the one that is taken first, or of the one
//   ACQUIRED_AFTER(lock)    that is taken last
//   ACQUIRE(), RELEASE()    what a lock's own functions do, or a scoped one's with the lock named
//   TRY_ACQUIRE(value)      a function that locked when it returns the value; who calls it compares
//                           with the bare number
//   ASSERT_CAPABILITY(lock) a function behind which the lock is held, though nothing shows it
//   NO_THREAD_SAFETY_ANALYSIS  a function that is not checked; a comment there says why
#if defined(__clang__)
#define VIREON_THREAD_ANNOTATION(annotation) __attribute__((annotation))
#else
#define VIREON_THREAD_ANNOTATION(annotation)
#endif

#define CAPABILITY(kind) VIREON_THREAD_ANNOTATION(capability(kind))
#define SCOPED_CAPABILITY VIREON_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(lock) VIREON_THREAD_ANNOTATION(guarded_by(lock))
#define REQUIRES(...) VIREON_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) VIREON_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRED_BEFORE(...) VIREON_THREAD_ANNOTATION(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) VIREON_THREAD_ANNOTATION(acquired_after(__VA_ARGS__))
#define ACQUIRE(...) VIREON_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) VIREON_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) VIREON_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define ASSERT_CAPABILITY(lock) VIREON_THREAD_ANNOTATION(assert_capability(lock))
#define NO_THREAD_SAFETY_ANALYSIS VIREON_THREAD_ANNOTATION(no_thread_safety_analysis)

#endif
