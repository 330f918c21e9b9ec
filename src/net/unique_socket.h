#ifndef VIREON_NET_UNIQUE_SOCKET_H
#define VIREON_NET_UNIQUE_SOCKET_H

#include <utility>

#include "net/socket_platform.h"

// The one owner of a platform socket handle; closes it. May hold none.
class UniqueSocket {
  public:
    UniqueSocket() = default;
    explicit UniqueSocket(socket_platform::Handle handle) : handle_(handle) {}
    UniqueSocket(UniqueSocket&& other) noexcept : handle_(other.Release()) {}
    UniqueSocket& operator=(UniqueSocket&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~UniqueSocket() {
        if (IsValid()) socket_platform::Close(handle_);
    }

    bool IsValid() const { return handle_ != socket_platform::kInvalidHandle; }
    socket_platform::Handle Get() const { return handle_; }
    // Hands the handle over to the caller.
    socket_platform::Handle Release() {
        return std::exchange(handle_, socket_platform::kInvalidHandle);
    }

  private:
    socket_platform::Handle handle_ = socket_platform::kInvalidHandle;
};

#endif
