#ifndef VIREON_ENGINE_ANSWER_STREAM_H
#define VIREON_ENGINE_ANSWER_STREAM_H

#include "core/streams.h"
#include "device/zo_input_stream.h"

// One answer: the first datagram that a stream of datagrams receives, and nothing behind it. SSDP
// messages are single datagrams (UPnP Device Architecture 1.1, 1.3.3), so an answer that is cut
// short must not take the next server's answer for its own end.
//
// Borrows the datagrams; used by one thread. Reads end with NPT_ERROR_EOS behind the datagram;
// positioning and sizes give NPT_FAILURE.
class AnswerStream : public NPT_InputStream {
  public:
    explicit AnswerStream(zorvane::ZoInputStream& datagrams) : datagrams_(datagrams) {}

    // The result of receiving the datagram; NPT_ERROR_INVALID_STATE before the first read.
    NPT_Result GetReceiveResult() const { return receive_result_; }

    NPT_Result Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read = nullptr) override;
    NPT_Result Seek(NPT_UInt64 offset) override;
    NPT_Result Skip(NPT_UInt64 count) override;
    NPT_Result Tell(NPT_UInt64& offset) override;
    NPT_Result GetSize(NPT_UInt64& size) override;
    NPT_Result GetAvailable(NPT_UInt64& available) override;

  private:
    zorvane::ZoInputStream& datagrams_;
    bool has_received_ = false;
    NPT_Result receive_result_ = NPT_ERROR_INVALID_STATE;
};

#endif
