#include "net/socket_platform.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "core/testing/becomes_true.h"
#include "net/bsd_socket.h"
#include "net/bsd_udp_multicast_socket.h"
#include "net/bsd_udp_socket.h"
#include "net/socket_pair.h"
#include "net/testing/loopback.h"

namespace {

class ExposedSocket : public NPT_BsdUdpSocket {
  public:
    explicit ExposedSocket(NPT_UInt32 flags = 0) : NPT_BsdUdpSocket(flags) {}
    int Number() const { return static_cast<int>(descriptor_->GetHandle()); }
    NPT_BsdSocketFd& Descriptor() { return *descriptor_; }
};

struct ErrorCase {
    int error;
    NPT_Result result;
};

class SocketErrorTest : public testing::TestWithParam<ErrorCase> {};

TEST_P(SocketErrorTest, HasItsResultCode) {
    EXPECT_EQ(socket_platform::MapError(GetParam().error), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    PosixSocketTest, SocketErrorTest,
    testing::Values(ErrorCase{EINTR, -20020}, ErrorCase{EAGAIN, -20015},
                    ErrorCase{EINPROGRESS, -20015}, ErrorCase{EADDRINUSE, -20412},
                    ErrorCase{ENETDOWN, -20413}, ErrorCase{ENETUNREACH, -20414},
                    ErrorCase{ENETRESET, -20400}, ErrorCase{ECONNABORTED, -20401},
                    ErrorCase{ECONNRESET, -20400}, ErrorCase{ENOTCONN, -20416},
                    ErrorCase{ETIMEDOUT, -20014}, ErrorCase{ECONNREFUSED, -20402},
                    ErrorCase{EHOSTUNREACH, -20415}, ErrorCase{EPERM, -22001},
                    ErrorCase{EBADF, -22009}, ErrorCase{EACCES, -22013}, ErrorCase{EPIPE, -22032},
                    ErrorCase{EMSGSIZE, -22000 - EMSGSIZE}, ErrorCase{10013, -32013}));

TEST(PosixSocketTest, ADatagramThatIsTooLongHasTheNumberOfItsError) {
    NPT_BsdUdpSocket receiver;
    NPT_BsdUdpSocket sender;
    const NPT_SocketAddress address = BindToLoopback(receiver);
    NPT_DataBuffer packet(2000);
    receiver.SetReadTimeout(10000);
    SendText(sender, std::string(2001, 'l'), &address);
    EXPECT_EQ(receiver.Receive(packet), -22000 - EMSGSIZE);
}

TEST(PosixSocketTest, TheSendTimeoutIsInMilliseconds) {
    ExposedSocket socket;
    EXPECT_EQ(socket.SetWriteTimeout(2500), NPT_SUCCESS);
    timeval limit{};
    socklen_t size = sizeof limit;
    ASSERT_EQ(getsockopt(socket.Number(), SOL_SOCKET, SO_SNDTIMEO, &limit, &size), 0);
    EXPECT_EQ(limit.tv_sec, 2);
    EXPECT_EQ(limit.tv_usec, 500000);
}

TEST(PosixSocketTest, HandlesAreNotInherited) {
    const ExposedSocket socket;
    EXPECT_NE(::fcntl(socket.Number(), F_GETFD) & FD_CLOEXEC, 0);
    UniqueSocket connecting;
    UniqueSocket accepted;
    ASSERT_EQ(ConnectSocketPair(connecting, accepted), NPT_SUCCESS);
    EXPECT_NE(::fcntl(static_cast<int>(connecting.Get()), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_NE(::fcntl(static_cast<int>(accepted.Get()), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(PosixSocketTest, WritingToAPeerThatIsGoneRaisesNoSignal) {
    UniqueSocket near_end;
    UniqueSocket far_end;
    ASSERT_EQ(ConnectSocketPair(near_end, far_end), NPT_SUCCESS);
    NPT_BsdSocket socket(near_end.Release(), 0);
    NPT_OutputStreamReference output;
    socket.GetOutputStream(output);
    far_end = UniqueSocket();
    NPT_Result result = NPT_SUCCESS;
    for (int attempts = 0; attempts < 100 && NPT_Succeeded(result); ++attempts)
        result = output->Write("x", 1);
    EXPECT_TRUE(result == NPT_ERROR_CONNECTION_RESET || result == -22000 - EPIPE) << result;
}

TEST(PosixSocketTest, SendingToTheAddressOfAPeerThatIsGoneRaisesNoSignal) {
    UniqueSocket near_end;
    UniqueSocket far_end;
    ASSERT_EQ(ConnectSocketPair(near_end, far_end), NPT_SUCCESS);
    NPT_SocketAddress address;
    ASSERT_EQ(socket_platform::GetPeerAddress(near_end.Get(), address), NPT_SUCCESS);
    far_end = UniqueSocket();
    NPT_Result result = NPT_SUCCESS;
    NPT_UInt32 sent = 0;
    for (int attempts = 0; attempts < 100 && NPT_Succeeded(result); ++attempts)
        result = socket_platform::SendTo(near_end.Get(), "x", 1, address, sent);
    EXPECT_TRUE(result == NPT_ERROR_CONNECTION_RESET || result == -22000 - EPIPE) << result;
}

TEST(PosixSocketTest, ARefusalByTheConnectedPeerReachesTheReceiver) {
    NPT_SocketAddress closed_port;
    {
        NPT_BsdUdpSocket short_lived;
        closed_port = BindToLoopback(short_lived);
    }
    NPT_BsdUdpSocket socket;
    ASSERT_EQ(socket.Connect(closed_port, 0), NPT_SUCCESS);
    NPT_DataBuffer packet(100);
    socket.SetReadTimeout(10000);
    SendText(socket, "anybody?");
    EXPECT_EQ(socket.Receive(packet), NPT_ERROR_CONNECTION_REFUSED);
    socket.SetReadTimeout(10);
    EXPECT_EQ(socket.Receive(packet), NPT_ERROR_TIMEOUT) << "the refusal is reported once";
}

TEST(PosixSocketTest, UrgentDataIsAnExceptionalConditionForAWriter) {
    UniqueSocket near_end;
    UniqueSocket far_end;
    ASSERT_EQ(ConnectSocketPair(near_end, far_end), NPT_SUCCESS);
    ASSERT_EQ(::send(static_cast<int>(far_end.Get()), "!", 1, MSG_OOB), 1);
    socket_platform::WaitRequest request;
    request.socket = near_end.Get();
    socket_platform::Readiness readiness;
    EXPECT_EQ(socket_platform::Wait(request, 5000, readiness), NPT_SUCCESS);
    EXPECT_TRUE(readiness.exceptional);
    EXPECT_FALSE(readiness.readable);
}

TEST(PosixSocketTest, AClosedHandleIsAnError) {
    socket_platform::WaitRequest request;
    request.socket = 1000000;
    request.for_read = true;
    socket_platform::Readiness readiness;
    EXPECT_EQ(socket_platform::Wait(request, NPT_TIMEOUT_INFINITE, readiness), -22000 - EBADF);
}

// Runs a scope with descriptor 0 free, as in a process that was started without standard input.
class WithoutStandardInput {
  public:
    WithoutStandardInput() : kept_(::fcntl(0, F_DUPFD_CLOEXEC, 3)) { ::close(0); }
    ~WithoutStandardInput() {
        if (kept_ < 0) return;
        ::dup2(kept_, 0);
        ::close(kept_);
    }

  private:
    int kept_;
};

TEST(PosixSocketTest, DescriptorZeroIsASocketLikeAnyOther) {
    const WithoutStandardInput free_zero;
    {
        ExposedSocket socket;
        ASSERT_EQ(socket.Number(), 0);
        const NPT_SocketAddress address = BindToLoopback(socket);
        NPT_DataBuffer packet(100);
        NPT_OutputStreamReference output;
        socket.SetReadTimeout(10000);
        EXPECT_EQ(SendText(socket, "hello", &address), NPT_SUCCESS);
        EXPECT_EQ(socket.Receive(packet), NPT_SUCCESS);
        EXPECT_EQ(socket.GetOutputStream(output), NPT_SUCCESS);
    }
    EXPECT_EQ(::fcntl(0, F_GETFD), -1) << "it closes too";
}

TEST(PosixSocketTest, NothingStaysOpen) {
    const auto lowest_free = [] {
        const int descriptor = ::fcntl(2, F_DUPFD_CLOEXEC, 0);
        ::close(descriptor);
        return descriptor;
    };
    const int before = lowest_free();
    for (int round = 0; round < 50; ++round)
        NPT_BsdUdpMulticastSocket socket(NPT_SOCKET_FLAG_CANCELLABLE);
    EXPECT_EQ(lowest_free(), before);
}

// Opens descriptors until the next one lies above a value.
class CrowdedProcess {
  public:
    explicit CrowdedProcess(int above) {
        ::getrlimit(RLIMIT_NOFILE, &limit_);
        rlimit wanted = limit_;
        wanted.rlim_cur = std::max<rlim_t>(limit_.rlim_cur, static_cast<rlim_t>(above) + 100);
        crowded_ = ::setrlimit(RLIMIT_NOFILE, &wanted) == 0;
        while (crowded_ && (opened_.empty() || opened_.back() < above)) {
            opened_.push_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
            crowded_ = opened_.back() >= 0;
        }
    }
    ~CrowdedProcess() {
        for (const int descriptor : opened_)
            ::close(descriptor);
        ::setrlimit(RLIMIT_NOFILE, &limit_);
    }
    bool IsCrowded() const { return crowded_; }

  private:
    rlimit limit_{};
    bool crowded_ = false;
    std::vector<int> opened_;
};

TEST(PosixSocketTest, DescriptorsAbove1024WaitAndAreCancelled) {
    const CrowdedProcess crowd(1100);
    if (!crowd.IsCrowded()) {
        const char* ci = std::getenv("CI");
        ASSERT_FALSE(ci && std::string(ci) == "true") << "the system allows too few descriptors";
        GTEST_SKIP() << "the system allows too few descriptors";
    }
    ExposedSocket socket(NPT_SOCKET_FLAG_CANCELLABLE);
    ASSERT_GT(socket.Number(), 1024);
    const NPT_SocketAddress address = BindToLoopback(socket);
    NPT_DataBuffer packet(100);
    socket.SetReadTimeout(100);
    EXPECT_EQ(socket.Receive(packet), NPT_ERROR_TIMEOUT);
    EXPECT_EQ(SendText(socket, "hello", &address), NPT_SUCCESS);
    EXPECT_EQ(socket.Receive(packet), NPT_SUCCESS);
    EXPECT_EQ(TextOf(packet), "hello");
    socket.SetReadTimeout(NPT_TIMEOUT_INFINITE);
    std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        socket.Cancel(false);
    });
    EXPECT_EQ(socket.Receive(packet), NPT_ERROR_CANCELLED);
    canceller.join();
}

std::atomic<int> g_signals_handled{0};

// Sends a thread signals that interrupt its system calls, until destroyed.
class Interrupter {
  public:
    Interrupter() : target_(::pthread_self()) {
        struct sigaction action {};
        action.sa_handler = [](int) { ++g_signals_handled; };
        ::sigaction(SIGUSR1, &action, &previous_);
        g_signals_handled = 0;
        thread_ = std::thread([this] {
            while (!done_) {
                ::pthread_kill(target_, SIGUSR1);
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
        });
    }
    ~Interrupter() {
        done_ = true;
        thread_.join();
        ::sigaction(SIGUSR1, &previous_, nullptr);
    }

  private:
    pthread_t target_;
    struct sigaction previous_ {};
    std::atomic<bool> done_{false};
    std::thread thread_;
};

TEST(PosixSignalTest, SignalsNeitherShortenNorLengthenAWait) {
    NPT_BsdUdpSocket socket;
    BindToLoopback(socket);
    NPT_DataBuffer packet(100);
    socket.SetReadTimeout(300);
    const Interrupter interrupter;
    const Stopwatch stopwatch;
    EXPECT_EQ(socket.Receive(packet), NPT_ERROR_TIMEOUT);
    EXPECT_GE(stopwatch.Milliseconds(), 300);
    EXPECT_LT(stopwatch.Milliseconds(), 3000);
    EXPECT_GE(g_signals_handled, 3);
}

TEST(PosixSignalTest, SignalsDoNotEndAnInfiniteWait) {
    NPT_BsdUdpSocket receiver;
    NPT_BsdUdpSocket sender;
    const NPT_SocketAddress address = BindToLoopback(receiver);
    NPT_DataBuffer packet(100);
    const Interrupter interrupter;
    std::thread later([&] {
        BecomesTrue([] { return g_signals_handled >= 3; });
        SendText(sender, "late", &address);
    });
    EXPECT_EQ(receiver.Receive(packet), NPT_SUCCESS);
    EXPECT_EQ(TextOf(packet), "late");
    EXPECT_GE(g_signals_handled, 3);
    later.join();
}

// On this platform only: Wine binds to any address, whether the machine has it or not.
TEST(PosixSocketTest, AForeignAddressIsRefused) {
    NPT_BsdUdpSocket socket;
    EXPECT_LT(socket.Bind(NPT_SocketAddress(NPT_IpAddress(192, 0, 2, 1), 0), false),
              NPT_ERROR_SYSTEM_BASE);
}

}  // namespace
