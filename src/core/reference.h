#ifndef VIREON_CORE_REFERENCE_H
#define VIREON_CORE_REFERENCE_H

#include <atomic>
#include <memory>
#include <utility>

#include "core/types.h"

// A counted pointer to a shared object (a stream, a socket descriptor). The last reference deletes
// the object. Different references to one object may live on different threads; one reference is
// used by one thread at a time.
template <typename T>
class NPT_Reference {
    // Of all references to one object, whatever base class they see it through.
    using Counter = std::atomic<NPT_UInt32>;

  public:
    NPT_Reference() = default;
    // Takes ownership of object, which may be null. Deletes it when it throws std::bad_alloc.
    explicit NPT_Reference(T* object) {
        std::unique_ptr<T> owned(object);
        if (object) counter_ = new Counter(1);
        object_ = owned.release();
    }
    NPT_Reference(const NPT_Reference& other) : object_(other.object_), counter_(other.counter_) {
        if (counter_) ++*counter_;
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
        if (!counter || --*counter > 0) return;
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
