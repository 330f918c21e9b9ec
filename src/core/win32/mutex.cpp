#include "core/mutex.h"

#include <windows.h>

#include <new>

namespace {

class NPT_Win32Mutex : public NPT_MutexInterface {
  public:
    NPT_Win32Mutex() : handle_(CreateMutexA(nullptr, FALSE, nullptr)) {}
    NPT_Win32Mutex(const NPT_Win32Mutex&) = delete;
    NPT_Win32Mutex& operator=(const NPT_Win32Mutex&) = delete;
    ~NPT_Win32Mutex() override {
        if (handle_) CloseHandle(handle_);
    }

    NPT_Result Lock() override {
        const DWORD result = WaitForSingleObject(handle_, INFINITE);
        // Its owner died in the middle of something. The wait made it ours all the same.
        if (result == WAIT_ABANDONED) ReleaseMutex(handle_);
        return result == WAIT_OBJECT_0 ? NPT_SUCCESS : NPT_FAILURE;
    }
    // The system refuses, without any effect, a thread that is not the owner.
    NPT_Result Unlock() override {
        ReleaseMutex(handle_);
        return NPT_SUCCESS;
    }

  private:
    const HANDLE handle_;
};

}  // namespace

NPT_Mutex::NPT_Mutex() : delegate_(new (std::nothrow) NPT_Win32Mutex) {}

NPT_Mutex::~NPT_Mutex() = default;

NPT_Result NPT_Mutex::Lock() {
    return delegate_ ? delegate_->Lock() : NPT_FAILURE;
}

NPT_Result NPT_Mutex::Unlock() {
    return delegate_ ? delegate_->Unlock() : NPT_SUCCESS;
}
