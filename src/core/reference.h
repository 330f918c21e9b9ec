#ifndef VIREON_CORE_REFERENCE_H
#define VIREON_CORE_REFERENCE_H

#include <memory>
#include <utility>

#include "core/mutex.h"
#include "core/thread_annotations.h"
#include "core/types.h"

// The count behind every NPT_Reference to one object, whatever base class they see it through.
class NPT_ReferenceCounter {
  public:
    // For one reference. Throws std::bad_alloc when the mutex cannot be made.
    NPT_ReferenceCounter() { const NPT_AutoLock usable(mutex_); }

    void Add() {
        const NPT_AutoLock lock(mutex_);
        ++count_;
    }
    // Whether that was the last one.
    bool Drop() {
        // Uncounted, the object is kept for good: nobody can tell who else uses it.
        if (mutex_.Lock() != 0) return false;
        const bool last = --count_ == 0;
        mutex_.Unlock();
        return last;
    }

  private:
    NPT_Mutex mutex_;
    NPT_UInt32 count_ GUARDED_BY(mutex_) = 1;
};

// A counted pointer to a shared object (a stream, a socket descriptor). The last reference deletes
// the object. Different references to one object may live on different threads, since the count has
// its own mutex; one reference is used by one thread at a time.
template <typename T>
class NPT_Reference {
    using Counter = NPT_ReferenceCounter;

  public:
    NPT_Reference() = default;
    // Takes ownership of object, which may be null. Deletes it when it throws std::bad_alloc.
    explicit NPT_Reference(T* object) {
        std::unique_ptr<T> owned(object);
        if (object) counter_ = new Counter;
        object_ = owned.release();
    }
    NPT_Reference(const NPT_Reference& other) : object_(other.object_), counter_(other.counter_) {
        if (counter_) counter_->Add();
    }
    NPT_Reference(NPT_Reference&& other) noexcept { Swap(other); }
    // To a base class.
    template <typename Derived>
    NPT_Reference(const NPT_Reference<Derived>& other) {
        NPT_Reference<Derived> kept(other);
        object_ = std::exchange(kept.object_, nullptr);
        counter_ = std::exchange(kept.counter_, nullptr);
    }
    ~NPT_Reference() { Release(); }
    NPT_Reference& operator=(NPT_Reference other) noexcept {
        Swap(other);
        return *this;
    }

    bool IsNull() const { return object_ == nullptr; }
    T* AsPointer() const { return object_; }
    T& operator*() const { return *object_; }
    T* operator->() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

    // Drops this reference and leaves it null.
    void Release() {
        Counter* counter = std::exchange(counter_, nullptr);
        T* object = std::exchange(object_, nullptr);
        if (!counter || !counter->Drop()) return;
        delete counter;
        delete object;
    }

  private:
    template <typename Other>
    friend class NPT_Reference;
    void Swap(NPT_Reference& other) noexcept {
        std::swap(object_, other.object_);
        std::swap(counter_, other.counter_);
    }

    T* object_ = nullptr;
    Counter* counter_ = nullptr;
};

#endif
