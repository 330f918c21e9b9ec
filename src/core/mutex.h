#ifndef VIREON_CORE_MUTEX_H
#define VIREON_CORE_MUTEX_H

#include <memory>
#include <new>

#include "core/result.h"
#include "core/thread_annotations.h"

class CAPABILITY("mutex") NPT_MutexInterface {
  public:
    virtual ~NPT_MutexInterface() = default;
    // Waits without a time limit; NPT_FAILURE when the wait did not end in ownership: the caller
    // holds nothing then.
    virtual NPT_Result Lock() TRY_ACQUIRE(0) = 0;
    // Always NPT_SUCCESS; does nothing on a thread that does not hold the lock.
    virtual NPT_Result Unlock() RELEASE() = 0;
};

// A recursive lock over the platform's recursive mutex. Any thread may lock; the thread that locked
// unlocks, once for each Lock. Copies make no sense and are refused. One that could not be made,
// for lack of memory or of handles, exists all the same, and its Lock always fails.
class CAPABILITY("mutex") NPT_Mutex : public NPT_MutexInterface {
  public:
    NPT_Mutex();
    NPT_Mutex(const NPT_Mutex&) = delete;
    NPT_Mutex& operator=(const NPT_Mutex&) = delete;
    ~NPT_Mutex() override;

    NPT_Result Lock() override TRY_ACQUIRE(0);
    // Not checked itself: to the compiler the delegate is another mutex.
    NPT_Result Unlock() override RELEASE() NO_THREAD_SAFETY_ANALYSIS;

  private:
    std::unique_ptr<NPT_MutexInterface> delegate_;
};

// Holds a mutex for a scope. Throws std::bad_alloc when the mutex is not to be had, so that nothing
// runs unguarded. Whatever lives on a mutex of its own holds it once in its constructor: where that
// went well no later guard fails for want of a mutex, in a destructor least of all.
class SCOPED_CAPABILITY NPT_AutoLock {
  public:
    explicit NPT_AutoLock(NPT_MutexInterface& mutex) ACQUIRE(mutex) : mutex_(mutex) {
        if (NPT_Failed(mutex_.Lock())) throw std::bad_alloc();
    }
    NPT_AutoLock(const NPT_AutoLock&) = delete;
    NPT_AutoLock& operator=(const NPT_AutoLock&) = delete;
    ~NPT_AutoLock() RELEASE() { mutex_.Unlock(); }

  private:
    NPT_MutexInterface& mutex_;
};

#endif
