// Preloaded into the interpreter: of the platform's functions that the module calls, the one call
// that the plan names fails, as the platform would let it. Allocations count whenever the module is
// on the thread's stack, so also those that the interpreter, the C library and the C++ runtime make
// for it.
#include <dlfcn.h>
#include <errno.h>
#include <ifaddrs.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <stdarg.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <new>
#include <utility>

#include "fault_plan.h"

namespace {

thread_local bool is_inside = false;

int Fail() {
    errno = fault_plan::Error();
    return -1;
}

void* Refuse() {
    errno = ENOMEM;
    return nullptr;
}

// Some of these functions are made of others of them: an object is counted once.
class Inside {
  public:
    Inside() : is_outer_(!std::exchange(is_inside, true)) {}
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
    ~Inside() {
        if (is_outer_) is_inside = false;
    }
    bool IsOuter() const { return is_outer_; }

  private:
    bool is_outer_;
};

template <typename Next>
void* MakeObject(Next next, std::size_t size) {
    const Inside inside;
    if (!inside.IsOuter()) return next(size);
    if (fault_plan::MustFailBelowModule(Call::kAllocation)) return nullptr;
    void* const object = next(size);
    if (object) fault_plan::Count(1);
    return object;
}

template <typename Next>
void DestroyObject(Next next, const void* object) {
    const Inside inside;
    if (inside.IsOuter() && object) fault_plan::Count(-1);
    next();
}

}  // namespace

// What stands behind this library for a function of this name.
#define NEXT(type, name) static const auto next = reinterpret_cast<type>(dlsym(RTLD_NEXT, name))

#define FAILING(call, returns, name, parameters, arguments, exceptions, failure)           \
    extern "C" returns name parameters exceptions {                                        \
        NEXT(returns(*) parameters, #name);                                                \
        if (fault_plan::MustFail(Call::call, __builtin_return_address(0))) return failure; \
        return next arguments;                                                             \
    }

FAILING(kSocket, int, socket, (int domain, int type, int protocol), (domain, type, protocol),
        noexcept, Fail())
FAILING(kBind, int, bind, (int fd, const sockaddr* address, socklen_t size), (fd, address, size),
        noexcept, Fail())
FAILING(kConnect, int, connect, (int fd, const sockaddr* address, socklen_t size),
        (fd, address, size), , Fail())
FAILING(kListen, int, listen, (int fd, int backlog), (fd, backlog), noexcept, Fail())
FAILING(kAccept, int, accept4, (int fd, sockaddr* address, socklen_t* size, int flags),
        (fd, address, size, flags), , Fail())
FAILING(kSetOption, int, setsockopt,
        (int fd, int level, int name, const void* value, socklen_t size),
        (fd, level, name, value, size), noexcept, Fail())
FAILING(kGetOption, int, getsockopt, (int fd, int level, int name, void* value, socklen_t* size),
        (fd, level, name, value, size), noexcept, Fail())
FAILING(kGetLocalAddress, int, getsockname, (int fd, sockaddr* address, socklen_t* size),
        (fd, address, size), noexcept, Fail())
FAILING(kGetPeerAddress, int, getpeername, (int fd, sockaddr* address, socklen_t* size),
        (fd, address, size), noexcept, Fail())
FAILING(kSend, ssize_t, send, (int fd, const void* data, size_t size, int flags),
        (fd, data, size, flags), , Fail())
FAILING(kSendTo, ssize_t, sendto,
        (int fd, const void* data, size_t size, int flags, const sockaddr* address,
         socklen_t length),
        (fd, data, size, flags, address, length), , Fail())
FAILING(kReceive, ssize_t, recv, (int fd, void* data, size_t size, int flags),
        (fd, data, size, flags), , Fail())
FAILING(kReceiveFrom, ssize_t, recvfrom,
        (int fd, void* data, size_t size, int flags, sockaddr* address, socklen_t* length),
        (fd, data, size, flags, address, length), , Fail())
FAILING(kPoll, int, poll, (pollfd * entries, nfds_t count, int timeout), (entries, count, timeout),
        , Fail())
FAILING(kShutdown, int, shutdown, (int fd, int how), (fd, how), noexcept, Fail())
FAILING(kMakeMutex, int, pthread_mutex_init,
        (pthread_mutex_t * mutex, const pthread_mutexattr_t* attributes), (mutex, attributes),
        noexcept, fault_plan::Error())
FAILING(kMakeMutexAttributes, int, pthread_mutexattr_init, (pthread_mutexattr_t * attributes),
        (attributes), noexcept, fault_plan::Error())
FAILING(kSleep, int, clock_nanosleep,
        (clockid_t clock, int flags, const timespec* until, timespec* left),
        (clock, flags, until, left), , fault_plan::Error())
FAILING(kWrite, ssize_t, write, (int fd, const void* data, size_t size), (fd, data, size), , Fail())

extern "C" {

int ioctl(int fd, unsigned long request, ...) noexcept {
    NEXT(int (*)(int, unsigned long, void*), "ioctl");
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (fault_plan::MustFail(Call::kControl, __builtin_return_address(0))) return Fail();
    return next(fd, request, argument);
}

int getifaddrs(ifaddrs** chain) noexcept {
    NEXT(int (*)(ifaddrs**), "getifaddrs");
    if (fault_plan::MustFail(Call::kListInterfaces, __builtin_return_address(0))) return Fail();
    const int result = next(chain);
    if (result == 0) fault_plan::Count(1);
    return result;
}

void freeifaddrs(ifaddrs* chain) noexcept {
    NEXT(void (*)(ifaddrs*), "freeifaddrs");
    if (chain) fault_plan::Count(-1);
    next(chain);
}

int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** answer) {
    NEXT(int (*)(const char*, const char*, const addrinfo*, addrinfo**), "getaddrinfo");
    if (fault_plan::MustFail(Call::kLookUpName, __builtin_return_address(0)))
        return fault_plan::Error();
    const int result = next(name, service, hints, answer);
    if (result == 0) fault_plan::Count(1);
    return result;
}

void freeaddrinfo(addrinfo* answer) noexcept {
    NEXT(void (*)(addrinfo*), "freeaddrinfo");
    if (answer) fault_plan::Count(-1);
    next(answer);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                   void* argument) noexcept {
    NEXT(int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*), "pthread_create");
    if (!fault_plan::IsInModule(__builtin_return_address(0)))
        return next(thread, attributes, entry, argument);
    if (fault_plan::MustFail(Call::kMakeThread, __builtin_return_address(0)))
        return fault_plan::Error();
    void* const numbered = fault_plan::NumberThread(entry, argument);
    const int result = next(thread, attributes, fault_plan::RunNumbered, numbered);
    if (result != 0) fault_plan::ForgetThread(numbered);
    return result;
}

