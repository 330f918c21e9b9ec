#ifndef VIREON_ENGINE_TESTING_SCRIPTED_UDP_SOCKET_H
#define VIREON_ENGINE_TESTING_SCRIPTED_UDP_SOCKET_H

#include <atomic>
#include <deque>
#include <functional>
#include <string>
#include <utility>

#include "net/udp_socket.h"

// A socket that sends nothing and receives what a test lines up; when that is over, a time-out at
// once.
class ScriptedUdpSocket : public NPT_UdpSocket {
  public:
    ~ScriptedUdpSocket() override { when_closed_(); }

    void WhenClosed(std::function<void()> function) { when_closed_ = std::move(function); }
    void LineUp(
        const std::string& datagram, std::function<void()> meanwhile = [] {}) {
        steps_.push_back({NPT_SUCCESS, datagram, std::move(meanwhile)});
    }
    void LineUp(
        NPT_Result failure, std::function<void()> meanwhile = [] {}) {
        steps_.push_back({failure, "", std::move(meanwhile)});
    }
    int GetReceiveCount() const { return receive_count_; }
    NPT_Timeout GetReadTimeout() const { return read_timeout_; }
    NPT_Timeout GetWriteTimeout() const { return write_timeout_; }

    NPT_Result SetReadTimeout(NPT_Timeout timeout) override {
        read_timeout_ = timeout;
        return NPT_SUCCESS;
    }
    NPT_Result SetWriteTimeout(NPT_Timeout timeout) override {
        write_timeout_ = timeout;
        return NPT_SUCCESS;
    }

    NPT_Result Send(const NPT_DataBuffer&, const NPT_SocketAddress*) override {
        return NPT_SUCCESS;
    }
    NPT_Result Receive(NPT_DataBuffer& packet, NPT_SocketAddress* address) override {
        ++receive_count_;
        packet.SetDataSize(0);
        if (address) *address = NPT_SocketAddress(NPT_IpAddress(10, 0, 0, 7), 31288);
        if (steps_.empty()) return NPT_ERROR_TIMEOUT;
        const Step step = steps_.front();
        steps_.pop_front();
        step.meanwhile();
        packet.SetData(reinterpret_cast<const NPT_UInt8*>(step.datagram.data()),
                       static_cast<NPT_UInt32>(step.datagram.size()));
        return step.result;
    }

  private:
    struct Step {
        NPT_Result result;
        std::string datagram;
        std::function<void()> meanwhile;
    };
    std::deque<Step> steps_;
    std::function<void()> when_closed_ = [] {};
    std::atomic<int> receive_count_{0};
    NPT_Timeout read_timeout_ = NPT_TIMEOUT_INFINITE;
    NPT_Timeout write_timeout_ = NPT_TIMEOUT_INFINITE;
};

#endif
