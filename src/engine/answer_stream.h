#ifndef VIREON_ENGINE_ANSWER_STREAM_H
#define VIREON_ENGINE_ANSWER_STREAM_H

#include "core/streams.h"
#include "device/zo_input_stream.h"

// One answer: what is left of the datagram that a stream of datagrams has received, and nothing
// behind it. SSDP messages are single datagrams (UPnP Device Architecture 1.1, 1.3.3), so an answer
// that is cut short must not take the next server's answer for its own end.
//
// Borrows the datagrams; used by one thread. Reads end with NPT_ERROR_EOS behind the datagram and
// never receive another.
class AnswerStream : public NPT_InputStream {
  public:
    explicit AnswerStream(zorvane::ZoInputStream& datagrams) : datagrams_(datagrams) {}

    NPT_Result Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read = nullptr) override;

  private:
    zorvane::ZoInputStream& datagrams_;
};

#endif