void* malloc(size_t size) noexcept {
    NEXT(void* (*)(size_t), "malloc");
    if (!is_inside && fault_plan::MustFailBelowModule(Call::kAllocation)) return Refuse();
    return next(size);
}

void* calloc(size_t count, size_t size) noexcept {
    NEXT(void* (*)(size_t, size_t), "calloc");
    if (fault_plan::MustFailBelowModule(Call::kAllocation)) return Refuse();
    return next(count, size);
}

void* realloc(void* block, size_t size) noexcept {
    NEXT(void* (*)(void*, size_t), "realloc");
    if (fault_plan::MustFailBelowModule(Call::kAllocation)) return Refuse();
    return next(block, size);
}
}

void* operator new(std::size_t size) {
    NEXT(void* (*)(std::size_t), "_Znwm");
    if (void* const object = MakeObject(next, size)) return object;
    throw std::bad_alloc();
}

void* operator new[](std::size_t size) {
    NEXT(void* (*)(std::size_t), "_Znam");
    if (void* const object = MakeObject(next, size)) return object;
    throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    NEXT(void* (*)(std::size_t, const std::nothrow_t&), "_ZnwmRKSt9nothrow_t");
    return MakeObject([](std::size_t bytes) { return next(bytes, std::nothrow); }, size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    NEXT(void* (*)(std::size_t, const std::nothrow_t&), "_ZnamRKSt9nothrow_t");
    return MakeObject([](std::size_t bytes) { return next(bytes, std::nothrow); }, size);
}

void operator delete(void* object) noexcept {
    NEXT(void (*)(void*), "_ZdlPv");
    DestroyObject([&] { next(object); }, object);
}

void operator delete[](void* object) noexcept {
    NEXT(void (*)(void*), "_ZdaPv");
    DestroyObject([&] { next(object); }, object);
}

void operator delete(void* object, std::size_t size) noexcept {
    NEXT(void (*)(void*, std::size_t), "_ZdlPvm");
    DestroyObject([&] { next(object, size); }, object);
}

void operator delete[](void* object, std::size_t size) noexcept {
    NEXT(void (*)(void*, std::size_t), "_ZdaPvm");
    DestroyObject([&] { next(object, size); }, object);
}

void operator delete(void* object, const std::nothrow_t&) noexcept {
    operator delete(object);
}

void operator delete[](void* object, const std::nothrow_t&) noexcept {
    operator delete[](object);
}
