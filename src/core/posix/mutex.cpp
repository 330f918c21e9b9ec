#include "core/mutex.h"

#include <pthread.h>

#include <new>

namespace {

class NPT_PosixMutex : public NPT_MutexInterface {
  public:
    NPT_PosixMutex() {
        pthread_mutexattr_t attributes;
        if (pthread_mutexattr_init(&attributes) != 0) return;
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        is_made_ = pthread_mutex_init(&mutex_, &attributes) == 0;
        pthread_mutexattr_destroy(&attributes);
    }
    NPT_PosixMutex(const NPT_PosixMutex&) = delete;
    NPT_PosixMutex& operator=(const NPT_PosixMutex&) = delete;
    ~NPT_PosixMutex() override {
        if (is_made_) pthread_mutex_destroy(&mutex_);
    }

    NPT_Result Lock() override {
        return is_made_ && pthread_mutex_lock(&mutex_) == 0 ? NPT_SUCCESS : NPT_FAILURE;
    }
    // The recursive type refuses, without any effect, a thread that is not the owner.
    NPT_Result Unlock() override {
        if (is_made_) pthread_mutex_unlock(&mutex_);
        return NPT_SUCCESS;
    }

  private:
    pthread_mutex_t mutex_;
    bool is_made_ = false;
};

}  // namespace

NPT_Mutex::NPT_Mutex() : delegate_(new (std::nothrow) NPT_PosixMutex) {}

NPT_Mutex::~NPT_Mutex() = default;

NPT_Result NPT_Mutex::Lock() {
    return delegate_ ? delegate_->Lock() : NPT_FAILURE;
}

NPT_Result NPT_Mutex::Unlock() {
    return delegate_ ? delegate_->Unlock() : NPT_SUCCESS;
}
